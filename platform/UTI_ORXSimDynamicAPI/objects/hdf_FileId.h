#pragma once

#include <UTI_ORXSimDynamicAPI/objects/hdf_Context.h>

#include <array>

using hdf_FileIdBytes = std::array<unsigned char, 16>;

/// The 16 random bytes that a file gets when it is made: the attribute "file_id" of its root group. They tie
/// a journal to its file. Private to the module.
bool hdf_CreateFileId(hdf_Operation& operation, hid_t file, hdf_FileIdBytes& id);
/// Zeros where the file has none, as files of other programs.
hdf_FileIdBytes hdf_ReadFileId(hid_t file);
