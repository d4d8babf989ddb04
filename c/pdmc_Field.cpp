// Fields of pdm.h.

#include <pdmc_Call.h>

using namespace pdmc;

namespace {

using UseField = Use<pdm_field>;

pdm::Drawer drawer_of(const UseField& use, int32_t index) {
  const int drawers = use->size();
  if (index == PDM_ONLY && drawers == 1)
    index = 0;
  if (index == PDM_ONLY)
    use.refuse(PDM_NOT_FOUND, "the field has " + std::to_string(drawers) + " drawers: say which one");
  if (index < 0 || index >= drawers)
    use.refuse(PDM_NOT_FOUND, "there is no such drawer, the field has " + std::to_string(drawers));
  return (*use)[index];
}

void require_fit(const UseField& use, pdm::Type from, pdm::Type to) {
  if (!pdm::converts(from, to))
    use.refuse(PDM_WRONG_TYPE, std::string(name_of(from)) + " numbers do not all fit into " + name_of(to));
}

void read_rows(const UseField& use, const pdm::Drawer& drawer, int32_t first, int32_t rows, int type,
               void* out, size_t count) {
  const pdm::Type wanted = type_of(use, type);
  require_fit(use, drawer.type(), wanted);
  if (first < 0 || rows < 0 || first > drawer.rows() - rows)
    use.refuse(PDM_NOT_FOUND, "the drawer has " + std::to_string(drawer.rows()) + " rows");
  const std::size_t needed = pdm::detail::size(rows) * pdm::detail::size(drawer.components());
  use.room(out, count, needed);
  drawer.read_rows(first, rows, {out, needed, wanted});
}

} // namespace

extern "C" {

pdm_status pdm_field_get_info(pdm_field* field, int32_t drawer, pdm_field_info* info) {
  return on(field, "look at a field", [&](const UseField& use) {
    pdm_field_info filled{};
    Thing<pdm_field>& texts = use.thing();
    texts.name = use->name();
    texts.text = use->unit();
    texts.other.clear();
    filled.drawers = use->size();
    if (filled.drawers > 0 || drawer != 0) {
      const pdm::Drawer at = drawer_of(use, drawer);
      filled.steps = use->steps();
      filled.drawers_a_step = use->drawers_a_step();
      filled.type = static_cast<int32_t>(at.type());
      filled.rows = at.rows();
      filled.components = at.components();
      texts.text = at.unit();
      texts.other = at.long_name();
    }
    filled.name = texts.name.c_str();
    filled.unit = texts.text.c_str();
    filled.long_name = texts.other.c_str();
    give_struct(use, info, filled);
  });
}

pdm_status pdm_field_read(pdm_field* field, int32_t drawer, int type, void* out, size_t count) {
  return on(field, "read a field", [&](const UseField& use) {
    const pdm::Drawer at = drawer_of(use, drawer);
    read_rows(use, at, 0, at.rows(), type, out, count);
  });
}

pdm_status pdm_field_read_rows(pdm_field* field, int32_t drawer, int32_t first, int32_t rows, int type,
                               void* out, size_t count) {
  return on(field, "read a field", [&](const UseField& use) {
    read_rows(use, drawer_of(use, drawer), first, rows, type, out, count);
  });
}

pdm_status pdm_field_write(pdm_field* field, int32_t drawer, int type, const void* values, size_t count) {
  return on(field, "write a field", [&](const UseField& use) {
    const pdm::Drawer at = drawer_of(use, drawer);
    const pdm::Numbers numbers = numbers_of(use, type, values, count);
    require_fit(use, numbers.type(), at.type());
    at.write(numbers);
  });
}

pdm_status pdm_field_append(pdm_field* field, int type, const void* values, size_t count,
                            const pdm_field_options* options) {
  return on(field, "append to a field", [&](const UseField& use) {
    use->append(numbers_of(use, type, values, count), options_of(use, options));
  });
}

pdm_status pdm_field_drawer_at(pdm_field* field, double time, int32_t* drawer) {
  return on(field, "find a time", [&](const UseField& use) {
    use.require(drawer, "where the number goes");
    try {
      *drawer = use->at(time).index();
    } catch (const pdm::Error& error) {
      if (dynamic_cast<const Fault*>(&error) != nullptr)
        throw;
      use.refuse(PDM_NOT_FOUND, error.cause());
    }
  });
}

pdm_status pdm_field_set(pdm_field* field, int32_t drawer, pdm_set** set) {
  return make(field, "use a set", set, [&](const UseField& use) { return drawer_of(use, drawer).set(); });
}

} // extern "C"
