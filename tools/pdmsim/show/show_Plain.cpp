#include <pdmsim/show/show_Text.h>

#include <pdmsim/cli/cli_Failure.h>

#include <array>
#include <iostream>

// The small change of what is written for people.

std::string show_Printable(const std::string& text) {
  constexpr char digits[] = "0123456789abcdef";
  std::string printable;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7f)
      printable += c;
    else
      printable += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
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
