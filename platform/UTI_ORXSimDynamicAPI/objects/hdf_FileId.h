#pragma once

#include <H5Journal/journal/vfd_Format.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Context.h>

/// The 16 random bytes that a file gets when it is made: the attribute "file_id" of its root group. They tie
/// a journal to its file. Private to the module.
bool hdf_CreateFileId(hdf_Operation& operation, hid_t file, vfd_FileId& id);
/// Zeros where the file has none, as files of other programs.
vfd_FileId hdf_ReadFileId(hid_t file);
