#pragma once

#include <pdmsim/mesh/mesh_Source.h>

#include <memory>
#include <string>

/// What of an import depends on the mesh's format.
struct mesh_Reading {
  std::string format;   // a format's name; "" to find out
  std::string setsFrom; // an array of integers that becomes sets, one a value; "" for none
};

/// The beginning of a file, by which formats know their own.
struct mesh_Head {
  std::string path, bytes; // the first 64 KiB
};

/// One format that meshes are imported from. A new one is a folder below import/ and a line in
/// imp_Formats.cpp.
struct mesh_Format {
  const char* name;    // for --format
  const char* title;   // for people
  const char* endings; // of files, as ".msh .msh2"
  /// True when the content cannot be another format's. Throws nothing.
  bool (*isOne)(const mesh_Head& head);
  /// Throws mesh_Error.
  std::unique_ptr<mesh_Source> (*open)(const std::string& path, const mesh_Reading& reading);
  bool takesSetsFrom = false; // makes sets of the array that the reading names
};
