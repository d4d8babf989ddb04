! Failures and texts, as every call of the module pdm has them.
module pdm_texts
  use, intrinsic :: iso_c_binding
  use, intrinsic :: iso_fortran_env, only: error_unit
  use pdm_calls
  implicit none
  private
  public :: done, refused, end_handle, text_of, c_text, take_names
  public :: pdm_message, pdm_failed_file, pdm_failed_path, pdm_failed_operation, pdm_failed_cause
  public :: pdm_needed, pdm_library_version

  !> Answers of `stat=`; whatever is not 0 is a failure.
  integer, parameter, public :: pdm_ok = 0, pdm_failed = 1, pdm_bad_handle = 2, pdm_bad_argument = 3, &
    pdm_short_buffer = 4, pdm_not_found = 5, pdm_wrong_type = 6, pdm_no_memory = 7

contains

  !> Tells the caller how a call ended; stops the program where nobody asks.
  subroutine done(status, stat, errmsg)
    integer(c_int), intent(in) :: status
    integer, intent(out), optional :: stat
    character(*), intent(inout), optional :: errmsg
    if (present(stat)) stat = status
    if (status == pdm_ok) return
    if (present(errmsg)) errmsg = pdm_message()
    if (present(stat)) return
    write (error_unit, '(a)') pdm_message()
    error stop 1
  end subroutine

  !> Makes what this layer itself refuses the thread's failure.
  !> \param handle  of the field, mesh or system, whose file and path the message has.
  !> \return `status`, for done().
  function refused(handle, status, operation, cause)
    type(c_ptr), intent(in) :: handle
    integer, intent(in) :: status
    character(*), intent(in) :: operation, cause
    integer(c_int) :: refused
    refused = c_refuse(handle, status, c_text(operation), c_text(cause))
  end function

  !> Ends a handle, unless it has ended with its file; never a failure of the thread, whose last one is kept.
  subroutine end_handle(handle)
    type(c_ptr), intent(in) :: handle
    integer(c_int) :: ended
    if (c_is_open(handle) /= 0) ended = c_free(handle)
  end subroutine

  !> A text of C's as one of Fortran's.
  function text_of(text) result(copy)
    type(c_ptr), intent(in) :: text
    character(:), allocatable :: copy
    character(kind=c_char), pointer :: bytes(:)
    integer :: i
    if (.not. c_associated(text)) then
      copy = ''
      return
    end if
    call c_f_pointer(text, bytes, [c_strlen(text)])
    allocate (character(size(bytes)) :: copy)
    do i = 1, size(bytes)
      copy(i:i) = bytes(i)
    end do
  end function

  !> A text of Fortran's as one of C's; blanks at its end do not count.
  function c_text(text) result(copy)
    character(*), intent(in) :: text
    character(kind=c_char, len=:), allocatable :: copy
    copy = trim(text)//c_null_char
  end function

  !> The length of the longest of some names, at least 1.
  function size_of_names(list) result(longest)
    type(c_ptr), intent(in) :: list
    integer :: longest
    integer(c_int32_t) :: i
    longest = 1
    do i = 0, c_names_count(list) - 1
      longest = max(longest, int(c_strlen(c_names_at(list, i))))
    end do
  end function

  !> Ends a call that lists names: fills an array with them, and ends the list.
  subroutine take_names(status, list, names, stat, errmsg)
    integer(c_int), intent(in) :: status
    type(c_ptr), intent(in) :: list
    character(:), allocatable, intent(inout) :: names(:)
    integer, intent(out), optional :: stat
    character(*), intent(inout), optional :: errmsg
    integer(c_int32_t) :: i, count
    integer :: ended
    if (status == pdm_ok) then
      count = c_names_count(list)
      if (allocated(names)) deallocate (names)
      allocate (character(size_of_names(list)) :: names(count))
      do i = 1, count
        names(i) = text_of(c_names_at(list, i - 1))
      end do
      ended = c_free(list)
    end if
    call done(status, stat, errmsg)
  end subroutine

  !> \return this thread's last failure in one line; its parts by the functions below.
  function pdm_message() result(text)
    character(:), allocatable :: text
    text = text_of(c_error_message())
  end function
  !> \return the file of the last failure, '' where there is none.
  function pdm_failed_file() result(text)
    character(:), allocatable :: text
    text = text_of(c_error_file())
  end function
  !> \return the path in the model of the last failure, '' where there is none.
  function pdm_failed_path() result(text)
    character(:), allocatable :: text
    text = text_of(c_error_path())
  end function
  !> \return what was to be done by the call that failed last, '' where there is none.
  function pdm_failed_operation() result(text)
    character(:), allocatable :: text
    text = text_of(c_error_operation())
  end function
  !> \return why the last failure was one, '' where there is none.
  function pdm_failed_cause() result(text)
    character(:), allocatable :: text
    text = text_of(c_error_cause())
  end function
  !> \return after pdm_short_buffer how many numbers are needed.
  function pdm_needed() result(count)
    integer :: count
    count = int(c_error_needed())
  end function
  !> \return "0.1.0"
  function pdm_library_version() result(text)
    character(:), allocatable :: text
    text = text_of(c_version())
  end function

end module
