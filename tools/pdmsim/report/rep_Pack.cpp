#include <pdmsim/report/rep_Pack.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>
#include <zlib.h>

namespace {

constexpr int kLevel = 4; // 6 takes twice the time for a few percent

std::string deflated(const std::vector<std::uint8_t>& bytes) {
  uLongf size = compressBound(bytes.size());
  std::vector<std::uint8_t> out(size);
  if (compress2(out.data(), &size, bytes.data(), bytes.size(), kLevel) != Z_OK)
    throw std::runtime_error("zlib failed");
  return rep_Base64({out.data(), size});
}

void addVarint(std::vector<std::uint8_t>& bytes, std::uint32_t number) {
  for (; number >= 128; number >>= 7)
    bytes.push_back(static_cast<std::uint8_t>(number | 128));
  bytes.push_back(static_cast<std::uint8_t>(number));
}

} // namespace

std::string rep_Base64(std::span<const std::uint8_t> bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text((bytes.size() + 2) / 3 * 4, '=');
  char* out = text.data();
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t here = std::min<std::size_t>(3, bytes.size() - i);
    std::uint32_t three = 0;
    for (std::size_t k = 0; k < 3; ++k)
      three = three << 8 | (k < here ? bytes[i + k] : 0u);
    for (std::size_t k = 0; k <= here; ++k)
      out[k] = kDigits[three >> (18 - 6 * k) & 63];
    out += 4;
  }
  return text;
}

int rep_Corners::Place(int node) {
  int& place = m_places[static_cast<std::size_t>(node)];
  if (place < 0) {
    place = static_cast<int>(m_used.size());
    m_used.push_back(node);
  }
  return place;
}

std::string rep_Corners::Pack(std::span<const int> nodes) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(nodes.size() * 2);
  for (const int node : nodes) {
    const std::size_t next = m_used.size();
    addVarint(bytes, static_cast<std::uint32_t>(next - static_cast<std::size_t>(Place(node))));
  }
  return deflated(bytes);
}

std::string rep_PackAscending(std::span<const int> numbers) {
  std::vector<std::uint8_t> bytes;
  int before = 0;
  for (const int number : numbers)
    addVarint(bytes, static_cast<std::uint32_t>(number - std::exchange(before, number)));
  return deflated(bytes);
}

rep_Plane rep_PackPlane(std::span<const double> values) {
  constexpr double kNone = std::numeric_limits<double>::infinity();
  rep_Plane plane{kNone, -kNone, {}};
  for (const double value : values)
    if (std::isfinite(value)) {
      plane.least = std::min(plane.least, value);
      plane.greatest = std::max(plane.greatest, value);
    }
  const double width = plane.greatest - plane.least, scale = width > 0 ? 65534 / width : 0;
  // Low bytes before high ones, both of differences: neighbours differ little, and zlib sees it.
  std::vector<std::uint8_t> bytes(2 * values.size());
  unsigned before = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const unsigned here = std::isfinite(values[i])
                              ? static_cast<unsigned>(std::lround((values[i] - plane.least) * scale))
                              : 65535;
    const unsigned difference = here - std::exchange(before, here);
    bytes[i] = static_cast<std::uint8_t>(difference);
    bytes[values.size() + i] = static_cast<std::uint8_t>(difference >> 8);
  }
  if (plane.least > plane.greatest)
    plane.least = plane.greatest = std::numeric_limits<double>::quiet_NaN();
  plane.text = deflated(bytes);
  return plane;
}
