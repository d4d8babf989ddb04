! What most programs do with a simulation file: look what is in it, read, add a field, follow another program.
program ten_lines
  use pdm
  use, intrinsic :: iso_fortran_env, only: real64
  implicit none
  type(pdm_sim) :: sim
  type(pdm_mesh) :: mesh
  type(pdm_set) :: inlet
  type(pdm_field) :: field
  type(pdm_system) :: modal
  type(pdm_numbering) :: numbering
  type(pdm_numbering_information) :: equations
  type(pdm_update) :: update
  character(:), allocatable :: names(:)
  character(256) :: file
  integer, allocatable :: items(:)
  real(real64), allocatable :: x(:, :), t(:)
  integer :: i

  call get_command_argument(1, file)
  if (file == '') file = 'a.pdm'
  call sim%open(file) ! without stat= a failure writes its line and stops the program
  mesh = sim%mesh()
  call mesh%set_names(pdm_nodes, names)
  do i = 1, size(names)
    print '(a)', 'node set "'//trim(names(i))//'"'
  end do
  inlet = mesh%set(pdm_nodes, 'inlet')
  call inlet%get(items) ! from 1
  field = mesh%field(pdm_nodes, 'coordinates')
  call field%get(x) ! (3, nodes), checked against its checksums
  print '(a, 3(1x, i0))', 'the first inlet node is at', nint(x(:, items(1)))
  field = mesh%field(pdm_nodes, 'temperature')
  call field%get(t, drawer=field%drawer_at(0.5_real64))
  print '(a, i0)', 'its temperature at 0.5 s is ', nint(t(items(1)))
  modal = mesh%find_system('modal analysis')
  numbering = modal%numbering()
  equations = numbering%info()
  print '(i0, a)', equations%equations, ' equations'
  call sim%close() ! what was made of it has ended

  call sim%open(file, pdm_write)
  update = sim%update() ! without commit taken back, also by death
  mesh = sim%mesh()
  call mesh%create_field(pdm_nodes, 'heat', t, unit='W', replace=.true.)
  call update%commit()
  call sim%close()

  call sim%open(file, pdm_live) ! also beside a program that is writing
  call sim%refresh()
  call sim%close()
end program
