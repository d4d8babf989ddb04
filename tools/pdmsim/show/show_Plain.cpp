#include <pdmsim/show/show_Text.h>

#include <pdmsim/cli/cli_Failure.h>

#include <algorithm>
#include <array>
#include <iostream>

// The small change of what is written for people.

namespace {

/// Bytes of the character at the beginning of a text that a terminal shows as it is; 0 for a control
/// character and for what is no UTF-8.
std::size_t Shown(std::string_view text) {
  const auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
  if (byte(0) < 0x80)
    return byte(0) >= 0x20 && byte(0) != 0x7f ? 1 : 0;
  const std::size_t size = byte(0) >= 0xf5   ? 0
                           : byte(0) >= 0xf0 ? 4
                           : byte(0) >= 0xe0 ? 3
                           : byte(0) >= 0xc2 ? 2
                                             : 0;
  for (std::size_t i = 1; i < size; ++i)
    if ((byte(i) & 0xc0) != 0x80)
      return 0;
  const bool isControl = byte(0) == 0xc2 && byte(1) < 0xa0;
  return isControl ? 0 : size;
}

} // namespace

std::string show_Printable(const std::string& text) {
  constexpr char digits[] = "0123456789abcdef";
  std::string printable;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t size = Shown(std::string_view(text).substr(i));
    const auto byte = static_cast<unsigned char>(text[i]);
    if (size > 0)
      printable.append(text, i, size);
    else
      printable += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
    i += std::max<std::size_t>(1, size);
  }
  return printable;
}

std::string show_Number(double number, int digits) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%.*g", digits, number);
  return text.data();
}

std::string show_Counted(long long count, const std::string& one, const std::string& many) {
  return std::to_string(count) + " " + (count == 1 ? one : many.empty() ? one + "s" : many);
}

std::string show_More(long long count) {
  return "… " + std::to_string(count) + " more";
}

std::string show_Size(unsigned long long bytes) {
  constexpr const char* units[] = {"bytes", "kB", "MB", "GB", "TB"};
  double size = static_cast<double>(bytes);
  std::size_t unit = 0;
  for (; size >= 999.5 && unit + 1 < std::size(units); ++unit)
    size /= 1000;
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), unit && size < 99.95 ? "%.1f %s" : "%.0f %s", size, units[unit]);
  return text.data();
}

void show_PrintJson(const show_Json& json) {
  std::cout << json.dump(2, ' ', false, show_Json::error_handler_t::replace) << '\n';
}

void show_Flush() {
  if (!std::cout.flush())
    throw cli_Failure(cli_Exit::kUnusable, "standard output: expected to write, found it closed or full");
}
