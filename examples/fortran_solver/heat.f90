! Heat conduction on a square of quadrilaterals, step by step; each step is a commit point that another program sees at once,
! and that stays when this one dies.
!
! Usage: heat FILE [STEPS [ELEMENTS-ALONG-A-SIDE [MILLISECONDS-OF-PAUSE]]]
program heat
  use pdm
  use, intrinsic :: iso_c_binding, only: c_int
  use, intrinsic :: iso_fortran_env, only: real64
  implicit none
  interface
    integer(c_int) function usleep(microseconds) bind(C)
      import
      integer(c_int), value :: microseconds
    end function
  end interface
  real(real64), parameter :: pi = acos(-1.0_real64), diffusivity = 1.0e-2_real64
  type(pdm_sim) :: sim
  type(pdm_mesh) :: mesh
  type(pdm_field) :: temperature
  integer, allocatable :: quads(:, :)
  real(real64), allocatable :: x(:, :), t(:)
  character(256) :: file
  integer :: steps, side, pause, step, slept
  real(real64) :: size_of_element, time_step

  call get_command_argument(1, file)
  steps = number_from(2, 20)
  side = number_from(3, 16)
  pause = number_from(4, 0)
  size_of_element = 1.0_real64/side
  time_step = 0.2_real64*size_of_element**2/diffusivity ! of an explicit step; stable up to 0.25 or more

  call make_mesh()
  temperature = first_state()
  call mesh%get_connectivity(1, quads) ! nodes from 1
  do step = 2, steps
    t = t + time_step*rate(t)
    call temperature%append(t) ! the commit point
    slept = usleep(1000*pause)
  end do
  call sim%close()
  print '(a, i0, a, es10.3)', 'heat: ', steps, ' steps, the last at ', (steps - 1)*time_step

contains

  integer function number_from(argument, otherwise) result(number)
    integer, intent(in) :: argument, otherwise
    character(32) :: text
    integer :: status
    call get_command_argument(argument, text)
    read (text, *, iostat=status) number
    if (status /= 0) number = otherwise
  end function

  ! A square of side 1 in the plane; the file appears whole with its mesh.
  subroutine make_mesh()
    type(pdm_update) :: update
    integer :: i, j, node
    integer :: nodes(4, side*side)
    real(real64) :: xy(2, (side + 1)**2)
    call sim%create(file, replace=.true.)
    update = sim%update()
    mesh = sim%create_mesh((side + 1)**2, side*side)
    do j = 0, side
      do i = 0, side
        xy(:, 1 + i + j*(side + 1)) = size_of_element*[i, j]
      end do
    end do
    do j = 1, side
      do i = 1, side
        node = i + (j - 1)*(side + 1)
        nodes(:, i + (j - 1)*side) = [node, node + 1, node + side + 2, node + side + 1]
      end do
    end do
    call mesh%create_field(pdm_nodes, 'coordinates', xy, unit='m', long_name='x, y')
    call mesh%create_block('QUAD4', nodes, name='plate')
    call mesh%set_times([(step*time_step, step=0, steps - 1)])
    call update%commit()
    x = xy
  end subroutine

  ! Insulated sides and a wave that only decays, by exp(-2 pi^2 a t), so that anybody can judge the result.
  function first_state() result(field)
    type(pdm_field) :: field
    t = cos(pi*x(1, :))*cos(pi*x(2, :))
    call mesh%create_field(pdm_nodes, 'temperature', t, unit='K', field=field)
  end function

  ! How fast temperatures change: bilinear squares, their mass at the nodes.
  function rate(state)
    real(real64), intent(in) :: state(:)
    real(real64) :: rate(size(state)), mass(size(state))
    real(real64), parameter :: stiffness(4, 4) = reshape( &
      [4, -1, -2, -1, -1, 4, -1, -2, -2, -1, 4, -1, -1, -2, -1, 4], [4, 4])/6.0_real64
    integer :: element
    rate = 0
    mass = 0
    do element = 1, size(quads, 2)
      associate (nodes => quads(:, element))
        rate(nodes) = rate(nodes) - diffusivity*matmul(stiffness, state(nodes))
        mass(nodes) = mass(nodes) + size_of_element**2/4
      end associate
    end do
    rate = rate/mass
  end function

end program
