#pragma once

#include <pdm/pdm_Field.h>

namespace pdm {

/// Fields of an object by name.
/// Threads: one at a time for all objects of a Sim.
class Fields : public detail::Map<ORXSimDistributionID, Field> {
 public:
  Fields() = default;
  /// For a map of the plain calls.
  explicit Fields(Field::Source source) : Map(std::move(source)) {}

  /// Stores a new field of one drawer. One commit point, unless an update is open.
  /// \param name     of the new field.
  /// \param values   [rows][components] numbers; rows are the items of `options.over`, or of the map's
  /// collection.
  ///                 Where a map has none, as that of a system, the rows are items of a new one.
  /// \param options  what it shall be.
  Field create(std::string_view name, const Numbers& values, const FieldOptions& options = {}) const {
    return make(name, &values, options);
  }
  /// Stores a new field without drawers, for `append` to fill step by step. One commit point, unless an
  /// update is open.
  /// \param name     of the new field.
  /// \param options  its unit, and whether it may replace another. `over` is refused: rows come with drawers.
  Field create_empty(std::string_view name, const FieldOptions& options = {}) const {
    return make(name, nullptr, options);
  }
  /// Gives a field another name, too.
  void insert(std::string_view name, const Field& field, bool replace = false) const {
    const ORXSimDistributionID id = field.handle();
    detail::run(*this, "name a field", [&] { Map::insert(new_key(name, replace, "name a field"), id); });
  }

 private:
  Field make(std::string_view name, const Numbers* values, const FieldOptions& options) const {
    constexpr const char* kOperation = "create a field";
    std::optional<ORXSimCSetID> over;
    if (options.over.has_value())
      over = options.over->handle();
    if (values == nullptr && over.has_value())
      detail::refuse(state().get(), path(), kOperation,
                     "without numbers it has no rows yet: say their set when you append");
    return detail::run(*this, kOperation, [&] {
      const kda_string key = new_key(name, options.replace, kOperation);
      detail::require_whole(*this, kOperation, options);
      ORXSimUpdate update(state()->context);
      ORXSimDrawerDescription drawer;
      if (values != nullptr)
        drawer = detail::describe(*this, kOperation, *values,
                                  over.has_value() ? *over : all_items(key, *values, options), options, 0);
      const ORXSimDistributionID id = ORXSimDistributionRef::Create(
          state()->context, key.cStr(), options.unit.c_str(), &drawer, values == nullptr ? 0 : 1);
      if (!id.IsNull() && (values == nullptr || detail::write_new(ORXSimDistributionRef(id), 0, *values))) {
        Map::insert(key, id);
        update.Commit();
      }
      return Field(m_source, std::string(name), id);
    });
  }
  /// All items of the map's collection, or of a new one that has as many as the numbers have rows.
  ORXSimCSetID all_items(const kda_string& key, const Numbers& values, const FieldOptions& options) const {
    if (m_source->collection != nullptr)
      return ORXSimCollectionRef(m_source->collection(*m_source)).FullCSet();
    const auto width = detail::size(options.components > 0 ? options.components : values.width());
    return ORXSimCollectionRef(ORXSimCollectionRef::Create(state()->context, key.cStr(),
                                                           static_cast<int>(values.count() / width)))
        .FullCSet();
  }
};

} // namespace pdm
