! A simulation file in the words of Fortran: open a file, read and write its mesh, sets, fields, steps and systems.
!
! Failures. Every call takes `stat=` and `errmsg=` as Fortran's own do. Without `stat` a failure writes its line and stops
! the program. pdm_message() is the last failure of the thread in one line, pdm_failed_file(), _path(), _operation() and
! _cause() are its parts.
!
! Nodes, elements, sides, equations, blocks, systems, drawers and steps are numbered from 1: as arguments, in sets, in
! surfaces, in connectivities and in orders. Labels, those of degrees of freedom among them, and the numbers in fields are
! never changed. Arrays of a field are [components, rows].
!
! Variables of these types end by themselves, but for those of the main program: close the Sim. What was made of a Sim ends
! with it.
!
! Threads: one at a time for a Sim and what was made of it; different Sims in different threads.
#include "pdm_words.inc"
module pdm
  use, intrinsic :: iso_c_binding
  use, intrinsic :: iso_fortran_env, only: int32, int64, real32, real64
  use pdm_calls
  use pdm_texts
  use pdm_fields
  use pdm_systems
  use pdm_meshes
  implicit none
  private
  public :: pdm_set, pdm_field, pdm_field_information, pdm_numbering, pdm_numbering_information
  public :: pdm_system, pdm_system_information, pdm_mesh, pdm_block_information
  public :: pdm_message, pdm_failed_file, pdm_failed_path, pdm_failed_operation, pdm_failed_cause
  public :: pdm_needed, pdm_library_version, pdm_set_waiting_time
  public :: pdm_ok, pdm_failed, pdm_bad_handle, pdm_bad_argument, pdm_short_buffer, pdm_not_found, pdm_wrong_type
  public :: pdm_no_memory
  public :: pdm_int32, pdm_int64, pdm_real32, pdm_real64
  public :: pdm_plain, pdm_generic, pdm_modal, pdm_substructure, pdm_other
  public :: pdm_nodes, pdm_elements, pdm_faces, pdm_instances, pdm_regions, pdm_steps, pdm_surfaces, pdm_whole_mesh
  public :: pdm_blocks

  !> How a file is opened: one of the modes, and for writers perhaps + pdm_power or + pdm_scratch.
  integer, parameter, public :: pdm_read = 0  !< for reading only
  integer, parameter, public :: pdm_write = 1 !< for reading and writing; one program at a time
  integer, parameter, public :: pdm_live = 2  !< for reading beside a writer; refresh moves on
  integer, parameter, public :: pdm_untrusted = 3 !< for reading, after a child process has looked at all of it
  integer, parameter, public :: pdm_scratch = 16  !< commit points survive nothing, updates cannot be taken back
  integer, parameter, public :: pdm_power = 32    !< commit points survive the loss of power
  integer, parameter :: c_replace = 8

  !> Writes that become one commit point. Without commit they are taken back.
  type, public :: pdm_update
#define THE_TYPE pdm_update
#include "pdm_handle_type.inc"
    procedure :: commit => update_commit
    procedure :: rollback => update_rollback
  end type

  !> An open simulation file.
  type, public :: pdm_sim
#define THE_TYPE pdm_sim
#include "pdm_handle_type.inc"
    procedure :: open => sim_open
    procedure :: create => sim_create
    procedure :: close => sim_close
    procedure :: refresh => sim_refresh
    procedure :: update => sim_update
    procedure :: mesh => sim_mesh
    procedure :: create_mesh => sim_create_mesh
  end type

contains

#define THE_TYPE pdm_update
#include "pdm_handle.inc"
#define THE_TYPE pdm_sim
#include "pdm_handle.inc"

  !> Opens a file; one that the variable has open is closed before.
  !> \param mode  pdm_read without it.
  subroutine sim_open(self, file, mode, stat, errmsg)
    class(pdm_sim), intent(inout) :: self
    character(*), intent(in) :: file
    integer, intent(in), optional :: mode
    STAT_AND_ERRMSG
    integer(c_int32_t) :: how
    how = pdm_read
    if (present(mode)) how = mode
    call end_handle(self%ptr)
    self%ptr = c_null_ptr
    call done(c_open(c_text(file), how, self%ptr), stat, errmsg)
  end subroutine

  !> Makes a file without a mesh, open for writing.
  !> \param replace  true: a closed simulation file of that name gives way.
  !> \param mode     0, pdm_power or pdm_scratch.
  subroutine sim_create(self, file, replace, mode, stat, errmsg)
    class(pdm_sim), intent(inout) :: self
    character(*), intent(in) :: file
    logical, intent(in), optional :: replace
    integer, intent(in), optional :: mode
    STAT_AND_ERRMSG
    integer(c_int32_t) :: how
    how = 0
    if (present(mode)) how = mode
    if (present(replace)) how = how + merge(c_replace, 0, replace)
    call end_handle(self%ptr)
    self%ptr = c_null_ptr
    call done(c_create(c_text(file), how, self%ptr), stat, errmsg)
  end subroutine

  !> Closes the file; what was made of it has ended. Fails when something was lost.
  subroutine sim_close(self, stat, errmsg)
    class(pdm_sim), intent(in) :: self
    STAT_AND_ERRMSG
    call done(c_close(self%ptr), stat, errmsg)
  end subroutine

  !> Moves a file that is open live on to the newest commit point of its writer.
  subroutine sim_refresh(self, stat, errmsg)
    class(pdm_sim), intent(in) :: self
    STAT_AND_ERRMSG
    call done(c_refresh(self%ptr), stat, errmsg)
  end subroutine

  !> Begins to join writes into one commit point. pdm_bad_argument while another update of the Sim is open; an assignment
  !> ends the one that its variable held in any case.
  function sim_update(self, stat, errmsg) result(update)
    class(pdm_sim), intent(in) :: self
    STAT_AND_ERRMSG
    type(pdm_update) :: update
    update%fresh = .true.
    call done(c_begin(self%ptr, update%ptr), stat, errmsg)
  end function

  !> Makes the commit point. After a failure the update is open still.
  subroutine update_commit(self, stat, errmsg)
    class(pdm_update), intent(in) :: self
    STAT_AND_ERRMSG
    call done(c_commit(self%ptr), stat, errmsg)
  end subroutine

  !> Takes back everything since the last commit point.
  subroutine update_rollback(self, stat, errmsg)
    class(pdm_update), intent(in) :: self
    STAT_AND_ERRMSG
    call done(c_rollback(self%ptr), stat, errmsg)
  end subroutine

  !> \return the mesh of the file.
  function sim_mesh(self, stat, errmsg) result(mesh)
    class(pdm_sim), intent(in) :: self
    STAT_AND_ERRMSG
    type(pdm_mesh) :: mesh
    mesh%fresh = .true.
    call done(c_sim_mesh(self%ptr, mesh%ptr), stat, errmsg)
  end function

  !> Makes the mesh of a file that has none.
  function sim_create_mesh(self, nodes, elements, stat, errmsg) result(mesh)
    class(pdm_sim), intent(in) :: self
    integer, intent(in) :: nodes, elements
    STAT_AND_ERRMSG
    type(pdm_mesh) :: mesh
    mesh%fresh = .true.
    call done(c_sim_create_mesh(self%ptr, nodes, elements, mesh%ptr), stat, errmsg)
  end function

  !> How long opening waits for a file that another process holds; at first 0.
  subroutine pdm_set_waiting_time(milliseconds, stat, errmsg)
    integer, intent(in) :: milliseconds
    STAT_AND_ERRMSG
    call done(c_set_waiting_time(milliseconds), stat, errmsg)
  end subroutine

end module
