! Sets and fields.
#include "pdm_words.inc"
module pdm_fields
  use, intrinsic :: iso_c_binding
  use, intrinsic :: iso_fortran_env, only: int32, int64, real32, real64
  use pdm_calls
  use pdm_texts
  implicit none
  private
  public :: take_field, make_room

  !> Makes an array that a caller asked for; leaves it alone when the call before has failed.
  interface make_room
    procedure room_integers, room_longs, room_reals
  end interface

  !> The types of stored numbers.
  integer, parameter, public :: pdm_int32 = 0, pdm_int64 = 1, pdm_real32 = 2, pdm_real64 = 3

  !> An ordered list of items, such as nodes, from 1.
  type, public :: pdm_set
#define THE_TYPE pdm_set
#include "pdm_handle_type.inc"
    procedure :: count => set_count
    procedure :: read => set_read
    procedure :: get => set_get
  end type

  !> What a field is, and one drawer of it.
  type, public :: pdm_field_information
    integer :: drawers = 0        !< 0: nothing is written yet
    integer :: steps = 0          !< that are written
    integer :: drawers_a_step = 0 !< 1, or one for each set that the field is over
    integer :: number_type = 0    !< pdm_real64...
    integer :: rows = 0           !< of the drawer, one for each item
    integer :: components = 0     !< numbers a row
    character(:), allocatable :: name, unit, long_name
  end type

  !> Numbers over items, in drawers: of a result one a step, of a connectivity one a block, else one.
  type, public :: pdm_field
#define THE_TYPE pdm_field
#include "pdm_handle_type.inc"
    procedure :: info => field_info
    procedure :: drawer_at => field_drawer_at
    procedure :: set => field_set
    generic :: read => EACH_OF(read)
    generic :: get => EACH_OF(get)
    generic :: write => EACH_OF(write)
    generic :: append => EACH_OF(append)
    procedure, private :: EACH_OF(read)
    procedure, private :: EACH_OF(get)
    procedure, private :: EACH_OF(write)
    procedure, private :: EACH_OF(append)
  end type

  !> What is said of new numbers, with the texts that C's struct points to. For this layer alone.
  type, public :: options_type
    type(c_field_options) :: c
    integer :: status = pdm_ok ! of what was said
    character(kind=c_char), allocatable :: unit(:), long_name(:)
  contains
    procedure :: set => options_set
  end type

contains

#define THE_TYPE pdm_set
#include "pdm_handle.inc"
#define THE_TYPE pdm_field
#include "pdm_handle.inc"

  !> \return the number of items.
  function set_count(self, stat, errmsg) result(count)
    class(pdm_set), intent(in) :: self
    STAT_AND_ERRMSG
    integer(c_int32_t) :: count
    count = 0
    call done(c_set_size(self%ptr, count), stat, errmsg)
  end function

  !> Reads the items, from 1, in the set's order.
  subroutine set_read(self, items, stat, errmsg)
    class(pdm_set), intent(in) :: self
    integer(int32), intent(inout), contiguous :: items(:)
    STAT_AND_ERRMSG
    integer :: count, status
    count = set_count(self, status)
    if (status == pdm_ok) status = c_set_items(self%ptr, items, size(items, kind=c_size_t))
    if (status == pdm_ok) items(:count) = items(:count) + 1
    call done(status, stat, errmsg)
  end subroutine

  !> As read, into an array that is made for it.
  subroutine set_get(self, items, stat, errmsg)
    class(pdm_set), intent(in) :: self
    integer(int32), allocatable, intent(inout) :: items(:)
    STAT_AND_ERRMSG
    integer :: count, status
    count = set_count(self, status)
    call make_room(status, count, items)
    if (status == pdm_ok) status = c_set_items(self%ptr, items, size(items, kind=c_size_t))
    if (status == pdm_ok) items = items + 1
    call done(status, stat, errmsg)
  end subroutine

  !> \return what the field is, and one drawer of it.
  !> \param drawer  1 without it.
  function field_info(self, drawer, stat, errmsg) result(info)
    class(pdm_field), intent(in) :: self
    integer, intent(in), optional :: drawer
    STAT_AND_ERRMSG
    type(pdm_field_information) :: info
    type(c_field_info) :: c
    integer(c_int32_t) :: at
    integer :: status
    at = 0
    if (present(drawer)) at = drawer - 1
    c%size = c_sizeof(c)
    status = c_field_get_info(self%ptr, at, c)
    if (status == pdm_ok) then
      info%drawers = c%drawers
      info%steps = c%steps
      info%drawers_a_step = c%drawers_a_step
      info%number_type = c%type
      info%rows = c%rows
      info%components = c%components
      info%name = text_of(c%name)
      info%unit = text_of(c%unit)
      info%long_name = text_of(c%long_name)
    end if
    call done(status, stat, errmsg)
  end function

  !> \return the drawer of the step at one of the mesh's times.
  function field_drawer_at(self, time, stat, errmsg) result(drawer)
    class(pdm_field), intent(in) :: self
    real(real64), intent(in) :: time
    STAT_AND_ERRMSG
    integer(c_int32_t) :: drawer
    drawer = -1
    call done(c_field_drawer_at(self%ptr, time, drawer), stat, errmsg)
    drawer = drawer + 1
  end function

  !> \return the items that the rows of a drawer belong to.
  function field_set(self, drawer, stat, errmsg) result(set)
    class(pdm_field), intent(in) :: self
    integer, intent(in), optional :: drawer
    STAT_AND_ERRMSG
    type(pdm_set) :: set
    set%fresh = .true.
    call done(c_field_set(self%ptr, drawer_of(drawer), set%ptr), stat, errmsg)
  end function

  !> Reads as many rows from `first` on, from 1, as there is room for.
  integer function read_rows(field, drawer, first, type_, room, count)
    class(pdm_field), intent(in) :: field
    integer(c_int32_t), intent(in) :: drawer, type_
    integer, intent(in) :: first
    type(c_ptr), intent(in) :: room
    integer(c_size_t), intent(in) :: count
    type(c_field_info) :: info
    integer(c_int32_t) :: rows
    info%size = c_sizeof(info)
    read_rows = c_field_get_info(field%ptr, drawer, info)
    if (read_rows /= pdm_ok) return
    rows = int(min(count/max(info%components, 1), int(huge(rows), c_size_t)), c_int32_t)
    if (count > 0) rows = max(rows, 1) ! which is refused where there is no room for one
    read_rows = c_field_read_rows(field%ptr, drawer, first - 1, rows, type_, room, count)
  end function

  !> Refuses an array of two dimensions whose rows are not those of a drawer. How many there are C says.
  !> \return pdm_ok also where there is no such drawer, which the call says.
  function fit(field, operation, drawer, found)
    class(pdm_field), intent(in) :: field
    character(*), intent(in) :: operation
    integer(c_int32_t), intent(in) :: drawer
    integer(c_size_t), intent(in) :: found(:)
    integer(c_int) :: fit
    type(c_field_info) :: info
    character(96) :: cause
    fit = pdm_ok
    if (size(found) == 1) return
    info%size = c_sizeof(info)
    if (c_field_get_info(field%ptr, drawer, info) /= pdm_ok) return
    if (info%drawers == 0 .or. found(1) == info%components) return
    write (cause, '(4(a, i0), a)') 'expected an array (', info%components, ', ', info%rows, '), found (', found(1), ', ', &
      found(2), ')'
    fit = refused(field%ptr, pdm_bad_argument, operation, cause)
  end function

  !> C's number of a drawer; the only one where none is said.
  integer(c_int32_t) function drawer_of(drawer)
    integer, intent(in), optional :: drawer
    integer(c_int32_t), parameter :: only = -huge(1_c_int32_t)
    drawer_of = only
    if (present(drawer)) drawer_of = drawer - 1
  end function

