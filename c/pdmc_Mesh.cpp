// Meshes, sets and surfaces of pdm.h.

#include <pdmc_Call.h>

using namespace pdmc;

namespace {

using UseMesh = Use<pdm_mesh>;

[[noreturn]] void refuse_kind(const UseMesh& use, int of) {
  use.refuse(PDM_BAD_ARGUMENT, "it has none of kind " + std::to_string(of));
}

pdm::Sets sets_of(const UseMesh& use, int of) {
  switch (of) {
  case PDM_NODES:
    return use->node_sets();
  case PDM_ELEMENTS:
    return use->element_sets();
  case PDM_INSTANCES:
    return use->instance_sets();
  case PDM_REGIONS:
    return use->region_sets();
  default:
    refuse_kind(use, of);
  }
}

pdm::Fields fields_of(const UseMesh& use, int of) {
  switch (of) {
  case PDM_NODES:
    return use->node_fields();
  case PDM_ELEMENTS:
    return use->element_fields();
  case PDM_REGIONS:
    return use->region_fields();
  case PDM_STEPS:
    return use->frame_fields();
  case PDM_SURFACES:
    return use->surface_fields();
  case PDM_MESH:
    return use->mesh_fields();
  default:
    refuse_kind(use, of);
  }
}

template <class Map>
void remove_entry(const UseMesh& use, const Map& map, const char* name) {
  static_cast<void>(entry(use, map, name)); // says what there is
  map.remove(name);
}

int blocks_of(const UseMesh& use) {
  const pdm::Fields fields = use->element_fields();
  return fields.contains("connectivity") ? fields["connectivity"].size() : 0;
}

int count_of(const UseMesh& use, int of) {
  switch (of) {
  case PDM_NODES:
    return use->node_count();
  case PDM_ELEMENTS:
    return use->element_count();
  case PDM_FACES:
    return use->faces().size();
  case PDM_INSTANCES:
    return use->instances().size();
  case PDM_REGIONS:
    return use->regions().size();
  case PDM_STEPS:
    return static_cast<int>(use->times().size());
  case PDM_SURFACES:
    return static_cast<int>(use->surfaces().size());
  case PDM_BLOCKS:
    return blocks_of(use);
  default:
    refuse_kind(use, of);
  }
}

} // namespace

