#pragma once

#include <pdmsim/show/show_Values.h>

#include <iosfwd>

/// How a description is written for a person.
struct show_Format {
  int digits = 6; // of a real number
  int most = 10;  // lines of a list before "… 107 more"; of a map ten times as many; 0: all of them
};

/// Writes a description for a person to read: what is null or empty is left out, control characters in
/// names are written as \xNN.
/// \param name what the line begins with.
/// \param depth how far the line is indented.
void show_Write(std::ostream& out, const std::string& name, const show_Json& value, int depth,
                const show_Format& format = {});

/// A real number with so many digits.
std::string show_Number(double number, int digits);
/// A count and what is counted, as "1 node", "3 hexahedra".
std::string show_Counted(long long count, const std::string& one, const std::string& many = "");
/// What follows a list that is cut: "… 107 more".
std::string show_More(long long count);
/// A text with its control characters as \xNN, so that it stays on its line.
std::string show_Printable(const std::string& text);
/// A number of bytes as a person reads it, as 1.5 MB.
std::string show_Size(unsigned long long bytes);

/// Prints JSON for scripts, one document and a line end; bytes that are no UTF-8 are replaced.
void show_PrintJson(const show_Json& json);
/// Fails, as an output that cannot be written, when standard output did not take everything.
void show_Flush();
