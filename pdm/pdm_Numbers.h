#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Drawer.h>

#include <array>
#include <concepts>
#include <cstdint>
#include <limits>
#include <ranges>
#include <type_traits>
#include <utility>

namespace pdm {

/// The types that stored numbers have.
enum class Type : unsigned char { int32, int64, float32, float64 };

/// \return "int32", "int64", "float32" or "float64".
constexpr const char* name_of(Type type) noexcept {
  constexpr const char* kNames[] = {"int32", "int64", "float32", "float64"};
  return kNames[static_cast<unsigned char>(type)];
}
/// \return the bytes of one number.
constexpr int size_of(Type type) noexcept {
  return type == Type::int32 || type == Type::float32 ? 4 : 8;
}

/// A C++ type that is one of the stored types.
template <class T>
concept Number = std::same_as<T, float> || std::same_as<T, double> ||
    (std::signed_integral<T> && !std::same_as<T, wchar_t> && (sizeof(T) == 4 || sizeof(T) == 8));

/// The stored type of a C++ type.
template <Number T>
inline constexpr Type type_of = std::is_integral_v<T> ? (sizeof(T) == 4 ? Type::int32 : Type::int64)
                                                      : (sizeof(T) == 4 ? Type::float32 : Type::float64);

/// True when every number of one type is a number of the other: int32 in int64 and float64, float32 in
/// float64, and each in itself.
constexpr bool converts(Type from, Type to) noexcept {
  return from == to || (from == Type::int32 && (to == Type::int64 || to == Type::float64)) ||
         (from == Type::float32 && to == Type::float64);
}

namespace detail {

template <class T>
struct Row {
  using number = T;
  static constexpr int width = 1;
};
template <class T, std::size_t N>
struct Row<T[N]> {
  using number = typename Row<T>::number;
  static constexpr int width = static_cast<int>(N) * Row<T>::width;
};
template <class T, std::size_t N>
struct Row<std::array<T, N>> : Row<T[N]> {};

template <class Range>
using RowOf = Row<std::remove_cv_t<std::ranges::range_value_t<const Range&>>>;
// What range_value_t does not say of an array of arrays.
template <class T, std::size_t N>
Row<std::remove_cv_t<T>> row_of(const T (&)[N]);
template <class Range>
RowOf<Range> row_of(const Range&);

constexpr Type type_from(ORXSimItemType type) noexcept {
  return static_cast<Type>(type);
}
constexpr ORXSimItemType item_type(Type type) noexcept {
  return static_cast<ORXSimItemType>(type);
}
static_assert(item_type(Type::int32) == ORXSimItemType::kInt32 &&
              item_type(Type::int64) == ORXSimItemType::kInt64 &&
              item_type(Type::float32) == ORXSimItemType::kFloat &&
              item_type(Type::float64) == ORXSimItemType::kDouble);

} // namespace detail

/// Numbers to be written: a span, vector or array of numbers or of rows (`double[3]`, `std::array<double,
/// 3>`). Borrowed; nothing is copied.
/// Threads: a value; each thread uses values of its own.
class Numbers {
 public:
  /// \param values  contiguous; they must live as long as this.
  template <class Range>
  requires std::ranges::contiguous_range<const Range&> && std::ranges::sized_range<const Range&> &&
      Number<typename decltype(detail::row_of(std::declval<const Range&>()))::number>
      Numbers(const Range& values) // NOLINT: a range is what callers have
      : Numbers(std::ranges::data(values), std::ranges::size(values) * width_of<Range>,
                type_of<typename decltype(detail::row_of(values))::number>, width_of<Range>) {}
  /// \param data   [count] numbers of the type.
  /// \param count  number of numbers.
  /// \param width  numbers a row; 1 says nothing of it.
  Numbers(const void* data, std::size_t count, Type type, int width = 1)
      : m_data(data), m_count(count), m_type(type), m_width(width) {}

  const void* data() const noexcept { return m_data; }
  std::size_t count() const noexcept { return m_count; }
  Type type() const noexcept { return m_type; }
  int width() const noexcept { return m_width; }
  std::int64_t bytes() const noexcept { return static_cast<std::int64_t>(m_count) * size_of(m_type); }

 private:
  template <class Range>
  static constexpr int width_of = decltype(detail::row_of(std::declval<const Range&>()))::width;

  const void* m_data;
  std::size_t m_count;
  Type m_type;
  int m_width;
};

/// Memory for numbers to be read: a span, vector or array of numbers or of rows. Borrowed.
/// Threads: a value; each thread uses values of its own.
class Buffer {
 public:
  /// \param out  contiguous; it must live as long as this.
  template <class Range>
  requires(!std::same_as<std::remove_cvref_t<Range>, Buffer>) && std::ranges::contiguous_range<Range> &&
      (!std::is_const_v<std::remove_reference_t<std::ranges::range_reference_t<Range>>>)&&Number<
          typename decltype(detail::row_of(std::declval<const std::remove_reference_t<Range>&>()))::
              number> Buffer(Range&& out) // NOLINT: a range is what callers have
      : m_data(std::ranges::data(out)) {
    using Row = decltype(detail::row_of(std::as_const(out)));
    m_count = std::ranges::size(out) * static_cast<std::size_t>(Row::width);
    m_type = type_of<typename Row::number>;
  }
  /// \param data   [count] numbers of the type.
  /// \param count  number of numbers.
  Buffer(void* data, std::size_t count, Type type) : m_data(data), m_count(count), m_type(type) {}

  void* data() const noexcept { return m_data; }
  std::size_t count() const noexcept { return m_count; }
  Type type() const noexcept { return m_type; }
  std::int64_t bytes() const noexcept { return static_cast<std::int64_t>(m_count) * size_of(m_type); }

 private:
  void* m_data;
  std::size_t m_count = 0;
  Type m_type = Type::float64;
};

} // namespace pdm
