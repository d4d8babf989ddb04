#include <pdmsim/stored/sto_Numbers.h>

#include <pdmsim/stored/sto_Fail.h>

#include <algorithm>
#include <type_traits>
#include <utility>

sto_Numbers::sto_Numbers(std::string file, ORXSimDistributionID distribution, int drawer, std::size_t first,
                         std::size_t count)
    : m_file(std::move(file)), m_drawer(ORXSimDistributionRef(distribution).OpenDrawer(drawer)),
      m_first(first), m_count(count) {
  if (!m_drawer)
    sto_Fail(m_file, "");
  if (first + count > static_cast<std::size_t>(m_drawer.Items()))
    sto_Fail(m_file, "expected " + std::to_string(first + count) + " rows in drawer " +
                         std::to_string(drawer) + " of " + ORXSimDistributionRef(distribution).Name().CStr() +
                         ", found " + std::to_string(m_drawer.Items()));
}

sto_Numbers::sto_Numbers(std::string file, ORXSimDistributionID distribution, int drawer,
                         std::vector<int> rows)
    : sto_Numbers(std::move(file), distribution, drawer, 0, 0) {
  m_rows = std::move(rows);
  m_count = m_rows.size();
}

mesh_Numbers::Type sto_Numbers::NumberType() const {
  switch (m_drawer.Type()) {
  case ORXSimItemType::kInt32:
    return Type::kInt;
  case ORXSimItemType::kInt64:
    return Type::kLong;
  case ORXSimItemType::kFloat:
    return Type::kFloat;
  case ORXSimItemType::kDouble:
    break;
  }
  return Type::kDouble;
}

std::size_t sto_Numbers::Width() const {
  return m_component >= 0 ? 1 : static_cast<std::size_t>(m_drawer.Components());
}

void sto_Numbers::ReadRows(std::size_t first, std::size_t count, void* out) const {
  const auto size = static_cast<std::size_t>(ORXSimItemSize(m_drawer.Type()) * m_drawer.Components());
  auto* bytes = static_cast<unsigned char*>(out);
  while (count > 0) {
    std::size_t run = count, row = m_first + first;
    if (!m_rows.empty()) { // as many as follow each other in the drawer, too
      row = static_cast<std::size_t>(m_rows[first]);
      run = 1;
      while (run < count && static_cast<std::size_t>(m_rows[first + run]) == row + run)
        ++run;
    }
    if (!m_drawer.Read(static_cast<int>(row), static_cast<int>(run), bytes,
                       static_cast<std::int64_t>(run * size)))
      sto_Fail(m_file, "");
    bytes += run * size;
    first += run;
    count -= run;
  }
}

template <class Stored, class T>
void sto_Numbers::Convert(std::size_t first, std::size_t count, T* out) const {
  const auto stored = static_cast<std::size_t>(m_drawer.Components());
  std::vector<Stored> values(count * stored);
  ReadRows(first, count, values.data());
  const std::size_t step = m_component < 0 ? 1 : stored,
                    begin = m_component < 0 ? 0 : std::size_t(m_component);
  for (std::size_t i = begin; i < values.size(); i += step) {
    if constexpr (std::is_integral_v<T> && std::is_integral_v<Stored>)
      if (!std::in_range<T>(values[i]))
        sto_Fail(m_file, "expected integers of 32 bits, found " + std::to_string(values[i]));
    *out++ = static_cast<T>(values[i]);
  }
}

template <class T>
void sto_Numbers::ReadAs(std::size_t first, std::size_t count, T* out) const {
  const Type type = NumberType();
  const bool same = (std::is_same_v<T, int> && type == Type::kInt) ||
                    (std::is_same_v<T, long long> && type == Type::kLong) ||
                    (std::is_same_v<T, float> && type == Type::kFloat) ||
                    (std::is_same_v<T, double> && type == Type::kDouble);
  if (count == 0)
    return;
  if (same && m_component < 0)
    return ReadRows(first, count, out);
  switch (type) {
  case Type::kInt:
    return Convert<std::int32_t>(first, count, out);
  case Type::kLong:
    return Convert<std::int64_t>(first, count, out);
  case Type::kFloat:
    return Convert<float>(first, count, out);
  case Type::kDouble:
    return Convert<double>(first, count, out);
  }
}

template void sto_Numbers::ReadAs(std::size_t, std::size_t, int*) const;
template void sto_Numbers::ReadAs(std::size_t, std::size_t, long long*) const;
template void sto_Numbers::ReadAs(std::size_t, std::size_t, float*) const;
template void sto_Numbers::ReadAs(std::size_t, std::size_t, double*) const;
