! Meshes.
#include "pdm_words.inc"
module pdm_meshes
  use, intrinsic :: iso_c_binding
  use, intrinsic :: iso_fortran_env, only: int32, int64, real32, real64
  use pdm_calls
  use pdm_texts
  use pdm_fields
  use pdm_systems
  implicit none
  private

  !> What sets and fields are over, and what a mesh counts.
  integer, parameter, public :: pdm_nodes = 0, pdm_elements = 1, pdm_faces = 2, pdm_instances = 3, pdm_regions = 4, &
    pdm_steps = 5, pdm_surfaces = 6, pdm_whole_mesh = 7, pdm_blocks = 8

  !> Elements of one type.
  type, public :: pdm_block_information
    integer :: elements = 0
    integer :: nodes_per_element = 0
    integer(int64) :: id = 0 !< the user's number
    character(:), allocatable :: name, element_type !< '' and 'HEX8'
  end type

  !> The mesh of a file.
  type, public :: pdm_mesh
#define THE_TYPE pdm_mesh
#include "pdm_handle_type.inc"
    procedure :: count => mesh_count
    procedure :: dimension => mesh_dimension
    procedure :: get_labels => mesh_get_labels
    procedure :: get_times => mesh_get_times
    procedure :: set_times => mesh_set_times
    procedure :: append_time => mesh_append_time
    procedure :: block => mesh_block
    procedure :: get_connectivity => mesh_get_connectivity
    procedure :: create_block => mesh_create_block
    procedure :: set_names => mesh_set_names
    procedure :: set => mesh_set
    procedure :: create_set => mesh_create_set
    procedure :: remove_set => mesh_remove_set
    procedure :: surface_names => mesh_surface_names
    procedure :: get_surface => mesh_get_surface
    procedure :: create_surface => mesh_create_surface
    procedure :: field_names => mesh_field_names
    procedure :: field => mesh_field
    procedure :: create_empty_field => mesh_create_empty_field
    procedure :: remove_field => mesh_remove_field
    procedure :: system_names => mesh_system_names
    procedure :: system => mesh_system
    procedure :: find_system => mesh_find_system
    procedure :: create_system => mesh_create_system
    procedure :: get_pattern => mesh_get_pattern
    generic :: create_field => EACH_OF(create)
    procedure, private :: EACH_OF(create)
  end type

contains

#define THE_TYPE pdm_mesh
#include "pdm_handle.inc"
#define OWNER pdm_mesh
#define C_CREATE c_mesh_create_field
#define OF_ , of
#define OF_DECLARED integer, intent(in) :: of

  !> \return how many there are.
  !> \param of  pdm_nodes, elements, faces, instances, regions, steps, surfaces or blocks.
  function mesh_count(self, of, stat, errmsg) result(count)
    class(pdm_mesh), intent(in) :: self
    integer, intent(in) :: of
    STAT_AND_ERRMSG
    integer(c_int32_t) :: count
    count = 0
    call done(c_mesh_count(self%ptr, of, count), stat, errmsg)
  end function

  !> \return 2 or 3; 0 when there are no coordinates.
  function mesh_dimension(self, stat, errmsg) result(axes)
    class(pdm_mesh), intent(in) :: self
    STAT_AND_ERRMSG
    integer(c_int32_t) :: axes
    axes = 0
    call done(c_mesh_dimension(self%ptr, axes), stat, errmsg)
  end function

  !> Reads the user's numbers of nodes or elements into an array that is made for them.
  subroutine mesh_get_labels(self, of, labels, stat, errmsg)
    class(pdm_mesh), intent(in) :: self
    integer, intent(in) :: of
    integer(int64), allocatable, intent(inout) :: labels(:)
    STAT_AND_ERRMSG
    integer(c_int32_t) :: count
    integer :: status
    status = c_mesh_count(self%ptr, of, count)
    call make_room(status, count, labels)
    if (status == pdm_ok) status = c_mesh_labels(self%ptr, of, labels, size(labels, kind=c_size_t))
    call done(status, stat, errmsg)
  end subroutine

  !> Reads the times of the steps into an array that is made for them.
  subroutine mesh_get_times(self, times, stat, errmsg)
    class(pdm_mesh), intent(in) :: self
    real(real64), allocatable, intent(inout) :: times(:)
    STAT_AND_ERRMSG
    integer(c_int32_t) :: count
    integer :: status
    status = c_mesh_count(self%ptr, pdm_steps, count)
    call make_room(status, count, times)
    if (status == pdm_ok) status = c_mesh_times(self%ptr, times, size(times, kind=c_size_t))
    call done(status, stat, errmsg)
  end subroutine

  !> Gives the mesh its steps, with these times in ascending order.
  subroutine mesh_set_times(self, times, stat, errmsg)
    class(pdm_mesh), intent(in) :: self
    real(real64), intent(in), contiguous :: times(:)
    STAT_AND_ERRMSG
    call done(c_mesh_set_times(self%ptr, times, size(times, kind=c_size_t)), stat, errmsg)
  end subroutine

  !> Adds a step.
  subroutine mesh_append_time(self, time, stat, errmsg)
    class(pdm_mesh), intent(in) :: self
    real(real64), intent(in) :: time
    STAT_AND_ERRMSG
    call done(c_mesh_append_time(self%ptr, time), stat, errmsg)
  end subroutine

  !> \return what a block is.
  !> \param number  from 1.
  function mesh_block(self, number, stat, errmsg) result(block)
    class(pdm_mesh), intent(in) :: self
    integer, intent(in) :: number
    STAT_AND_ERRMSG
    type(pdm_block_information) :: block
    type(c_block_info) :: c
    integer :: status
    c%size = c_sizeof(c)
    status = c_mesh_block(self%ptr, number - 1, c)
    if (status == pdm_ok) then
      block%elements = c%elements
      block%nodes_per_element = c%nodes_per_element
      block%id = c%id
      block%name = text_of(c%name)
      block%element_type = text_of(c%type)
    end if
    call done(status, stat, errmsg)
  end function

  !> Reads the nodes, from 1, of a block's elements into an array that is made for them.
  !> \param nodes  [nodes of an element, elements]; 0 fills up polygons.
  subroutine mesh_get_connectivity(self, block, nodes, stat, errmsg)
    class(pdm_mesh), intent(in) :: self
    integer, intent(in) :: block
    integer(int32), allocatable, intent(inout) :: nodes(:, :)
    STAT_AND_ERRMSG
    type(pdm_field) :: field
    integer :: status
    field = mesh_field(self, pdm_elements, 'connectivity', status)
    if (status == pdm_ok) call field%get(nodes, block, status)
    if (status == pdm_ok) nodes = nodes + 1
    call done(status, stat, errmsg)
  end subroutine

  !> Makes a block of the elements that follow those of the blocks so far, with an element set and a region of its name.
  !> \param element_type  'HEX8', whose nodes are in the order of Exodus II.
  !> \param nodes         [nodes of an element, elements], from 1; 0 fills up polygons.
  !> \param name          block_1, block_2... without it.
  subroutine mesh_create_block(self, element_type, nodes, name, stat, errmsg)
    class(pdm_mesh), intent(in) :: self
    character(*), intent(in) :: element_type
    integer(int32), intent(in) :: nodes(:, :)
    character(*), intent(in), optional :: name
    STAT_AND_ERRMSG
    character(:), allocatable :: own
    own = ''
    if (present(name)) own = name
    call done(c_mesh_create_block(self%ptr, c_text(own), c_text(element_type), size(nodes, 1), nodes - 1, &
      size(nodes, kind=c_size_t)), stat, errmsg)
  end subroutine

