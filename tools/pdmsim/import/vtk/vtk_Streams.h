#pragma once

#include <pdmsim/import/bytes/byt_Numbers.h>

/// How the numbers of a .vtu file are packed.
struct vtk_Packing {
  bool bigEndian = false;
  std::size_t headerBytes = 4; // of the numbers that say how many bytes follow
  bool compressed = false;     // by zlib, in blocks
};

/// The bytes of a piece of a file as they stand there, and those that base64 makes of it. White space is
/// passed over.
byt_Source vtk_Raw(const mesh_File& file, byt_Range range);
byt_Source vtk_Base64(const mesh_File& file, byt_Range range);

/// Numbers behind their header, packed as `packing` says. The header is read and held against the file.
///
/// \param makeSource gives the bytes from the header on.
/// \param room the bytes that the file has for them.
/// Throws mesh_Error.
byt_Numbers vtk_Unpack(const mesh_File& file, const vtk_Packing& packing, byt_Type type,
                       const std::function<byt_Source()>& makeSource, std::uint64_t room);
