! Systems of equations and their numberings.
module pdm_systems
  use, intrinsic :: iso_c_binding
  use, intrinsic :: iso_fortran_env, only: int32, int64, real32, real64
  use pdm_calls
  use pdm_texts
  use pdm_fields
  implicit none
  private

  !> What a system is by its class.
  integer, parameter, public :: pdm_plain = 0, pdm_generic = 1, pdm_modal = 2, pdm_substructure = 3, pdm_other = 4

  !> How many there are of what.
  type, public :: pdm_numbering_information
    integer :: nodes = 0
    integer :: equations = 0
    integer :: labels = 0 !< number of labels that are active anywhere
    integer :: places = 0 !< of the solver; all equations where it has no order
    logical :: has_order = .false.
  end type

  !> The equations of a system, from 1, node by node and by ascending label within a node.
  type, public :: pdm_numbering
    type(c_ptr) :: ptr = c_null_ptr ! for this layer alone, as `fresh` is
    logical :: fresh = .false.
  contains
    procedure :: info => numbering_info
    procedure :: get_labels => numbering_get_labels
    procedure :: get_equations => numbering_get_equations
    procedure :: equation => numbering_equation
    procedure :: get_order => numbering_get_order
    procedure, private :: assign => numbering_assign
    generic :: assignment(=) => assign
    final :: numbering_end
  end type

  !> What a system is.
  type, public :: pdm_system_information
    integer :: kind = pdm_other
    integer :: modes = 0  !< number of frequencies
    integer :: shapes = 0 !< number of mode shapes
    character(:), allocatable :: name, class_name
  end type

  !> A system of equations on the mesh.
  type, public :: pdm_system
    type(c_ptr) :: ptr = c_null_ptr ! for this layer alone, as `fresh` is
    logical :: fresh = .false.
  contains
    procedure :: info => system_info
    procedure :: field_names => system_field_names
    procedure :: field => system_field
    procedure :: get_frequencies => system_get_frequencies
    procedure :: set_frequencies => system_set_frequencies
    procedure :: mode_shapes => system_mode_shapes
    procedure :: set_activity => system_set_activity
    procedure :: set_order => system_set_order
    procedure :: numbering => system_numbering
    generic :: create_field => create_i1, create_i2, create_l1, create_l2, create_s1, create_s2, create_d1, create_d2
    procedure, private :: create_i1, create_i2, create_l1, create_l2, create_s1, create_s2, create_d1, create_d2
    procedure, private :: assign => system_assign
    generic :: assignment(=) => assign
    final :: system_end
  end type

contains

