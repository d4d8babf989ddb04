#include <pdmsim/cli/cli_Markup.h>

std::string cli_Escaped(std::string_view text) {
  std::string out;
  for (const char c : text)
    switch (c) {
    case '&':
      out += "&amp;";
      break;
    case '<':
      out += "&lt;";
      break;
    case '>':
      out += "&gt;";
      break;
    case '"':
      out += "&quot;";
      break;
    case '\'':
      out += "&#39;";
      break;
    default:
      out += static_cast<unsigned char>(c) < ' ' ? '?' : c;
    }
  return out;
}
