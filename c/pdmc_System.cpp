// Systems and numberings of pdm.h.

#include <pdmc_Call.h>

using namespace pdmc;

namespace {

using UseSystem = Use<pdm_system>;
using UseNumbering = Use<pdm_numbering>;
using UsePattern = Use<pdm_pattern>;

static_assert(PDM_OTHER == static_cast<int>(pdm::Kind::other) &&
              PDM_MODAL == static_cast<int>(pdm::Kind::modal));

} // namespace

extern "C" {

pdm_status pdm_system_get_info(pdm_system* system, pdm_system_info* info) {
  return on(system, "look at a system", [&](const UseSystem& use) {
    Thing<pdm_system>& texts = use.thing();
    texts.name = use->name();
    texts.text = use->class_name();
    const pdm::Fields fields = use->fields();
    const int shapes = fields.contains("modeShapes") ? fields["modeShapes"].size() : 0;
    give_struct(use, info,
                {0, static_cast<int32_t>(use->kind()), static_cast<int32_t>(use->frequencies().size()),
                 shapes, texts.name.c_str(), texts.text.c_str()});
  });
}

pdm_status pdm_system_field_names(pdm_system* system, pdm_names** names) {
  return make(system, "list the names", names, [&](const UseSystem& use) { return use->fields().names(); });
}

pdm_status pdm_system_field(pdm_system* system, const char* name, pdm_field** field) {
  return make(system, "look up a name", field,
              [&](const UseSystem& use) { return entry(use, use->fields(), name); });
}

pdm_status pdm_system_create_field(pdm_system* system, const char* name, int type, const void* values,
                                   size_t count, const pdm_field_options* options, pdm_field** field) {
  return create(system, "create a field", field, [&](const UseSystem& use) {
    return create_field(use, use->fields(), name, type, values, count, options);
  });
}

pdm_status pdm_system_frequencies(pdm_system* system, double* hertz, size_t count) {
  return on(system, "read the frequencies",
            [&](const UseSystem& use) { use.fill(use->frequencies(), hertz, count); });
}

pdm_status pdm_system_set_frequencies(pdm_system* system, const double* hertz, size_t count) {
  return on(system, "store the frequencies",
            [&](const UseSystem& use) { use->set_frequencies(span_of(use, hertz, count)); });
}

pdm_status pdm_system_mode_shapes(pdm_system* system, pdm_field** shapes) {
  return pdm_system_field(system, "modeShapes", shapes);
}

pdm_status pdm_system_set_activity(pdm_system* system, const int32_t* masks, size_t count) {
  return on(system, "store the activity",
            [&](const UseSystem& use) { use->set_activity(span_of(use, masks, count)); });
}

pdm_status pdm_system_activity(pdm_system* system, int32_t* masks, size_t count) {
  return on(system, "read the activity", [&](const UseSystem& use) {
    const std::vector<int> stored = use->activity();
    if (stored.empty())
      use.refuse(PDM_NOT_FOUND, "none is stored");
    use.fill(stored, masks, count);
  });
}

pdm_status pdm_system_set_order(pdm_system* system, const int32_t* equations, size_t count) {
  return on(system, "store the solver's order",
            [&](const UseSystem& use) { use->set_order(span_of(use, equations, count)); });
}

pdm_status pdm_system_numbering(pdm_system* system, pdm_numbering** numbering) {
  return make(system, "number the degrees of freedom", numbering,
              [&](const UseSystem& use) { return use->numbering(); });
}

pdm_status pdm_numbering_get_info(pdm_numbering* numbering, pdm_numbering_info* info) {
  return on(numbering, "look at a numbering", [&](const UseNumbering& use) {
    give_struct(use, info,
                {0, use->node_count(), use->equation_count(), static_cast<int32_t>(use->labels().size()),
                 static_cast<int32_t>(use->order().size()), use->has_order() ? 1 : 0});
  });
}

pdm_status pdm_numbering_labels(pdm_numbering* numbering, int32_t* labels, size_t count) {
  return on(numbering, "read the labels",
            [&](const UseNumbering& use) { use.fill(use->labels(), labels, count); });
}

pdm_status pdm_numbering_equations(pdm_numbering* numbering, int32_t* nodes, int32_t* labels, size_t count) {
  return on(numbering, "read the equations", [&](const UseNumbering& use) {
    use.room(&count, count, pdm::detail::size(use->equation_count())); // either array may be missing
    if (nodes != nullptr)
      use.fill(use->equation_nodes(), nodes, count);
    if (labels != nullptr)
      use.fill(use->equation_labels(), labels, count);
  });
}

pdm_status pdm_numbering_equation(pdm_numbering* numbering, int32_t node, int32_t label, int32_t* equation) {
  return on(numbering, "find an equation", [&](const UseNumbering& use) {
    use.require(equation, "where the number goes");
    *equation = use->equation(node, label);
  });
}

pdm_status pdm_numbering_order(pdm_numbering* numbering, int32_t* equations, size_t count) {
  return on(numbering, "read the solver's order",
            [&](const UseNumbering& use) { use.fill(use->order(), equations, count); });
}

pdm_status pdm_mesh_pattern(pdm_mesh* mesh, pdm_numbering* numbering, pdm_pattern** pattern) {
  return make(mesh, "find a matrix's pattern", pattern, [&](const Use<pdm_mesh>& use) {
    return use->pattern(*UseNumbering(numbering, use.operation));
  });
}

pdm_status pdm_pattern_size(pdm_pattern* pattern, int32_t* rows, int64_t* entries) {
  return on(pattern, "count a pattern's places", [&](const UsePattern& use) {
    use.require(rows, "where the rows go");
    use.require(entries, "where the count goes");
    *rows = static_cast<int32_t>(use->begin.size() - 1);
    *entries = use->begin.back();
  });
}

pdm_status pdm_pattern_read(pdm_pattern* pattern, int64_t* begin, size_t begins, int32_t* columns,
                            size_t count) {
  return on(pattern, "read a pattern", [&](const UsePattern& use) {
    use.room(begin, begins, use->begin.size());
    use.fill(use->columns, columns, count);
    use.fill(use->begin, begin, begins);
  });
}

} // extern "C"
