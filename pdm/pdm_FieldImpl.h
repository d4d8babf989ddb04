#pragma once

// Part of pdm_Field.h: how drawers are read and written.

#include <algorithm>
#include <cmath>

namespace pdm {

namespace detail {

template <class From, class To>
void widen(const std::vector<std::byte>& from, void* to, std::size_t count) {
  if constexpr (converts(type_of<From>, type_of<To>)) {
    auto* out = static_cast<To*>(to);
    for (std::size_t i = 0; i < count; ++i) {
      From value;
      std::memcpy(&value, from.data() + i * sizeof value, sizeof value);
      out[i] = static_cast<To>(value);
    }
  }
}

/// Turns numbers of one type into another that can hold them all.
inline void widen(const std::vector<std::byte>& from, Type type, void* to, Type wanted, std::size_t count) {
  if (type == Type::int32 && wanted == Type::int64)
    widen<std::int32_t, std::int64_t>(from, to, count);
  else if (type == Type::int32)
    widen<std::int32_t, double>(from, to, count);
  else
    widen<float, double>(from, to, count);
}

/// Numbers as a drawer of a type takes them: as they are, or widened in memory of its own.
class Stored {
 public:
  Stored(const Numbers& values, Type type) : m_data(values.data()) {
    if (values.type() == type)
      return;
    const auto* const bytes = static_cast<const std::byte*>(values.data());
    m_widened.resize(values.count() * static_cast<std::size_t>(size_of(type)));
    widen({bytes, bytes + values.bytes()}, values.type(), m_widened.data(), type, values.count());
    m_data = m_widened.data();
  }
  const void* data() const { return m_data; }