extern "C" {

pdm_status pdm_mesh_count(pdm_mesh* mesh, int of, int32_t* count) {
  return on(mesh, "count", [&](const UseMesh& use) {
    use.require(count, "where the count goes");
    *count = count_of(use, of);
  });
}

pdm_status pdm_mesh_dimension(pdm_mesh* mesh, int32_t* axes) {
  return on(mesh, "count the axes", [&](const UseMesh& use) {
    use.require(axes, "where the count goes");
    *axes = use->dimension();
  });
}

pdm_status pdm_mesh_labels(pdm_mesh* mesh, int of, int64_t* labels, size_t count) {
  return on(mesh, "read labels", [&](const UseMesh& use) {
    if (of != PDM_NODES && of != PDM_ELEMENTS)
      refuse_kind(use, of);
    use.room(labels, count, pdm::detail::size(count_of(use, of)));
    use.fill(of == PDM_NODES ? use->node_labels() : use->element_labels(), labels, count);
  });
}

pdm_status pdm_mesh_times(pdm_mesh* mesh, double* times, size_t count) {
  return on(mesh, "read the times", [&](const UseMesh& use) { use.fill(use->times(), times, count); });
}

pdm_status pdm_mesh_set_times(pdm_mesh* mesh, const double* times, size_t count) {
  return on(mesh, "set the times", [&](const UseMesh& use) { use->set_times(span_of(use, times, count)); });
}

pdm_status pdm_mesh_append_time(pdm_mesh* mesh, double time) {
  return on(mesh, "add a step", [&](const UseMesh& use) { use->append_time(time); });
}

pdm_status pdm_mesh_block(pdm_mesh* mesh, int32_t block, pdm_block_info* info) {
  return on(mesh, "find a block", [&](const UseMesh& use) {
    const std::vector<pdm::Block> blocks = use->blocks();
    if (block < 0 || pdm::detail::size(block) >= blocks.size())
      use.refuse(PDM_NOT_FOUND, "there is no such block, the mesh has " + std::to_string(blocks.size()));
    const pdm::Block& found = blocks[pdm::detail::size(block)];
    Thing<pdm_mesh>& thing = use.thing();
    thing.name = found.name();
    thing.text = found.type();
    give_struct(
        use, info,
        {0, found.size(), found.nodes_per_element(), found.id(), thing.name.c_str(), thing.text.c_str()});
  });
}

pdm_status pdm_mesh_create_block(pdm_mesh* mesh, const char* name, const char* type, int32_t width,
                                 const int32_t* nodes, size_t count) {
  return on(mesh, "make a block", [&](const UseMesh& use) {
    use.require(type, "the type");
    use->create_block(name == nullptr ? "" : name, type, width, span_of(use, nodes, count));
  });
}

pdm_status pdm_mesh_set_names(pdm_mesh* mesh, int of, pdm_names** names) {
  return make(mesh, "list the names", names, [&](const UseMesh& use) { return sets_of(use, of).names(); });
}

pdm_status pdm_mesh_set(pdm_mesh* mesh, int of, const char* name, pdm_set** set) {
  return make(mesh, "look up a name", set,
              [&](const UseMesh& use) { return entry(use, sets_of(use, of), name); });
}

pdm_status pdm_mesh_create_set(pdm_mesh* mesh, int of, const char* name, const int32_t* items, size_t count,
                               int replace, pdm_set** set) {
  return create(mesh, "create a set", set, [&](const UseMesh& use) {
    use.require(name, "the name");
    return sets_of(use, of).create(name, span_of(use, items, count), replace != 0);
  });
}

pdm_status pdm_mesh_remove_set(pdm_mesh* mesh, int of, const char* name) {
  return on(mesh, "remove a set", [&](const UseMesh& use) { remove_entry(use, sets_of(use, of), name); });
}

pdm_status pdm_set_size(pdm_set* set, int32_t* size) {
  return on(set, "count a set's items", [&](const Use<pdm_set>& use) {
    use.require(size, "where the count goes");
    *size = use->size();
  });
}

pdm_status pdm_set_items(pdm_set* set, int32_t* items, size_t count) {
  return on(set, "read a set", [&](const Use<pdm_set>& use) {
    const std::size_t size = pdm::detail::size(use->size());
    use.room(items, count, size);
    use->read({items, size});
  });
}

pdm_status pdm_mesh_surface_names(pdm_mesh* mesh, pdm_names** names) {
  return make(mesh, "list the names", names, [&](const UseMesh& use) { return use->surfaces().names(); });
}

pdm_status pdm_mesh_surface_size(pdm_mesh* mesh, const char* name, int32_t* sides) {
  return on(mesh, "count a surface's sides", [&](const UseMesh& use) {
    use.require(sides, "where the count goes");
    *sides = entry(use, use->surfaces(), name).size();
  });
}

pdm_status pdm_mesh_surface(pdm_mesh* mesh, const char* name, int32_t* elements, int32_t* sides,
                            size_t count) {
  return on(mesh, "read a surface", [&](const UseMesh& use) {
    const pdm::Surface surface = entry(use, use->surfaces(), name);
    const std::size_t size = pdm::detail::size(surface.size());
    use.room(elements, count, size);
    use.room(sides, count, size);
    const std::vector<int> read = surface.elements();
    use.fill(surface.sides(), sides, count);
    use.fill(read, elements, count);
  });
}

pdm_status pdm_mesh_create_surface(pdm_mesh* mesh, const char* name, const int32_t* elements,
                                   const int32_t* sides, size_t count) {
  return on(mesh, "create a surface", [&](const UseMesh& use) {
    use.require(name, "the name");
    use->surfaces().create(name, span_of(use, elements, count), span_of(use, sides, count));
  });
}

pdm_status pdm_mesh_field_names(pdm_mesh* mesh, int of, pdm_names** names) {
  return make(mesh, "list the names", names, [&](const UseMesh& use) { return fields_of(use, of).names(); });
}

pdm_status pdm_mesh_field(pdm_mesh* mesh, int of, const char* name, pdm_field** field) {
  return make(mesh, "look up a name", field,
              [&](const UseMesh& use) { return entry(use, fields_of(use, of), name); });
}

pdm_status pdm_mesh_create_field(pdm_mesh* mesh, int of, const char* name, int type, const void* values,
                                 size_t count, const pdm_field_options* options, pdm_field** field) {
  return create(mesh, "create a field", field, [&](const UseMesh& use) {
    return create_field(use, fields_of(use, of), name, type, values, count, options);
  });
}

pdm_status pdm_mesh_remove_field(pdm_mesh* mesh, int of, const char* name) {
  return on(mesh, "remove a field", [&](const UseMesh& use) { remove_entry(use, fields_of(use, of), name); });
}

pdm_status pdm_mesh_system_names(pdm_mesh* mesh, pdm_names** names) {
  return make(mesh, "list the names", names, [&](const UseMesh& use) { return use->systems().names(); });
}

pdm_status pdm_mesh_system(pdm_mesh* mesh, int32_t index, pdm_system** system) {
  return make(mesh, "open a system", system, [&](const UseMesh& use) {
    const pdm::Systems systems = use->systems();
    if (const int count = systems.size(); index < 0 || index >= count)
      use.refuse(PDM_NOT_FOUND, "there is no such system, the mesh has " + std::to_string(count));
    return systems[index];
  });
}

pdm_status pdm_mesh_find_system(pdm_mesh* mesh, const char* name, pdm_system** system) {
  return make(mesh, "open a system", system, [&](const UseMesh& use) {
    use.require(name, "the name");
    const pdm::Systems systems = use->systems();
    if (!systems.contains(name))
      use.refuse(PDM_NOT_FOUND, "there is no " + pdm::detail::quoted(name));
    return systems[std::string_view(name)];
  });
}

pdm_status pdm_mesh_create_system(pdm_mesh* mesh, const char* name, int kind, pdm_system** system) {
  return create(mesh, "add a system", system, [&](const UseMesh& use) {
    use.require(name, "the name");
    if (kind < PDM_PLAIN || kind > PDM_SUBSTRUCTURE)
      refuse_kind(use, kind);
    return use->systems().create(name, static_cast<pdm::Kind>(kind));
  });
}

} // extern "C"
