! The calls of pdm.h, one by one. No part of what a user sees.
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
    integer(c_size_t) function c_strlen(text) bind(C, name="strlen")
      import; type(c_ptr), value :: text
    end function
    type(c_ptr) function c_version() bind(C, name="pdm_version")
      import
    end function
    type(c_ptr) function c_error_message() bind(C, name="pdm_error_message")
      import
    end function
    type(c_ptr) function c_error_file() bind(C, name="pdm_error_file")
      import
    end function
    type(c_ptr) function c_error_path() bind(C, name="pdm_error_path")
      import
    end function
    type(c_ptr) function c_error_operation() bind(C, name="pdm_error_operation")
      import
    end function
    type(c_ptr) function c_error_cause() bind(C, name="pdm_error_cause")
      import
    end function
    integer(c_int) function c_error_status() bind(C, name="pdm_error_status")
      import
    end function
    integer(c_size_t) function c_error_needed() bind(C, name="pdm_error_needed")
      import
    end function
    integer(c_int) function c_free(handle) bind(C, name="pdm_free")
      import; type(c_ptr), value :: handle
    end function
    type(c_ptr) function c_share(handle) bind(C, name="pdm_share")
      import; type(c_ptr), value :: handle
    end function
    integer(c_int32_t) function c_names_count(names) bind(C, name="pdm_names_count")
      import; type(c_ptr), value :: names
    end function
    type(c_ptr) function c_names_at(names, index) bind(C, name="pdm_names_at")
      import; type(c_ptr), value :: names
      integer(c_int32_t), value :: index
    end function
    integer(c_int) function c_open(path, mode, sim) bind(C, name="pdm_open")
      import; character(kind=c_char), intent(in) :: path(*)
      integer(c_int32_t), value :: mode
      type(c_ptr), intent(inout) :: sim
    end function
    integer(c_int) function c_create(path, flags, sim) bind(C, name="pdm_create")
      import; character(kind=c_char), intent(in) :: path(*)
      integer(c_int32_t), value :: flags
      type(c_ptr), intent(inout) :: sim
    end function
    integer(c_int) function c_close(sim) bind(C, name="pdm_close")
      import; type(c_ptr), value :: sim
    end function
    integer(c_int) function c_refresh(sim) bind(C, name="pdm_refresh")
      import; type(c_ptr), value :: sim
    end function
    integer(c_int) function c_set_waiting_time(milliseconds) bind(C, name="pdm_set_waiting_time")
      import; integer(c_int32_t), value :: milliseconds
    end function
    integer(c_int) function c_begin(sim, update) bind(C, name="pdm_begin")
      import; type(c_ptr), value :: sim
      type(c_ptr), intent(inout) :: update
    end function
    integer(c_int) function c_commit(update) bind(C, name="pdm_commit")
      import; type(c_ptr), value :: update
    end function
    integer(c_int) function c_rollback(update) bind(C, name="pdm_rollback")
      import; type(c_ptr), value :: update
    end function
    integer(c_int) function c_sim_mesh(sim, mesh) bind(C, name="pdm_sim_mesh")
      import; type(c_ptr), value :: sim
      type(c_ptr), intent(inout) :: mesh
    end function
    integer(c_int) function c_sim_create_mesh(sim, nodes, elements, mesh) bind(C, name="pdm_sim_create_mesh")
      import; type(c_ptr), value :: sim
      integer(c_int32_t), value :: nodes, elements
      type(c_ptr), intent(inout) :: mesh
    end function
    integer(c_int) function c_mesh_count(mesh, of, count) bind(C, name="pdm_mesh_count")
      import; type(c_ptr), value :: mesh
      integer(c_int32_t), value :: of
      integer(c_int32_t), intent(inout) :: count
    end function
    integer(c_int) function c_mesh_dimension(mesh, axes) bind(C, name="pdm_mesh_dimension")
      import; type(c_ptr), value :: mesh
      integer(c_int32_t), intent(inout) :: axes
    end function
    integer(c_int) function c_mesh_labels(mesh, of, labels, count) bind(C, name="pdm_mesh_labels")
      import; type(c_ptr), value :: mesh
      integer(c_int32_t), value :: of
      integer(c_int64_t), intent(inout) :: labels(*)
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_mesh_times(mesh, times, count) bind(C, name="pdm_mesh_times")
      import; type(c_ptr), value :: mesh
      real(c_double), intent(inout) :: times(*)
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_mesh_set_times(mesh, times, count) bind(C, name="pdm_mesh_set_times")
      import; type(c_ptr), value :: mesh
      real(c_double), intent(in) :: times(*)
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_mesh_append_time(mesh, time) bind(C, name="pdm_mesh_append_time")
      import; type(c_ptr), value :: mesh
      real(c_double), value :: time
    end function
    integer(c_int) function c_mesh_block(mesh, block, info) bind(C, name="pdm_mesh_block")
      import; type(c_ptr), value :: mesh
      integer(c_int32_t), value :: block
      type(c_block_info), intent(inout) :: info
    end function
    integer(c_int) function c_mesh_create_block(mesh, name, type_, width, nodes, count) &
        bind(C, name="pdm_mesh_create_block")
      import; type(c_ptr), value :: mesh
      character(kind=c_char), intent(in) :: name(*), type_(*)
      integer(c_int32_t), value :: width
      integer(c_int32_t), intent(in) :: nodes(*)
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_mesh_set_names(mesh, of, names) bind(C, name="pdm_mesh_set_names")
      import; type(c_ptr), value :: mesh
      integer(c_int32_t), value :: of
      type(c_ptr), intent(inout) :: names
    end function
    integer(c_int) function c_mesh_set(mesh, of, name, set) bind(C, name="pdm_mesh_set")
      import; type(c_ptr), value :: mesh
      integer(c_int32_t), value :: of
      character(kind=c_char), intent(in) :: name(*)
      type(c_ptr), intent(inout) :: set
    end function
    integer(c_int) function c_mesh_create_set(mesh, of, name, items, count, replace, set) &
        bind(C, name="pdm_mesh_create_set")
      import; type(c_ptr), value :: mesh
      integer(c_int32_t), value :: of, replace
      character(kind=c_char), intent(in) :: name(*)
      integer(c_int32_t), intent(in) :: items(*)
      integer(c_size_t), value :: count
      type(c_ptr), intent(inout) :: set
    end function
    integer(c_int) function c_set_size(set, size_) bind(C, name="pdm_set_size")
      import; type(c_ptr), value :: set
      integer(c_int32_t), intent(inout) :: size_
    end function
    integer(c_int) function c_set_items(set, items, count) bind(C, name="pdm_set_items")
      import; type(c_ptr), value :: set
      integer(c_int32_t), intent(inout) :: items(*)
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_mesh_surface_names(mesh, names) bind(C, name="pdm_mesh_surface_names")
      import; type(c_ptr), value :: mesh
      type(c_ptr), intent(inout) :: names
    end function
    integer(c_int) function c_mesh_surface_size(mesh, name, sides) bind(C, name="pdm_mesh_surface_size")
      import; type(c_ptr), value :: mesh
      character(kind=c_char), intent(in) :: name(*)
      integer(c_int32_t), intent(inout) :: sides
    end function
    integer(c_int) function c_mesh_surface(mesh, name, elements, sides, count) bind(C, name="pdm_mesh_surface")
      import; type(c_ptr), value :: mesh
      character(kind=c_char), intent(in) :: name(*)
      integer(c_int32_t), intent(inout) :: elements(*), sides(*)
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_mesh_create_surface(mesh, name, elements, sides, count) &
        bind(C, name="pdm_mesh_create_surface")
      import; type(c_ptr), value :: mesh
      character(kind=c_char), intent(in) :: name(*)
      integer(c_int32_t), intent(in) :: elements(*), sides(*)
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_mesh_field_names(mesh, of, names) bind(C, name="pdm_mesh_field_names")
      import; type(c_ptr), value :: mesh
      integer(c_int32_t), value :: of
      type(c_ptr), intent(inout) :: names
    end function
    integer(c_int) function c_mesh_field(mesh, of, name, field) bind(C, name="pdm_mesh_field")
      import; type(c_ptr), value :: mesh
      integer(c_int32_t), value :: of
      character(kind=c_char), intent(in) :: name(*)
      type(c_ptr), intent(inout) :: field
    end function
    integer(c_int) function c_mesh_create_field(mesh, of, name, type_, values, count, options, field) &
        bind(C, name="pdm_mesh_create_field")
      import; type(c_ptr), value :: mesh, values
      integer(c_int32_t), value :: of, type_
      character(kind=c_char), intent(in) :: name(*)
      integer(c_size_t), value :: count
      type(c_field_options), intent(in) :: options
      type(c_ptr), intent(inout) :: field
    end function
    integer(c_int) function c_field_get_info(field, drawer, info) bind(C, name="pdm_field_get_info")
      import; type(c_ptr), value :: field
      integer(c_int32_t), value :: drawer
      type(c_field_info), intent(inout) :: info
    end function
    integer(c_int) function c_field_read(field, drawer, type_, out, count) bind(C, name="pdm_field_read")
      import; type(c_ptr), value :: field, out
      integer(c_int32_t), value :: drawer, type_
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_field_read_rows(field, drawer, first, rows, type_, out, count) &
        bind(C, name="pdm_field_read_rows")
      import; type(c_ptr), value :: field, out
      integer(c_int32_t), value :: drawer, first, rows, type_
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_field_write(field, drawer, type_, values, count) bind(C, name="pdm_field_write")
      import; type(c_ptr), value :: field, values
      integer(c_int32_t), value :: drawer, type_
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_field_append(field, type_, values, count, options) bind(C, name="pdm_field_append")
      import; type(c_ptr), value :: field, values
      integer(c_int32_t), value :: type_
      integer(c_size_t), value :: count
      type(c_field_options), intent(in) :: options
    end function
    integer(c_int) function c_field_drawer_at(field, time, drawer) bind(C, name="pdm_field_drawer_at")
      import; type(c_ptr), value :: field
      real(c_double), value :: time
      integer(c_int32_t), intent(inout) :: drawer
    end function
    integer(c_int) function c_field_set(field, drawer, set) bind(C, name="pdm_field_set")
      import; type(c_ptr), value :: field
      integer(c_int32_t), value :: drawer
      type(c_ptr), intent(inout) :: set
    end function
    integer(c_int) function c_mesh_system_names(mesh, names) bind(C, name="pdm_mesh_system_names")
      import; type(c_ptr), value :: mesh
      type(c_ptr), intent(inout) :: names
    end function
    integer(c_int) function c_mesh_system(mesh, index, system) bind(C, name="pdm_mesh_system")
      import; type(c_ptr), value :: mesh
      integer(c_int32_t), value :: index
      type(c_ptr), intent(inout) :: system
    end function
    integer(c_int) function c_mesh_find_system(mesh, name, system) bind(C, name="pdm_mesh_find_system")
      import; type(c_ptr), value :: mesh
      character(kind=c_char), intent(in) :: name(*)
      type(c_ptr), intent(inout) :: system
    end function
    integer(c_int) function c_mesh_create_system(mesh, name, kind, system) bind(C, name="pdm_mesh_create_system")
      import; type(c_ptr), value :: mesh
      character(kind=c_char), intent(in) :: name(*)
      integer(c_int32_t), value :: kind
      type(c_ptr), intent(inout) :: system
    end function
    integer(c_int) function c_system_get_info(system, info) bind(C, name="pdm_system_get_info")
      import; type(c_ptr), value :: system
      type(c_system_info), intent(inout) :: info
    end function
    integer(c_int) function c_system_field_names(system, names) bind(C, name="pdm_system_field_names")
      import; type(c_ptr), value :: system
      type(c_ptr), intent(inout) :: names
    end function
    integer(c_int) function c_system_field(system, name, field) bind(C, name="pdm_system_field")
      import; type(c_ptr), value :: system
      character(kind=c_char), intent(in) :: name(*)
      type(c_ptr), intent(inout) :: field
    end function
    integer(c_int) function c_system_create_field(system, name, type_, values, count, options, field) &
        bind(C, name="pdm_system_create_field")
      import; type(c_ptr), value :: system, values
      character(kind=c_char), intent(in) :: name(*)
      integer(c_int32_t), value :: type_
      integer(c_size_t), value :: count
      type(c_field_options), intent(in) :: options
      type(c_ptr), intent(inout) :: field
    end function
    integer(c_int) function c_system_frequencies(system, hertz, count) bind(C, name="pdm_system_frequencies")
      import; type(c_ptr), value :: system
      real(c_double), intent(inout) :: hertz(*)
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_system_set_frequencies(system, hertz, count) bind(C, name="pdm_system_set_frequencies")
      import; type(c_ptr), value :: system
      real(c_double), intent(in) :: hertz(*)
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_system_mode_shapes(system, shapes) bind(C, name="pdm_system_mode_shapes")
      import; type(c_ptr), value :: system
      type(c_ptr), intent(inout) :: shapes
    end function
    integer(c_int) function c_system_set_activity(system, masks, count) bind(C, name="pdm_system_set_activity")
      import; type(c_ptr), value :: system
      integer(c_int32_t), intent(in) :: masks(*)
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_system_activity(system, masks, count) bind(C, name="pdm_system_activity")
      import; type(c_ptr), value :: system
      integer(c_int32_t), intent(inout) :: masks(*)
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_system_set_order(system, equations, count) bind(C, name="pdm_system_set_order")
      import; type(c_ptr), value :: system
      integer(c_int32_t), intent(in) :: equations(*)
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_system_numbering(system, numbering) bind(C, name="pdm_system_numbering")
      import; type(c_ptr), value :: system
      type(c_ptr), intent(inout) :: numbering
    end function
    integer(c_int) function c_numbering_get_info(numbering, info) bind(C, name="pdm_numbering_get_info")
      import; type(c_ptr), value :: numbering
      type(c_numbering_info), intent(inout) :: info
    end function
    integer(c_int) function c_numbering_labels(numbering, labels, count) bind(C, name="pdm_numbering_labels")
      import; type(c_ptr), value :: numbering
      integer(c_int32_t), intent(inout) :: labels(*)
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_numbering_equations(numbering, nodes, labels, count) &
        bind(C, name="pdm_numbering_equations")
      import; type(c_ptr), value :: numbering
      integer(c_int32_t), intent(inout) :: nodes(*), labels(*)
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_numbering_equation(numbering, node, label, equation) &
        bind(C, name="pdm_numbering_equation")
      import; type(c_ptr), value :: numbering
      integer(c_int32_t), value :: node, label
      integer(c_int32_t), intent(inout) :: equation
    end function
    integer(c_int) function c_numbering_order(numbering, equations, count) bind(C, name="pdm_numbering_order")
      import; type(c_ptr), value :: numbering
      integer(c_int32_t), intent(inout) :: equations(*)
      integer(c_size_t), value :: count
    end function
    integer(c_int) function c_mesh_pattern(mesh, numbering, pattern) bind(C, name="pdm_mesh_pattern")
      import; type(c_ptr), value :: mesh, numbering
      type(c_ptr), intent(inout) :: pattern
    end function
    integer(c_int) function c_pattern_size(pattern, rows, entries) bind(C, name="pdm_pattern_size")
      import; type(c_ptr), value :: pattern
      integer(c_int32_t), intent(inout) :: rows
      integer(c_int64_t), intent(inout) :: entries
    end function
    integer(c_int) function c_pattern_read(pattern, begin, begins, columns, count) bind(C, name="pdm_pattern_read")
      import; type(c_ptr), value :: pattern
      integer(c_int64_t), intent(inout) :: begin(*)
      integer(c_int32_t), intent(inout) :: columns(*)
      integer(c_size_t), value :: begins, count
    end function
  end interface
end module
