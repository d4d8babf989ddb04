#pragma once

#include <pdmsim/show/show_Values.h>

#include <iosfwd>

/// Writes a description for a person to read: what is null or empty is left out, control characters in
/// names are written as \xNN.
/// \param name what the line begins with.
/// \param depth how far the line is indented.
void show_Write(std::ostream& out, const std::string& name, const show_Json& value, int depth);

/// A text with its control characters as \xNN, so that it stays on its line.
std::string show_Printable(const std::string& text);
/// A number of bytes as a person reads it, as 1.5 MB.
std::string show_Size(unsigned long long bytes);

/// Prints JSON for scripts, one document and a line end; bytes that are no UTF-8 are replaced.
void show_PrintJson(const show_Json& json);
/// Fails, as an output that cannot be written, when standard output did not take everything.
void show_Flush();
