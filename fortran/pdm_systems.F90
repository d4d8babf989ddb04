! Systems of equations and their numberings.
#include "pdm_words.inc"
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
#define THE_TYPE pdm_numbering
#include "pdm_handle_type.inc"
    procedure :: info => numbering_info
    procedure :: get_labels => numbering_get_labels
    procedure :: get_equations => numbering_get_equations
    procedure :: equation => numbering_equation
    procedure :: get_order => numbering_get_order
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
#define THE_TYPE pdm_system
#include "pdm_handle_type.inc"
    procedure :: info => system_info
    procedure :: field_names => system_field_names
    procedure :: field => system_field
    procedure :: get_frequencies => system_get_frequencies
    procedure :: set_frequencies => system_set_frequencies
    procedure :: mode_shapes => system_mode_shapes
    procedure :: set_activity => system_set_activity
    procedure :: get_activity => system_get_activity
    procedure :: set_order => system_set_order
    procedure :: numbering => system_numbering
    generic :: create_field => EACH_OF(create)
    procedure, private :: EACH_OF(create)
  end type

contains

#define THE_TYPE pdm_numbering
#include "pdm_handle.inc"
#define THE_TYPE pdm_system
#include "pdm_handle.inc"
#define OWNER pdm_system
#define C_CREATE c_system_create_field
#define OF_
#define OF_DECLARED

  !> \return how many nodes, equations, labels and places there are.
  function numbering_info(self, stat, errmsg) result(info)
    class(pdm_numbering), intent(in) :: self
    STAT_AND_ERRMSG
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
    STAT_AND_ERRMSG
    type(pdm_numbering_information) :: info
    integer :: status
    info = numbering_info(self, status)
    call make_room(status, info%labels, labels)
    if (status == pdm_ok) status = c_numbering_labels(self%ptr, labels, size(labels, kind=c_size_t))
    call done(status, stat, errmsg)
  end subroutine

  !> Reads node, from 1, and label of each equation into arrays that are made for them.
  subroutine numbering_get_equations(self, nodes, labels, stat, errmsg)
    class(pdm_numbering), intent(in) :: self
    integer(int32), allocatable, intent(inout) :: nodes(:), labels(:)
    STAT_AND_ERRMSG
    type(pdm_numbering_information) :: info
    integer :: status
    info = numbering_info(self, status)
    call make_room(status, info%equations, nodes)
    call make_room(status, info%equations, labels)
    if (status == pdm_ok) status = c_numbering_equations(self%ptr, nodes, labels, size(nodes, kind=c_size_t))
    if (status == pdm_ok) nodes = nodes + 1
    call done(status, stat, errmsg)
  end subroutine

  !> \return the equation of a degree of freedom, from 1; 0 where it has none.
  function numbering_equation(self, node, label, stat, errmsg) result(equation)
    class(pdm_numbering), intent(in) :: self
    integer, intent(in) :: node, label
    STAT_AND_ERRMSG
    integer(c_int32_t) :: equation
    equation = -1
    call done(c_numbering_equation(self%ptr, node - 1, label, equation), stat, errmsg)
    equation = equation + 1
  end function

  !> Reads the equation, from 1, at each of the solver's places into an array that is made for them.
  subroutine numbering_get_order(self, equations, stat, errmsg)
    class(pdm_numbering), intent(in) :: self
    integer(int32), allocatable, intent(inout) :: equations(:)
    STAT_AND_ERRMSG
    type(pdm_numbering_information) :: info
    integer :: status
    info = numbering_info(self, status)
    call make_room(status, info%places, equations)
    if (status == pdm_ok) status = c_numbering_order(self%ptr, equations, size(equations, kind=c_size_t))
    if (status == pdm_ok) equations = equations + 1
    call done(status, stat, errmsg)
  end subroutine

  !> \return what the system is.
  function system_info(self, stat, errmsg) result(info)
    class(pdm_system), intent(in) :: self
    STAT_AND_ERRMSG
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

#define WORD system_field
#define MADE pdm_field
#include "pdm_map.inc"

  !> Reads the frequencies in Hz into an array that is made for them.
  subroutine system_get_frequencies(self, hertz, stat, errmsg)
    class(pdm_system), intent(in) :: self
    real(real64), allocatable, intent(inout) :: hertz(:)
    STAT_AND_ERRMSG
    type(pdm_system_information) :: info
    integer :: status
    info = system_info(self, status)
    call make_room(status, info%modes, hertz)
    if (status == pdm_ok) status = c_system_frequencies(self%ptr, hertz, size(hertz, kind=c_size_t))
    call done(status, stat, errmsg)
  end subroutine

  !> Stores the frequencies in Hz, negative for unstable modes.
  subroutine system_set_frequencies(self, hertz, stat, errmsg)
    class(pdm_system), intent(in) :: self
    real(real64), intent(in), contiguous :: hertz(:)
    STAT_AND_ERRMSG
    call done(c_system_set_frequencies(self%ptr, hertz, size(hertz, kind=c_size_t)), stat, errmsg)
  end subroutine

  !> \return the field of the mode shapes, a drawer a mode.
  function system_mode_shapes(self, stat, errmsg) result(field)
    class(pdm_system), intent(in) :: self
    STAT_AND_ERRMSG
    type(pdm_field) :: field
    field%fresh = .true.
    call done(c_system_mode_shapes(self%ptr, field%ptr), stat, errmsg)
  end function

  !> Stores which degrees of freedom are active.
  !> \param masks  one a node; bit b-1 is set where degree of freedom b is active, 1 to 31.
  subroutine system_set_activity(self, masks, stat, errmsg)
    class(pdm_system), intent(in) :: self
    integer(int32), intent(in), contiguous :: masks(:)
    STAT_AND_ERRMSG
    call done(c_system_set_activity(self%ptr, masks, size(masks, kind=c_size_t)), stat, errmsg)
  end subroutine

  !> Reads the masks, as they were stored, into an array that is made for them.
  subroutine system_get_activity(self, masks, stat, errmsg)
    class(pdm_system), intent(in) :: self
    integer(int32), allocatable, intent(inout) :: masks(:)
    STAT_AND_ERRMSG
    integer(int32) :: none(1)
    integer :: status
    status = c_system_activity(self%ptr, none, 0_c_size_t)
    if (status == pdm_short_buffer) then
      call make_room(pdm_ok, pdm_needed(), masks)
      status = c_system_activity(self%ptr, masks, size(masks, kind=c_size_t))
    end if
    call done(status, stat, errmsg)
  end subroutine

  !> Stores the solver's order of a modal system: the equation, from 1, at each of its places.
  subroutine system_set_order(self, equations, stat, errmsg)
    class(pdm_system), intent(in) :: self
    integer(int32), intent(in) :: equations(:)
    STAT_AND_ERRMSG
    call done(c_system_set_order(self%ptr, equations - 1, size(equations, kind=c_size_t)), stat, errmsg)
  end subroutine

  !> Numbers the active degrees of freedom.
  function system_numbering(self, stat, errmsg) result(numbering)
    class(pdm_system), intent(in) :: self
    STAT_AND_ERRMSG
    type(pdm_numbering) :: numbering
    numbering%fresh = .true.
    call done(c_system_numbering(self%ptr, numbering%ptr), stat, errmsg)
  end function

#define EACH "pdm_create_typed.inc"
#include "pdm_each_type.inc"

end module