#define WORD room_integers
#define NUMBER integer(int32)
#include "pdm_room.inc"
#define WORD room_longs
#define NUMBER integer(int64)
#include "pdm_room.inc"
#define WORD room_reals
#define NUMBER real(real64)
#include "pdm_room.inc"

  !> Gives the caller a field that C has made, or ends it.
  subroutine take_field(field, made)
    type(pdm_field), intent(inout), optional :: field
    type(c_ptr), intent(in) :: made
    if (present(field)) then
      call end_handle(field%ptr)
      field%ptr = made
      field%fresh = .false.
    else
      call end_handle(made)
    end if
  end subroutine

  !> \param owner      of the new numbers.
  !> \param operation  what a failure calls the call.
  subroutine options_set(self, owner, operation, unit, long_name, over, components, replace, deflate, chunk_rows)
    class(options_type), intent(inout), target :: self
    type(c_ptr), intent(in) :: owner
    character(*), intent(in) :: operation
    character(*), intent(in), optional :: unit, long_name
    type(pdm_set), intent(in), optional :: over
    integer, intent(in) :: components
    logical, intent(in), optional :: replace
    integer, intent(in), optional :: deflate, chunk_rows
    self%c = c_field_options(0, c_null_ptr, c_null_ptr, c_null_ptr, components, 0, 0, 0)
    self%c%size = c_sizeof(self%c)
    if (present(unit)) then
      self%unit = bytes_of(unit)
      self%c%unit = c_loc(self%unit)
    end if
    if (present(long_name)) then
      self%long_name = bytes_of(long_name)
      self%c%long_name = c_loc(self%long_name)
    end if
    if (present(over)) self%c%over = over%ptr
    if (present(over) .and. .not. c_associated(self%c%over)) & ! which C takes for all items
      self%status = refused(owner, pdm_bad_handle, operation, 'the set of `over` was not found or never set')
    if (present(replace)) self%c%replace = merge(1, 0, replace)
    if (present(deflate)) self%c%deflate = deflate
    if (present(chunk_rows)) self%c%chunk_rows = chunk_rows
  end subroutine

  function bytes_of(text) result(bytes)
    character(*), intent(in) :: text
    character(kind=c_char), allocatable :: bytes(:)
    integer :: i
    allocate (bytes(len_trim(text) + 1))
    do i = 1, len_trim(text)
      bytes(i) = text(i:i)
    end do
    bytes(len_trim(text) + 1) = c_null_char
  end function

#define EACH "pdm_field_typed.inc"
#include "pdm_each_type.inc"

end module