#define THE_TYPE pdm_numbering
#define ASSIGN_IT numbering_assign
#define END_IT numbering_end
#include "pdm_handle.inc"
#undef THE_TYPE
#undef ASSIGN_IT
#undef END_IT
#define THE_TYPE pdm_system
#define ASSIGN_IT system_assign
#define END_IT system_end
#include "pdm_handle.inc"
#undef THE_TYPE
#undef ASSIGN_IT
#undef END_IT

  !> \return how many nodes, equations, labels and places there are.
  function numbering_info(self, stat, errmsg) result(info)
    class(pdm_numbering), intent(in) :: self
    integer, intent(out), optional :: stat
    character(*), intent(inout), optional :: errmsg
    type(pdm_numbering_information) :: info
    type(c_numbering_info) :: c
    integer :: status
    c%size = c_sizeof(c)
    status = c_numbering_get_info(self%ptr, c)
    if (status == pdm_ok) info = pdm_numbering_information(c%nodes, c%equations, c%labels, c%places, c%has_order /= 0)
    call done(status, stat, errmsg)
  end function

  !> Reads the labels that are active anywhere, ascending, into an array that is made for them.
  subroutine numbering_get_labels(self, labels, stat, errmsg)
    class(pdm_numbering), intent(in) :: self
    integer(int32), allocatable, intent(inout) :: labels(:)
    integer, intent(out), optional :: stat
    character(*), intent(inout), optional :: errmsg
    type(pdm_numbering_information) :: info
    integer :: status
    info = numbering_info(self, status)
    if (status == pdm_ok) then
      if (allocated(labels)) deallocate (labels)
      allocate (labels(info%labels))
      status = c_numbering_labels(self%ptr, labels, size(labels, kind=c_size_t))
    end if
    call done(status, stat, errmsg)
  end subroutine

  !> Reads node, from 1, and label of each equation into arrays that are made for them.
  subroutine numbering_get_equations(self, nodes, labels, stat, errmsg)
    class(pdm_numbering), intent(in) :: self
    integer(int32), allocatable, intent(inout) :: nodes(:), labels(:)
    integer, intent(out), optional :: stat
    character(*), intent(inout), optional :: errmsg
    type(pdm_numbering_information) :: info
    integer :: status
    info = numbering_info(self, status)
    if (status == pdm_ok) then
      if (allocated(nodes)) deallocate (nodes)
      if (allocated(labels)) deallocate (labels)
      allocate (nodes(info%equations), labels(info%equations))
      status = c_numbering_equations(self%ptr, nodes, labels, size(nodes, kind=c_size_t))
      if (status == pdm_ok) nodes = nodes + 1
    end if
    call done(status, stat, errmsg)
  end subroutine

  !> \return the equation of a degree of freedom, from 1; 0 where it has none.
  function numbering_equation(self, node, label, stat, errmsg) result(equation)
    class(pdm_numbering), intent(in) :: self
    integer, intent(in) :: node, label
    integer, intent(out), optional :: stat
    character(*), intent(inout), optional :: errmsg
    integer(c_int32_t) :: equation
    equation = -1
    call done(c_numbering_equation(self%ptr, node - 1, label, equation), stat, errmsg)
    equation = equation + 1
  end function

  !> Reads the equation, from 1, at each of the solver's places into an array that is made for them.
  subroutine numbering_get_order(self, equations, stat, errmsg)
    class(pdm_numbering), intent(in) :: self
    integer(int32), allocatable, intent(inout) :: equations(:)
    integer, intent(out), optional :: stat
    character(*), intent(inout), optional :: errmsg
    type(pdm_numbering_information) :: info
    integer :: status
    info = numbering_info(self, status)
    if (status == pdm_ok) then
      if (allocated(equations)) deallocate (equations)
      allocate (equations(info%places))
      status = c_numbering_order(self%ptr, equations, size(equations, kind=c_size_t))
      if (status == pdm_ok) equations = equations + 1
    end if
    call done(status, stat, errmsg)
  end subroutine

  !> \return what the system is.
  function system_info(self, stat, errmsg) result(info)
    class(pdm_system), intent(in) :: self
    integer, intent(out), optional :: stat
    character(*), intent(inout), optional :: errmsg
    type(pdm_system_information) :: info
    type(c_system_info) :: c
    integer :: status
    c%size = c_sizeof(c)
    status = c_system_get_info(self%ptr, c)
    if (status == pdm_ok) then
      info%kind = c%kind
      info%modes = c%modes
      info%shapes = c%shapes
      info%name = text_of(c%name)
      info%class_name = text_of(c%class_name)
    end if
    call done(status, stat, errmsg)
  end function

  !> The names of the fields; those that are shorter end in blanks.
  subroutine system_field_names(self, names, stat, errmsg)
    class(pdm_system), intent(in) :: self
    character(:), allocatable, intent(inout) :: names(:)
    integer, intent(out), optional :: stat
    character(*), intent(inout), optional :: errmsg
    type(c_ptr) :: list
    integer :: status
    status = c_system_field_names(self%ptr, list)
    if (status == pdm_ok) call names_of(list, names)
    call done(status, stat, errmsg)
  end subroutine

  !> \return the field of that name.
  function system_field(self, name, stat, errmsg) result(field)
    class(pdm_system), intent(in) :: self
    character(*), intent(in) :: name
    integer, intent(out), optional :: stat
    character(*), intent(inout), optional :: errmsg
    type(pdm_field) :: field
    field%fresh = .true.
    call done(c_system_field(self%ptr, c_text(name), field%ptr), stat, errmsg)
  end function

  !> Reads the frequencies in Hz into an array that is made for them.
  subroutine system_get_frequencies(self, hertz, stat, errmsg)
    class(pdm_system), intent(in) :: self
    real(real64), allocatable, intent(inout) :: hertz(:)
    integer, intent(out), optional :: stat
    character(*), intent(inout), optional :: errmsg
    type(pdm_system_information) :: info
    integer :: status
    info = system_info(self, status)
    if (status == pdm_ok) then
      if (allocated(hertz)) deallocate (hertz)
      allocate (hertz(info%modes))
      status = c_system_frequencies(self%ptr, hertz, size(hertz, kind=c_size_t))
    end if
    call done(status, stat, errmsg)
  end subroutine

  !> Stores the frequencies in Hz, negative for unstable modes.
  subroutine system_set_frequencies(self, hertz, stat, errmsg)
    class(pdm_system), intent(in) :: self
    real(real64), intent(in), contiguous :: hertz(:)
    integer, intent(out), optional :: stat
    character(*), intent(inout), optional :: errmsg
    call done(c_system_set_frequencies(self%ptr, hertz, size(hertz, kind=c_size_t)), stat, errmsg)
  end subroutine

  !> \return the field of the mode shapes, a drawer a mode.
  function system_mode_shapes(self, stat, errmsg) result(field)
    class(pdm_system), intent(in) :: self
    integer, intent(out), optional :: stat
    character(*), intent(inout), optional :: errmsg
    type(pdm_field) :: field
    field%fresh = .true.
    call done(c_system_mode_shapes(self%ptr, field%ptr), stat, errmsg)
  end function

  !> Stores which degrees of freedom are active.
  !> \param masks  one a node; bit b-1 is set where degree of freedom b is active, 1 to 31.
  subroutine system_set_activity(self, masks, stat, errmsg)
    class(pdm_system), intent(in) :: self
    integer(int32), intent(in), contiguous :: masks(:)
    integer, intent(out), optional :: stat
    character(*), intent(inout), optional :: errmsg
    call done(c_system_set_activity(self%ptr, masks, size(masks, kind=c_size_t)), stat, errmsg)
  end subroutine

  !> Stores the solver's order of a modal system: the equation, from 1, at each of its places.
  subroutine system_set_order(self, equations, stat, errmsg)
    class(pdm_system), intent(in) :: self
    integer(int32), intent(in) :: equations(:)
    integer, intent(out), optional :: stat
    character(*), intent(inout), optional :: errmsg
    call done(c_system_set_order(self%ptr, equations - 1, size(equations, kind=c_size_t)), stat, errmsg)
  end subroutine

  !> Numbers the active degrees of freedom.
  function system_numbering(self, stat, errmsg) result(numbering)
    class(pdm_system), intent(in) :: self
    integer, intent(out), optional :: stat
    character(*), intent(inout), optional :: errmsg
    type(pdm_numbering) :: numbering
    numbering%fresh = .true.
    call done(c_system_numbering(self%ptr, numbering%ptr), stat, errmsg)
  end function

#define OWNER pdm_system
#define C_CREATE c_system_create_field
#define OF_
#define OF_DECLARED
#include "pdm_create_all.inc"

end module