 private:
  const void* m_data;
  std::vector<std::byte> m_widened;
};

inline std::string expected(std::string_view what, std::string_view found) {
  std::string text("expected ");
  text += what;
  text += ", found ";
  text += found;
  return text;
}

/// The model's times, none when there are none. REQUIRES run().
inline std::vector<double> times_of(const State& file) {
  const msfD_DiscreteModel model = file.sim.discreteModel();
  const msfD_Mesh mesh = !model ? msfD_Mesh() : model.mesh();
  if (!mesh || !mesh.frameFields().isMember("time"))
    return {};
  const ORXSimDistributionRef time(mesh.frameFields().get("time"));
  const ORXSimPersistentDrawerDesc drawer = time.Drawer(0);
  if (drawer.Type() != ORXSimItemType::kDouble || drawer.Components() != 1)
    return {};
  std::vector<double> times(size(drawer.Items()));
  if (!times.empty())
    time.ReadItems(0, 0, drawer.Items(), times.data(), drawer.Bytes());
  return times;
}

/// \return the first of the times that are nearest to one, which files of others need not have in order; -1
///         when none is finite.
inline int nearest(const std::vector<double>& times, double time) {
  int best = -1;
  for (int i = 0; i < static_cast<int>(times.size()); ++i)
    if (const double one = times[size(i)]; std::isfinite(one))
      if (best < 0 || std::abs(one - time) < std::abs(times[size(best)] - time))
        best = i;
  return best;
}

/// Whether a time is meant by another: to a billionth of the range of all finite times, and to what the last
/// digits of either leave open.
inline bool is_time(const std::vector<double>& times, double one, double other) {
  constexpr double kDigits = 4 * std::numeric_limits<double>::epsilon();
  double least = one, most = one;
  for (const double time : times)
    if (std::isfinite(time)) {
      least = std::min(least, time);
      most = std::max(most, time);
    }
  return std::isfinite(other) &&
         std::abs(one - other) <=
             1e-9 * most - 1e-9 * least + kDigits * std::max(std::abs(one), std::abs(other));
}

/// Refuses texts that would be cut. REQUIRES run().
template <class Object>
void require_whole(const Object& object, const char* operation, const FieldOptions& options) {
  for (const std::string* text : {&options.unit, &options.long_name})
    if (text->find('\0') != std::string::npos)
      refuse(object.state().get(), object.path(), operation, "a unit or a long name must not contain NUL");
}

/// \return the number of items of a set. REQUIRES run().
inline std::size_t rows_over(ORXSimCSetID over) {
  return size(over.Minor() == 0 ? ORXSimCollectionRef(over.Collection()).NumItems()
                                : ORXSimCSet(over).Size());
}

/// What a drawer must be that holds some numbers; refuses texts that would be cut and numbers that do not
/// fill its rows. REQUIRES run().
/// \param like  components that it has if nothing says otherwise; 0 says nothing either.
template <class Object>
ORXSimDrawerDescription describe(const Object& object, const char* operation, const Numbers& values,
                                 ORXSimCSetID over, const FieldOptions& options, int like) {
  require_whole(object, operation, options);
  if (over.IsNull())
    refuse(object.state().get(), object.path(), operation, "say which set its rows belong to");
  const std::size_t rows = rows_over(over), count = values.count();
  const int made = rows > 0 && count >= rows ? static_cast<int>(count / rows) : 1;
  ORXSimDrawerDescription drawer;
  drawer.members = over;
  drawer.type = item_type(values.type());
  drawer.components = options.components > 0 ? options.components
                      : like > 0             ? like
                      : values.width() > 1   ? values.width()
                                             : made;
  if (count != rows * size(drawer.components))
    refuse(object.state().get(), object.path(), operation,
           expected(std::to_string(rows) + " rows of " + std::to_string(drawer.components),
                    std::to_string(count) + " numbers"));
  drawer.longName = options.long_name.c_str();
  drawer.deflate = options.deflate;
  drawer.chunkItems = options.chunk_rows;
  return drawer;
}

/// Fills a drawer that was made for these numbers.
inline bool write_new(const ORXSimDistributionRef& distribution, int drawer, const Numbers& values) {
  return values.count() == 0 || distribution.WriteItems(drawer, 0, distribution.DataSizeItems(drawer),
                                                        values.data(), values.bytes());
}

} // namespace detail

inline Drawer::Drawer(const Field& field, int index, const char* only)
    : m_field(std::make_shared<const Field>(field)), m_index(index) {
  look(only == nullptr ? "open a drawer" : only, only != nullptr);
}

inline void Drawer::look(const char* operation, bool only) const {
  m_description = detail::run(*m_field, operation, [&] {
    const ORXSimDistributionRef distribution(m_field->checked(operation));
    const int drawers = distribution.NumDrawers();
    if (only && drawers != 1)
      detail::refuse(state().get(), m_field->path(), operation,
                     "the field has " + std::to_string(drawers) +
                         " drawers: say which one, by its number, step or time");
    if (m_index < 0 || m_index >= drawers)
      detail::refuse(state().get(), m_field->path(), operation,
                     "there is no drawer " + std::to_string(m_index) + ", the field has " +
                         std::to_string(drawers));
    return distribution.Drawer(m_index);
  });
  m_seen = ORXSimManager::Epochs();
}

inline const ORXSimPersistentDrawerDesc& Drawer::described() const {
  detail::require_open(*this, "use a drawer");
  if (m_seen != ORXSimManager::Epochs())
    look("use a drawer", false);
  return m_description;
}

inline std::string Drawer::path() const {
  return m_field == nullptr ? std::string() : m_field->path() + '[' + std::to_string(m_index) + ']';
}
inline const detail::File& Drawer::state() const noexcept {
  static const detail::File kNone;
  return m_field == nullptr ? kNone : m_field->state();
}

inline std::string Drawer::unit() const {
  const std::string own = described().Unit().CStr();
  return !own.empty() ? own : detail::run(*this, "read the unit", [&] {
    return std::string(ORXSimDistributionRef(m_field->checked("read the unit")).Unit().CStr());
  });
}

inline Set Drawer::set() const {
  const ORXSimCSetID id = described().CSet();
  Set::Source source{state(), path() + "/set"};
  source.now = [drawer = *this] { return drawer.described().CSet(); };
  return {std::make_shared<const Set::Source>(std::move(source)), {}, id};
}

inline std::string Drawer::dataset_path() const {
  const ORXSimDistributionID id = m_field == nullptr ? ORXSimDistributionID() : m_field->handle();
  detail::require_open(*this, "find the dataset");
  const detail::Lines unheard;
  return ORXSimDistributionRef(id).DatasetPath(m_index).CStr();
}

inline ORXSimMappedDrawer Drawer::map() const {
  constexpr const char* kOperation = "map a field";
  return detail::run(*this, kOperation,
                     [&] { return ORXSimDistributionRef(m_field->checked(kOperation)).MapDrawer(m_index); });
}

inline ORXSimDistributionID Drawer::distribution() const {
  constexpr const char* kOperation = "take the identifier";
  return detail::run(*this, kOperation, [&] { return m_field->checked(kOperation); });
}

inline void Drawer::check_type(Type out, const char* operation) const {
  if (!converts(type(), out))
    detail::refuse(state().get(), path(), operation,
                   detail::expected(std::string("numbers that fit into ") + name_of(out), name_of(type())));
}

inline void Drawer::read_rows(int first, int count, const Buffer& out) const {
  constexpr const char* kOperation = "read a field";
  const Type stored = type();
  check_type(out.type(), kOperation);
  if (first < 0 || count < 0 || first > rows() - count)
    detail::refuse(state().get(), path(), kOperation,
                   "there are no rows " + std::to_string(first) + " to " +
                       std::to_string(std::int64_t{first} + count - 1) + ", the drawer has " +
                       std::to_string(rows()));
  const std::int64_t numbers = std::int64_t{count} * components();
  if (out.count() != static_cast<std::size_t>(numbers))
    detail::refuse(state().get(), path(), kOperation,
                   detail::expected("a buffer for " + std::to_string(numbers) + " numbers",
                                    "one for " + std::to_string(out.count())));
  detail::run(*this, kOperation, [&] {
    const ORXSimDistributionRef distribution(m_field->checked(kOperation));
    if (count == 0)
      return;
    if (stored == out.type())
      return static_cast<void>(distribution.ReadItems(m_index, first, count, out.data(), out.bytes()));
    std::vector<std::byte> rows(static_cast<std::size_t>(numbers * size_of(stored)));
    if (distribution.ReadItems(m_index, first, count, rows.data(), static_cast<std::int64_t>(rows.size())))
      detail::widen(rows, stored, out.data(), out.type(), out.count());
  });
}

inline void Drawer::write(const Numbers& values) const {
  constexpr const char* kOperation = "write a field";
  if (!converts(values.type(), type()))
    detail::refuse(
        state().get(), path(), kOperation,
        detail::expected(std::string("numbers that fit into ") + name_of(type()), name_of(values.type())));
  if (values.count() != count())
    detail::refuse(state().get(), path(), kOperation,
                   detail::expected(std::to_string(count()) + " numbers", std::to_string(values.count())));
  detail::run(*this, kOperation, [&] {
    const ORXSimDistributionRef distribution(m_field->checked(kOperation));
    const detail::Stored stored(values, type());
    if (values.count() > 0)
      distribution.WriteItems(m_index, 0, rows(), stored.data(), m_description.Bytes());
  });
}

inline std::string Field::unit() const {
  const std::string own = detail::run(*this, "read the unit", [&] {
    return std::string(ORXSimDistributionRef(id("read the unit")).Unit().CStr());
  });
  return !own.empty() || empty() ? own : (*this)[0].unit();
}

inline Drawer Field::operator[](int index) const {
  return {*this, index, nullptr};
}

inline Drawer Field::only(const char* operation) const {
  return {*this, 0, operation};
}

inline int Field::drawers_a_step() const {
  return detail::run(*this, "count the steps", [&] {
    const ORXSimDistributionRef distribution(id("count the steps"));
    const int drawers = distribution.NumDrawers();
    int next = 1;
    if (drawers > 1)
      for (const ORXSimCSetID first = distribution.Drawer(0).CSet(); next < drawers; ++next)
        if (distribution.Drawer(next).CSet() == first)
          break;
    return next;
  });
}

inline Drawer Field::step(int step) const {
  const int each = drawers_a_step(), steps = size() / each;
  if (each != 1)
    detail::refuse(state().get(), path(), "find a step",
                   "each step has " + std::to_string(each) + " drawers: take them by their numbers");
  if (step < 0 || step >= steps)
    detail::refuse(state().get(), path(), "find a step",
                   "there is no step " + std::to_string(step) + ", the field has " + std::to_string(steps));
  return (*this)[step];
}

inline Drawer Field::at(double time) const {
  const std::vector<double> times =
      detail::run(*this, "find a time", [&] { return detail::times_of(*state()); });
  if (times.empty())
    detail::refuse(state().get(), path(), "find a time", "the model has no times");
  const int index = detail::nearest(times, time);
  if (index < 0)
    detail::refuse(state().get(), path(), "find a time", "the model has no finite times");
  if (const double found = times[detail::size(index)]; !detail::is_time(times, found, time))
    detail::refuse(state().get(), path(), "find a time",
                   "there is no step at time " + std::to_string(time) + ", the nearest is step " +
                       std::to_string(index) + " at " + std::to_string(found));
  return step(index);
}

inline Drawer Field::add(const Numbers* values, Type type, const FieldOptions& options) const {
  constexpr const char* kOperation = "append to a field";
  ORXSimPersistentDrawerDesc like;
  if (!empty())
    like = (*this)[0].m_description;
  std::optional<ORXSimCSetID> over;
  if (options.over.has_value())
    over = options.over->handle();
  const int added = detail::run(*this, kOperation, [&] {
    const ORXSimDistributionRef distribution(id(kOperation));
    if (!over.has_value())
      over = !like.CSet().IsNull() ? like.CSet() : ORXSimCollectionRef(collection()).FullCSet();
    const int width = options.components > 0 ? options.components : std::max(like.Components(), 1);
    const std::size_t rows = values != nullptr || over->IsNull() ? 0 : detail::rows_over(*over);
    const Numbers unwritten(nullptr, rows * detail::size(width), type, width);
    ORXSimDrawerDescription drawer = detail::describe(
        *this, kOperation, values == nullptr ? unwritten : *values, *over, options, like.Components());
    drawer.unit = options.unit.c_str();
    ORXSimUpdate update(state()->context);
    const int drawers = distribution.AddDrawer(drawer);
    if (drawers >= 0 && (values == nullptr || detail::write_new(distribution, drawers, *values)))
      update.Commit();
    return drawers;
  });
  return (*this)[added];
}

} // namespace pdm
