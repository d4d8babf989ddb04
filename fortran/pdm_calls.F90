! The calls of pdm.h, one by one. No part of what a user sees.

! What a call takes: handles and other addresses, texts, numbers, and the room of arrays.
#define HANDLE(h) type(c_ptr), value :: h
#define TEXT(t) character(kind=c_char), intent(in) :: t(*)
#define NUMBER(n) integer(c_int32_t), value :: n
#define ROOM(n) integer(c_size_t), value :: n
#define FROM(numbers,a) numbers, intent(in) :: a(*)
! What it fills: handles that it makes, counts, and arrays.
#define MADE(h) type(c_ptr), intent(inout) :: h
#define COUNTED(n) integer(c_int32_t), intent(inout) :: n
#define INTO(numbers,a) numbers, intent(inout) :: a(*)
module pdm_calls
  use, intrinsic :: iso_c_binding
  implicit none
  public

  type, bind(C) :: c_block_info
    integer(c_size_t) :: size
    integer(c_int32_t) :: elements, nodes_per_element
    integer(c_int64_t) :: id
    type(c_ptr) :: name, type
  end type
  type, bind(C) :: c_field_info
    integer(c_size_t) :: size
    integer(c_int32_t) :: drawers, steps, drawers_a_step, type, rows, components
    type(c_ptr) :: name, unit, long_name
  end type
  type, bind(C) :: c_field_options
    integer(c_size_t) :: size
    type(c_ptr) :: unit, long_name, over
    integer(c_int32_t) :: components, replace, deflate, chunk_rows
  end type
  type, bind(C) :: c_system_info
    integer(c_size_t) :: size
    integer(c_int32_t) :: kind, modes, shapes
    type(c_ptr) :: name, class_name
  end type
  type, bind(C) :: c_numbering_info
    integer(c_size_t) :: size
    integer(c_int32_t) :: nodes, equations, labels, places, has_order
  end type

  interface
    integer(c_size_t) function c_strlen(text) bind(C, name="strlen"); import; HANDLE(text); end function
    type(c_ptr) function c_version() bind(C, name="pdm_version"); import; end function
    type(c_ptr) function c_error_message() bind(C, name="pdm_error_message"); import; end function
    type(c_ptr) function c_error_file() bind(C, name="pdm_error_file"); import; end function
    type(c_ptr) function c_error_path() bind(C, name="pdm_error_path"); import; end function
    type(c_ptr) function c_error_operation() bind(C, name="pdm_error_operation"); import; end function
    type(c_ptr) function c_error_cause() bind(C, name="pdm_error_cause"); import; end function
    integer(c_int) function c_error_status() bind(C, name="pdm_error_status"); import; end function
    integer(c_size_t) function c_error_needed() bind(C, name="pdm_error_needed"); import; end function
    integer(c_int) function c_refuse(handle, status, operation, cause) bind(C, name="pdm_refuse")
      import; HANDLE(handle); integer(c_int), value :: status
      TEXT(operation); TEXT(cause)
    end function
    integer(c_int) function c_free(handle) bind(C, name="pdm_free"); import; HANDLE(handle); end function
    integer(c_int) function c_is_open(handle) bind(C, name="pdm_is_open"); import; HANDLE(handle); end function
    type(c_ptr) function c_share(handle) bind(C, name="pdm_share"); import; HANDLE(handle); end function
    integer(c_int32_t) function c_names_count(names) bind(C, name="pdm_names_count")
      import; HANDLE(names)
    end function
    type(c_ptr) function c_names_at(names, index) bind(C, name="pdm_names_at")
      import; HANDLE(names); NUMBER(index)
    end function
    integer(c_int) function c_open(path, mode, sim) bind(C, name="pdm_open")
      import; TEXT(path); NUMBER(mode)
      MADE(sim)
    end function
    integer(c_int) function c_create(path, flags, sim) bind(C, name="pdm_create")
      import; TEXT(path); NUMBER(flags)
      MADE(sim)
    end function
    integer(c_int) function c_close(sim) bind(C, name="pdm_close"); import; HANDLE(sim); end function
    integer(c_int) function c_refresh(sim) bind(C, name="pdm_refresh"); import; HANDLE(sim); end function
    integer(c_int) function c_set_waiting_time(milliseconds) bind(C, name="pdm_set_waiting_time")
      import; NUMBER(milliseconds)
    end function
    integer(c_int) function c_begin(sim, update) bind(C, name="pdm_begin")
      import; HANDLE(sim); MADE(update)
    end function
    integer(c_int) function c_commit(update) bind(C, name="pdm_commit"); import; HANDLE(update); end function
    integer(c_int) function c_rollback(update) bind(C, name="pdm_rollback"); import; HANDLE(update); end function
    integer(c_int) function c_sim_mesh(sim, mesh) bind(C, name="pdm_sim_mesh")
      import; HANDLE(sim); MADE(mesh)
    end function
    integer(c_int) function c_sim_create_mesh(sim, nodes, elements, mesh) bind(C, name="pdm_sim_create_mesh")
      import; HANDLE(sim); NUMBER(nodes); NUMBER(elements)
      MADE(mesh)
    end function
    integer(c_int) function c_mesh_count(mesh, of, count) bind(C, name="pdm_mesh_count")
      import; HANDLE(mesh); NUMBER(of); COUNTED(count)
    end function
    integer(c_int) function c_mesh_dimension(mesh, axes) bind(C, name="pdm_mesh_dimension")
      import; HANDLE(mesh); COUNTED(axes)
    end function
    integer(c_int) function c_mesh_labels(mesh, of, labels, count) bind(C, name="pdm_mesh_labels")
      import; HANDLE(mesh); NUMBER(of); INTO(integer(c_int64_t),labels)
      ROOM(count)
    end function
    integer(c_int) function c_mesh_times(mesh, times, count) bind(C, name="pdm_mesh_times")
      import; HANDLE(mesh); INTO(real(c_double),times); ROOM(count)
    end function
    integer(c_int) function c_mesh_set_times(mesh, times, count) bind(C, name="pdm_mesh_set_times")
      import; HANDLE(mesh); FROM(real(c_double),times); ROOM(count)
    end function
    integer(c_int) function c_mesh_append_time(mesh, time) bind(C, name="pdm_mesh_append_time")
      import; HANDLE(mesh); real(c_double), value :: time
    end function
    integer(c_int) function c_mesh_block(mesh, block, info) bind(C, name="pdm_mesh_block")
      import; HANDLE(mesh); NUMBER(block); type(c_block_info), intent(inout) :: info
    end function
    integer(c_int) function c_mesh_create_block(mesh, name, type_, width, nodes, count) &
        bind(C, name="pdm_mesh_create_block")
      import; HANDLE(mesh); TEXT(name)
      TEXT(type_); NUMBER(width)
      FROM(integer(c_int32_t),nodes); ROOM(count)
    end function
    integer(c_int) function c_mesh_set_names(mesh, of, names) bind(C, name="pdm_mesh_set_names")
      import; HANDLE(mesh); NUMBER(of); MADE(names)
    end function
    integer(c_int) function c_mesh_set(mesh, of, name, set) bind(C, name="pdm_mesh_set")
      import; HANDLE(mesh); NUMBER(of); TEXT(name)
      MADE(set)
    end function
    integer(c_int) function c_mesh_create_set(mesh, of, name, items, count, replace, set) &
        bind(C, name="pdm_mesh_create_set")
      import; HANDLE(mesh); NUMBER(of); NUMBER(replace)
      TEXT(name); FROM(integer(c_int32_t),items)
      ROOM(count); MADE(set)
    end function
    integer(c_int) function c_mesh_remove_set(mesh, of, name) bind(C, name="pdm_mesh_remove_set")
      import; HANDLE(mesh); NUMBER(of)
      TEXT(name)
    end function
    integer(c_int) function c_mesh_remove_field(mesh, of, name) bind(C, name="pdm_mesh_remove_field")
      import; HANDLE(mesh); NUMBER(of)
      TEXT(name)
    end function
    integer(c_int) function c_set_size(set, size_) bind(C, name="pdm_set_size")
      import; HANDLE(set); COUNTED(size_)
    end function
    integer(c_int) function c_set_items(set, items, count) bind(C, name="pdm_set_items")
      import; HANDLE(set); INTO(integer(c_int32_t),items); ROOM(count)
    end function
    integer(c_int) function c_mesh_surface_names(mesh, names) bind(C, name="pdm_mesh_surface_names")
      import; HANDLE(mesh); MADE(names)
    end function
    integer(c_int) function c_mesh_surface_size(mesh, name, sides) bind(C, name="pdm_mesh_surface_size")
      import; HANDLE(mesh); TEXT(name)
      COUNTED(sides)
    end function
    integer(c_int) function c_mesh_surface(mesh, name, elements, sides, count) bind(C, name="pdm_mesh_surface")
      import; HANDLE(mesh); TEXT(name)
      INTO(integer(c_int32_t),elements); INTO(integer(c_int32_t),sides)
      ROOM(count)
    end function
    integer(c_int) function c_mesh_create_surface(mesh, name, elements, sides, count) &
        bind(C, name="pdm_mesh_create_surface")
      import; HANDLE(mesh); TEXT(name)
      FROM(integer(c_int32_t),elements); FROM(integer(c_int32_t),sides)
      ROOM(count)
    end function
    integer(c_int) function c_mesh_field_names(mesh, of, names) bind(C, name="pdm_mesh_field_names")
      import; HANDLE(mesh); NUMBER(of); MADE(names)
    end function
    integer(c_int) function c_mesh_field(mesh, of, name, field) bind(C, name="pdm_mesh_field")
      import; HANDLE(mesh); NUMBER(of); TEXT(name)
      MADE(field)
    end function
    integer(c_int) function c_mesh_create_field(mesh, of, name, type_, values, count, options, field) &
        bind(C, name="pdm_mesh_create_field")
      import; HANDLE(mesh); HANDLE(values); NUMBER(of)
      NUMBER(type_); TEXT(name); ROOM(count)
      type(c_field_options), intent(in) :: options; MADE(field)
    end function
    integer(c_int) function c_field_get_info(field, drawer, info) bind(C, name="pdm_field_get_info")
      import; HANDLE(field); NUMBER(drawer); type(c_field_info), intent(inout) :: info
    end function
    integer(c_int) function c_field_read(field, drawer, type_, out, count) bind(C, name="pdm_field_read")
      import; HANDLE(field); HANDLE(out); NUMBER(drawer)
      NUMBER(type_); ROOM(count)
    end function
    integer(c_int) function c_field_read_rows(field, drawer, first, rows, type_, out, count) &
        bind(C, name="pdm_field_read_rows")
      import; HANDLE(field); HANDLE(out); NUMBER(drawer)
      NUMBER(first); NUMBER(rows); NUMBER(type_)
      ROOM(count)
    end function
    integer(c_int) function c_field_write(field, drawer, type_, values, count) bind(C, name="pdm_field_write")
      import; HANDLE(field); HANDLE(values); NUMBER(drawer)
      NUMBER(type_); ROOM(count)
    end function
    integer(c_int) function c_field_append(field, type_, values, count, options) bind(C, name="pdm_field_append")
      import; HANDLE(field); HANDLE(values); NUMBER(type_)
      ROOM(count); type(c_field_options), intent(in) :: options
    end function
    integer(c_int) function c_field_drawer_at(field, time, drawer) bind(C, name="pdm_field_drawer_at")
      import; HANDLE(field); real(c_double), value :: time; COUNTED(drawer)
    end function
    integer(c_int) function c_field_set(field, drawer, set) bind(C, name="pdm_field_set")
      import; HANDLE(field); NUMBER(drawer); MADE(set)
    end function
    integer(c_int) function c_mesh_system_names(mesh, names) bind(C, name="pdm_mesh_system_names")
      import; HANDLE(mesh); MADE(names)
    end function
    integer(c_int) function c_mesh_system(mesh, index, system) bind(C, name="pdm_mesh_system")
      import; HANDLE(mesh); NUMBER(index); MADE(system)
    end function
    integer(c_int) function c_mesh_find_system(mesh, name, system) bind(C, name="pdm_mesh_find_system")
      import; HANDLE(mesh); TEXT(name); MADE(system)
    end function
    integer(c_int) function c_mesh_create_system(mesh, name, kind, system) bind(C, name="pdm_mesh_create_system")
      import; HANDLE(mesh); TEXT(name); NUMBER(kind)
      MADE(system)
    end function
    integer(c_int) function c_system_get_info(system, info) bind(C, name="pdm_system_get_info")
      import; HANDLE(system); type(c_system_info), intent(inout) :: info
    end function
    integer(c_int) function c_system_field_names(system, names) bind(C, name="pdm_system_field_names")
      import; HANDLE(system); MADE(names)
    end function
    integer(c_int) function c_system_field(system, name, field) bind(C, name="pdm_system_field")
      import; HANDLE(system); TEXT(name); MADE(field)
    end function
    integer(c_int) function c_system_create_field(system, name, type_, values, count, options, field) &
        bind(C, name="pdm_system_create_field")
      import; HANDLE(system); HANDLE(values); TEXT(name)
      NUMBER(type_); ROOM(count); type(c_field_options), intent(in) :: options
      MADE(field)
    end function
    integer(c_int) function c_system_frequencies(system, hertz, count) bind(C, name="pdm_system_frequencies")
      import; HANDLE(system); INTO(real(c_double),hertz); ROOM(count)
    end function
    integer(c_int) function c_system_set_frequencies(system, hertz, count) bind(C, name="pdm_system_set_frequencies")
      import; HANDLE(system); FROM(real(c_double),hertz); ROOM(count)
    end function
    integer(c_int) function c_system_mode_shapes(system, shapes) bind(C, name="pdm_system_mode_shapes")
      import; HANDLE(system); MADE(shapes)
    end function
    integer(c_int) function c_system_set_activity(system, masks, count) bind(C, name="pdm_system_set_activity")
      import; HANDLE(system); FROM(integer(c_int32_t),masks); ROOM(count)
    end function
    integer(c_int) function c_system_activity(system, masks, count) bind(C, name="pdm_system_activity")
      import; HANDLE(system); INTO(integer(c_int32_t),masks); ROOM(count)
    end function
    integer(c_int) function c_system_set_order(system, equations, count) bind(C, name="pdm_system_set_order")
      import; HANDLE(system); FROM(integer(c_int32_t),equations); ROOM(count)
    end function
    integer(c_int) function c_system_numbering(system, numbering) bind(C, name="pdm_system_numbering")
      import; HANDLE(system); MADE(numbering)
    end function
    integer(c_int) function c_numbering_get_info(numbering, info) bind(C, name="pdm_numbering_get_info")
      import; HANDLE(numbering); type(c_numbering_info), intent(inout) :: info
    end function
    integer(c_int) function c_numbering_labels(numbering, labels, count) bind(C, name="pdm_numbering_labels")
      import; HANDLE(numbering); INTO(integer(c_int32_t),labels); ROOM(count)
    end function
    integer(c_int) function c_numbering_equations(numbering, nodes, labels, count) &
        bind(C, name="pdm_numbering_equations")
      import; HANDLE(numbering); INTO(integer(c_int32_t),nodes)
      INTO(integer(c_int32_t),labels); ROOM(count)
    end function
    integer(c_int) function c_numbering_equation(numbering, node, label, equation) &
        bind(C, name="pdm_numbering_equation")
      import; HANDLE(numbering); NUMBER(node); NUMBER(label)
      COUNTED(equation)
    end function
    integer(c_int) function c_numbering_order(numbering, equations, count) bind(C, name="pdm_numbering_order")
      import; HANDLE(numbering); INTO(integer(c_int32_t),equations)
      ROOM(count)
    end function
    integer(c_int) function c_mesh_pattern(mesh, numbering, pattern) bind(C, name="pdm_mesh_pattern")
      import; HANDLE(mesh); HANDLE(numbering); MADE(pattern)
    end function
    integer(c_int) function c_pattern_size(pattern, rows, entries) bind(C, name="pdm_pattern_size")
      import; HANDLE(pattern); COUNTED(rows)
      integer(c_int64_t), intent(inout) :: entries
    end function
    integer(c_int) function c_pattern_read(pattern, begin, begins, columns, count) bind(C, name="pdm_pattern_read")
      import; HANDLE(pattern); INTO(integer(c_int64_t),begin)
      INTO(integer(c_int32_t),columns); ROOM(begins); ROOM(count)
    end function
  end interface
end module