#define WORD mesh_set
#define MADE pdm_set
#include "pdm_map.inc"

  !> Stores a new set.
  !> \param items  from 1, in any order, none twice.
  subroutine mesh_create_set(self, of, name, items, replace, set, stat, errmsg)
    class(pdm_mesh), intent(in) :: self
    integer, intent(in) :: of
    character(*), intent(in) :: name
    integer(int32), intent(in) :: items(:)
    logical, intent(in), optional :: replace
    type(pdm_set), intent(inout), optional :: set
    STAT_AND_ERRMSG
    type(pdm_set) :: made
    integer(c_int32_t) :: giving
    integer :: status
    giving = 0
    if (present(replace)) giving = merge(1, 0, replace)
    status = c_mesh_create_set(self%ptr, of, c_text(name), items - 1, size(items, kind=c_size_t), giving, made%ptr)
    if (status == pdm_ok .and. present(set)) set = made
    call done(status, stat, errmsg)
  end subroutine

  !> Reads the sides of a surface into arrays that are made for them.
  !> \param sides  the number, from 1, of each side at its element.
  subroutine mesh_get_surface(self, name, elements, sides, stat, errmsg)
    class(pdm_mesh), intent(in) :: self
    character(*), intent(in) :: name
    integer(int32), allocatable, intent(inout) :: elements(:), sides(:)
    STAT_AND_ERRMSG
    integer(c_int32_t) :: count
    integer :: status
    status = c_mesh_surface_size(self%ptr, c_text(name), count)
    call make_room(status, count, elements)
    call make_room(status, count, sides)
    if (status == pdm_ok) status = c_mesh_surface(self%ptr, c_text(name), elements, sides, size(sides, kind=c_size_t))
    if (status == pdm_ok) elements = elements + 1
    if (status == pdm_ok) sides = sides + 1
    call done(status, stat, errmsg)
  end subroutine

  !> Takes the name of a set out of the mesh. Its items stay in the file, and where fields are over them.
  subroutine mesh_remove_set(self, of, name, stat, errmsg)
    class(pdm_mesh), intent(in) :: self
    integer, intent(in) :: of
    character(*), intent(in) :: name
    STAT_AND_ERRMSG
    call done(c_mesh_remove_set(self%ptr, of, c_text(name)), stat, errmsg)
  end subroutine

  !> Takes the name of a field out of the mesh. Its numbers stay in the file.
  subroutine mesh_remove_field(self, of, name, stat, errmsg)
    class(pdm_mesh), intent(in) :: self
    integer, intent(in) :: of
    character(*), intent(in) :: name
    STAT_AND_ERRMSG
    call done(c_mesh_remove_field(self%ptr, of, c_text(name)), stat, errmsg)
  end subroutine

  !> Stores a new surface.
  !> \param sides  the number, from 1, of each side at its element.
  subroutine mesh_create_surface(self, name, elements, sides, stat, errmsg)
    class(pdm_mesh), intent(in) :: self
    character(*), intent(in) :: name
    integer(int32), intent(in) :: elements(:), sides(:)
    STAT_AND_ERRMSG
    if (size(elements) /= size(sides)) then
      call done(refused(self%ptr, pdm_bad_argument, 'create a surface', 'there must be as many sides as elements'), stat, errmsg)
      return
    end if
    call done(c_mesh_create_surface(self%ptr, c_text(name), elements - 1, sides - 1, size(sides, kind=c_size_t)), stat, errmsg)
  end subroutine

