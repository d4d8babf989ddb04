! Uses the words of Fortran: writes the same file as the program in C, and what must fail does, by its code and its words.
program fortran_program
  use pdm
  use, intrinsic :: iso_fortran_env, only: int64, real32, real64
  implicit none
  integer :: faults = 0, status
  character(512) :: file, message

  call get_command_argument(1, file)
  call get_command_argument(2, message)
  if (message == 'stop') call stop_by_failure()
  call write_file()
  call read_file(pdm_read)
  call read_file(pdm_live)
  call refuse()
  call end_by_scope()
  if (faults > 0) error stop 1

contains

  subroutine check(good, line)
    logical, intent(in) :: good
    integer, intent(in) :: line
    if (good) return
    faults = faults + 1
    print '(i0, 2a)', line, ': failed; the last error: ', pdm_message()
  end subroutine

  ! What must fail: by this code, and with these words.
  subroutine failed(code, words, line)
    integer, intent(in) :: code, line
    character(*), intent(in) :: words
    call check(status == code .and. index(message, words) > 0 .and. message == pdm_message(), line)
    status = -1
    message = ''
  end subroutine

  subroutine write_file()
    type(pdm_sim) :: sim
    type(pdm_mesh) :: mesh
    type(pdm_update) :: update
    type(pdm_set) :: plate
    type(pdm_field) :: heat
    type(pdm_system) :: modal
    integer :: i, step
    call sim%create(file, replace=.true.)
    mesh = sim%mesh(stat=status, errmsg=message)
    call failed(pdm_not_found, 'the file has none', __LINE__)
    update = sim%update()
    mesh = sim%create_mesh(6, 2)
    call mesh%create_field(pdm_nodes, 'coordinates', reshape([(real([mod(i, 3), i/3, 0], real64), i=0, 5)], [3, 6]), &
      unit='m', deflate=5, chunk_rows=4)
    call mesh%create_field(pdm_nodes, 'label', [10_int64, 20_int64, 30_int64, 40_int64, 50_int64, 2_int64**40])
    call mesh%create_set(pdm_nodes, 'inlet', [5, 2])
    call mesh%create_set(pdm_nodes, 'nobody', [integer ::])
    call mesh%create_set(pdm_nodes, 'bad', [2, 2], stat=status, errmsg=message)
    call failed(pdm_failed, 'create a set', __LINE__)
    call mesh%create_set(pdm_nodes, 'bad', [0], stat=status, errmsg=message)
    call failed(pdm_failed, 'create a set', __LINE__)
    call mesh%create_set(pdm_nodes, 'old', [5])
    call mesh%remove_set(pdm_nodes, 'old')
    call mesh%create_field(pdm_whole_mesh, 'old', [5])
    call mesh%remove_field(pdm_whole_mesh, 'old')
    call mesh%remove_field(pdm_whole_mesh, 'old', stat=status, errmsg=message)
    call failed(pdm_not_found, 'old', __LINE__)
    call mesh%create_surface('edge', [2, 2], [1, 4])
    call mesh%create_set(pdm_elements, 'plate', [2, 1], set=plate)
    call mesh%create_field(pdm_elements, 'connectivity', reshape([1, 2, 5, 4, 0, 1, 4, 3], [4, 2]), long_name='QUAD4', over=plate)
    call mesh%create_block('QUAD4', reshape([1, 2, 5, 4], [4, 1]), stat=status, errmsg=message)
    call failed(pdm_failed, 'at most 0 elements', __LINE__)
    call mesh%create_empty_field(pdm_nodes, 'temperature', unit='K', field=heat)
    do step = 0, 2
      call heat%append([(real(300 + 10*step + i, real32), i=0, 5)])
      call mesh%append_time(0.25_real64*step)
    end do
    call mesh%create_system('modal analysis', pdm_modal, modal)
    call modal%set_activity([0, 7, 7, 0, 3, 0])
    call modal%set_order([(i, i=8, 1, -1)])
    call modal%set_frequencies([12.5_real64, 80.0_real64])
    call modal%create_field('modeShapes', [(real(i, real64), i=1, 8)])
    call update%commit()
    update = sim%update()
    call mesh%create_set(pdm_nodes, 'gone', [1])
    call refuse_shapes(mesh)
    update = sim%update(stat=status, errmsg=message) ! the one that the variable held is taken back
    call failed(pdm_bad_argument, 'an update is open', __LINE__)
    update = sim%update()
    call mesh%create_set(pdm_nodes, 'gone', [1])
    call update%rollback()
    call sim%close()
  end subroutine

  ! Arrays the other way round, and sets that were not found; all of it within an update that is taken back.
  subroutine refuse_shapes(mesh)
    type(pdm_mesh), intent(in) :: mesh
    type(pdm_set) :: never
    type(pdm_field) :: x
    type(pdm_system) :: plain
    integer, allocatable :: masks(:)
    real(real64) :: turned(6, 3)
    turned = 0
    x = mesh%field(pdm_nodes, 'coordinates')
    call x%write(turned, stat=status, errmsg=message)
    call failed(pdm_bad_argument, 'coordinates: write a field: expected an array (3, 6), found (6, 3)', __LINE__)
    call x%read(turned, stat=status, errmsg=message)
    call failed(pdm_bad_argument, 'read a field: expected an array (3, 6), found (6, 3)', __LINE__)
    call x%read(turned(:, 1:1), first=2, stat=status, errmsg=message)
    call failed(pdm_bad_argument, 'found (6, 1)', __LINE__)
    call x%append(transpose(turned(:, 1:2)), stat=status, errmsg=message)
    call failed(pdm_bad_argument, 'append to a field: expected an array (3, 6), found (2, 6)', __LINE__)
    call x%append(transpose(turned), over=never, stat=status, errmsg=message)
    call failed(pdm_bad_handle, 'append to a field: the set', __LINE__)
    call mesh%create_field(pdm_nodes, 'over', [1, 2, 3, 4, 5, 6], over=never, stat=status, errmsg=message)
    call failed(pdm_bad_handle, 'create a field: the set', __LINE__)
    call mesh%create_system('plain', pdm_modal, plain)
    call plain%create_field('over', [1], over=never, stat=status, errmsg=message)
    call failed(pdm_bad_handle, 'create a field: the set', __LINE__)
    call plain%get_activity(masks, stat=status, errmsg=message)
    call failed(pdm_not_found, 'none is stored', __LINE__)
    call mesh%create_surface('edge', [1], [1, 2], stat=status, errmsg=message)
    call failed(pdm_bad_argument, 'as many sides as elements', __LINE__)
  end subroutine

  subroutine read_file(mode)
    integer, intent(in) :: mode
    type(pdm_sim) :: sim
    type(pdm_mesh) :: mesh, same
    type(pdm_set) :: set
    type(pdm_block_information) :: block
    character(:), allocatable :: names(:)
    integer, allocatable :: items(:), sides(:), nodes(:, :)
    integer(int64), allocatable :: labels(:)
    real(real64), allocatable :: times(:)
    integer :: few(1)
    call sim%open(file, mode)
    mesh = sim%mesh()
    same = mesh ! has an end of its own
    mesh = mesh
    call check(all([same%count(pdm_nodes), mesh%count(pdm_elements), mesh%count(pdm_steps), mesh%dimension()] == [6, 2, 3, 3]), __LINE__)
    call mesh%set_names(pdm_nodes, names)
    call check(size(names) == 2 .and. len(names) == 6, __LINE__)
    call check(all(names == ['inlet ', 'nobody']), __LINE__)
    set = mesh%set(pdm_nodes, names(1)) ! blanks at its end do not count
    call set%get(items)
    call check(all(items == [5, 2]), __LINE__)
    few = -7
    call set%read(few, stat=status, errmsg=message)
    call check(few(1) == -7 .and. pdm_needed() == 2 .and. pdm_failed_path() == 'discreteModel/mesh/nodeSets/inlet', __LINE__)
    call failed(pdm_short_buffer, 'needed is 2', __LINE__)
    set = mesh%set(pdm_nodes, 'gone', stat=status, errmsg=message)
    call failed(pdm_not_found, '"inlet"', __LINE__)
    call mesh%get_labels(pdm_nodes, labels)
    call check(labels(1) == 10 .and. labels(6) == 2_int64**40, __LINE__) ! never changed
    call mesh%get_times(times)
    call check(times(3) == 0.5_real64, __LINE__)
    call mesh%get_surface('edge', items, sides)
    call check(all([items, sides] == [2, 2, 1, 4]), __LINE__)
    block = mesh%block(1)
    call check(block%element_type == 'QUAD4' .and. block%elements == 2, __LINE__)
    call mesh%get_connectivity(1, nodes)
    call check(all(nodes(:, 2) == [1, 2, 5, 4]), __LINE__)
    block = mesh%block(2, stat=status, errmsg=message)
    call failed(pdm_not_found, 'no such block', __LINE__)
    call read_fields(mesh)
    call read_systems(mesh)
    call sim%close()
  end subroutine

  subroutine read_fields(mesh)
    type(pdm_mesh), intent(in) :: mesh
    type(pdm_field) :: x, heat
    type(pdm_field_information) :: info
    real(real64), allocatable :: all_x(:, :), t(:)
    real(real64) :: part(2, 18)
    real(real32) :: narrow(18)
    x = mesh%field(pdm_nodes, 'coordinates')
    call x%get(all_x)
    call check(all(shape(all_x) == [3, 6]) .and. all(all_x(:, 6) == [2, 1, 0]), __LINE__)
    part = -1
    call x%read(part(1, :)) ! not contiguous
    call check(all(part(1, 4:6) == [1, 0, 0]) .and. all(part(2, :) == -1), __LINE__)
    call x%read(narrow, stat=status, errmsg=message)
    call failed(pdm_wrong_type, 'float64 numbers do not all fit into float32', __LINE__)
    call x%write(part(1, :), stat=status, errmsg=message)
    call failed(pdm_failed, 'reading only', __LINE__)
    heat = mesh%field(pdm_nodes, 'temperature')
    info = heat%info(3)
    call check(info%steps == 3 .and. info%number_type == pdm_real32 .and. info%unit == 'K' .and. info%name == 'temperature', __LINE__)
    call heat%get(t, heat%drawer_at(0.5_real64)) ! 4 bytes into 8
    call check(size(t) == 6 .and. t(6) == 325, __LINE__)
    call heat%get(t, stat=status, errmsg=message)
    call failed(pdm_not_found, '3 drawers: say which', __LINE__)
    call heat%read(t(:2), 3, first=5)
    call check(all(t(:2) == [324, 325]), __LINE__)
    call heat%read(t(:2), 3, first=6, stat=status, errmsg=message)
    call failed(pdm_not_found, 'the drawer has 6 rows', __LINE__)
    call x%read(part(1, :2), first=1, stat=status, errmsg=message)
    call failed(pdm_short_buffer, 'needed is 3', __LINE__)
    call x%read(part(1, :6), first=5)
    call check(all(part(1, :6) == [1, 1, 0, 2, 1, 0]), __LINE__)
    call heat%get(t, 0, stat=status, errmsg=message)
    call failed(pdm_not_found, 'no such drawer', __LINE__)
    call heat%get(t, 4, stat=status, errmsg=message)
    call failed(pdm_not_found, 'the field has 3', __LINE__)
  end subroutine

  subroutine read_systems(mesh)
    type(pdm_mesh), intent(in) :: mesh
    type(pdm_system) :: modal
    type(pdm_numbering) :: numbering
    type(pdm_numbering_information) :: info
    integer, allocatable :: nodes(:), labels(:), order(:), masks(:), columns(:)
    integer(int64), allocatable :: begin(:)
    real(real64), allocatable :: hertz(:)
    modal = mesh%system(1)
    call modal%get_frequencies(hertz)
    call check(all(hertz == [12.5_real64, 80.0_real64]), __LINE__)
    numbering = modal%numbering()
    info = numbering%info()
    call check(info%equations == 8 .and. info%labels == 3 .and. info%has_order, __LINE__)
    call numbering%get_equations(nodes, labels)
    call check(nodes(8) == 5 .and. labels(8) == 2 .and. nodes(1) == 2 .and. labels(1) == 1, __LINE__)
    call numbering%get_order(order)
    call check(order(1) == 8 .and. order(8) == 1, __LINE__)
    call check(numbering%equation(3, 3) == 6 .and. numbering%equation(1, 3) == 0, __LINE__)
    call modal%get_activity(masks)
    call check(all(masks == [0, 7, 7, 0, 3, 0]), __LINE__)
    call mesh%get_pattern(numbering, begin, columns) ! all of them meet in the first element
    call check(size(begin) == 9 .and. begin(1) == 1 .and. begin(9) == 65, __LINE__)
    call check(size(columns) == 64 .and. columns(1) == 1 .and. columns(64) == 8, __LINE__)
    modal = mesh%system(0, stat=status, errmsg=message)
    call failed(pdm_not_found, 'no such system', __LINE__)
  end subroutine

  subroutine refuse()
    type(pdm_sim) :: sim
    type(pdm_mesh) :: mesh, never
    type(pdm_field) :: field
    real(real64), allocatable :: x(:, :)
    call sim%open('missing.pdm', stat=status, errmsg=message)
    call check(pdm_failed_file() == 'missing.pdm' .and. pdm_failed_operation() == 'open a file' .and. &
      pdm_failed_path() == '' .and. len(pdm_failed_cause()) > 0, __LINE__)
    call failed(pdm_failed, 'missing.pdm: open a file: ', __LINE__)
    call sim%open(file)
    mesh = sim%mesh()
    field = mesh%field(pdm_nodes, 'coordinates')
    call sim%close()
    call field%get(x, stat=status, errmsg=message)
    call failed(pdm_bad_handle, 'has ended', __LINE__)
    field = mesh%field(pdm_nodes, 'coordinates', stat=status, errmsg=message)
    call failed(pdm_bad_handle, 'has ended', __LINE__)
    field = never%field(pdm_nodes, 'coordinates', stat=status, errmsg=message)
    call failed(pdm_bad_handle, 'NULL', __LINE__)
    call sim%close(stat=status, errmsg=message)
    call failed(pdm_bad_handle, 'has ended', __LINE__)
  end subroutine

  ! An update that nobody commits is taken back, and a file that nobody closes is closed, where their variables end.
  subroutine end_by_scope()
    type(pdm_sim) :: sim
    type(pdm_mesh) :: mesh
    type(pdm_set) :: set
    call leave()
    call sim%open(file, pdm_write, stat=status, errmsg=message)
    call check(status == 0, __LINE__)
    mesh = sim%mesh()
    set = mesh%set(pdm_nodes, 'gone', stat=status, errmsg=message)
    call failed(pdm_not_found, 'gone', __LINE__)
  end subroutine

  subroutine leave()
    type(pdm_sim) :: sim
    type(pdm_mesh) :: mesh
    type(pdm_update) :: update
    call sim%open(file, pdm_write)
    mesh = sim%mesh()
    update = sim%update()
    call mesh%create_set(pdm_nodes, 'gone', [1])
  end subroutine

  subroutine stop_by_failure()
    type(pdm_sim) :: sim
    call sim%open('missing.pdm')
  end subroutine

end program
