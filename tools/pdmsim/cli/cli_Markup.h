#pragma once

#include <string>
#include <string_view>

/// A text as it stands in XML and HTML, between tags or in an attribute: no character of it is markup.
/// Control characters, which XML has not, become question marks.
std::string cli_Escaped(std::string_view text);