#define WORD mesh_field
#define MADE pdm_field
#include "pdm_map.inc"

  !> Stores a new field without drawers, for append to fill step by step.
  subroutine mesh_create_empty_field(self, of, name, unit, replace, field, stat, errmsg)
    class(pdm_mesh), intent(in) :: self
    integer, intent(in) :: of
    character(*), intent(in) :: name
    character(*), intent(in), optional :: unit
    logical, intent(in), optional :: replace
    type(pdm_field), intent(inout), optional :: field
    STAT_AND_ERRMSG
    type(options_type), target :: texts
    type(c_ptr) :: made
    integer(c_int) :: status
    call texts%set(self%ptr, 'create a field', unit=unit, components=0, replace=replace)
    status = c_mesh_create_field(self%ptr, of, c_text(name), pdm_real64, c_null_ptr, 0_c_size_t, texts%c, made)
    call take_field(field, made)
    call done(status, stat, errmsg)
  end subroutine

  !> \return the system of that number, from 1.
  function mesh_system(self, number, stat, errmsg) result(made)
    class(pdm_mesh), intent(in) :: self
    integer, intent(in) :: number
    STAT_AND_ERRMSG
    type(pdm_system) :: made
    made%fresh = .true.
    call done(c_mesh_system(self%ptr, number - 1, made%ptr), stat, errmsg)
  end function

  !> \return the first system of that name.
  function mesh_find_system(self, name, stat, errmsg) result(made)
    class(pdm_mesh), intent(in) :: self
    character(*), intent(in) :: name
    STAT_AND_ERRMSG
    type(pdm_system) :: made
    made%fresh = .true.
    call done(c_mesh_find_system(self%ptr, c_text(name), made%ptr), stat, errmsg)
  end function

  !> Adds a system.
  !> \param kind  pdm_plain, generic, modal or substructure.
  subroutine mesh_create_system(self, name, kind, system, stat, errmsg)
    class(pdm_mesh), intent(in) :: self
    character(*), intent(in) :: name
    integer, intent(in) :: kind
    type(pdm_system), intent(inout), optional :: system
    STAT_AND_ERRMSG
    type(pdm_system) :: made
    integer :: status
    status = c_mesh_create_system(self%ptr, c_text(name), kind, made%ptr)
    if (status == pdm_ok .and. present(system)) system = made
    call done(status, stat, errmsg)
  end subroutine

  !> Reads the places of a matrix that are not zero, where elements couple all equations of their nodes, into arrays that are
  !> made for them. Rows and columns are the solver's places, from 1.
  !> \param begin    [rows + 1] where each row begins in `columns`, from 1.
  !> \param columns  ascending within a row.
  subroutine mesh_get_pattern(self, numbering, begin, columns, stat, errmsg)
    class(pdm_mesh), intent(in) :: self
    type(pdm_numbering), intent(in) :: numbering
    integer(int64), allocatable, intent(inout) :: begin(:)
    integer(int32), allocatable, intent(inout) :: columns(:)
    STAT_AND_ERRMSG
    type(c_ptr) :: pattern
    integer(c_int32_t) :: rows
    integer(c_int64_t) :: entries
    integer :: status
    pattern = c_null_ptr
    status = c_mesh_pattern(self%ptr, numbering%ptr, pattern)
    if (status == pdm_ok) status = c_pattern_size(pattern, rows, entries)
    if (status == pdm_ok) then
      if (allocated(begin)) deallocate (begin)
      if (allocated(columns)) deallocate (columns)
      allocate (begin(rows + 1_int64), columns(entries))
      status = c_pattern_read(pattern, begin, size(begin, kind=c_size_t), columns, size(columns, kind=c_size_t))
    end if
    if (status == pdm_ok) then
      begin = begin + 1
      columns = columns + 1
    end if
    call done(status, stat, errmsg)
    call end_handle(pattern)
  end subroutine

#define EACH "pdm_create_typed.inc"
#include "pdm_each_type.inc"

  ! Names of what a mesh has of one kind alone. Those of systems are in their order, blank for those without.
#undef OF_
#undef OF_DECLARED
#define OF_
#define OF_DECLARED
#define WORD mesh_surface
#include "pdm_names.inc"
#undef WORD
#define WORD mesh_system
#include "pdm_names.inc"

end module
