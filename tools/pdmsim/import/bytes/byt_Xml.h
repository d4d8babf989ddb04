#pragma once

#include <pdmsim/import/bytes/byt_Cursor.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// An element of an XML file. Its text stays in the file: only where it lies is known.
struct byt_XmlNode {
  std::string name; // without the prefix of a namespace
  std::vector<std::pair<std::string, std::string>> attributes;
  std::vector<byt_XmlNode> children;
  byt_Range text; // from its first to its last word; empty: there is none

  /// The value of an attribute, "" when there is none.
  const std::string& operator[](std::string_view attribute) const;
  /// The first child of that name; null when there is none.
  const byt_XmlNode* Child(std::string_view child) const;
};

/// Reads the elements of an XML file, without their text.
///
/// \param last the name of an element that is the last: it and what follows need not be XML. "" for none.
/// \return the root element; the text of one named `last` begins behind its tag. Throws mesh_Error for what
/// is not well-formed, or of absurd depth.
byt_XmlNode byt_ReadXml(const mesh_File& file, std::string_view last = {});
