#pragma once

#include <UTI_ORXSimDynamicAPI/objects/hdf_Handle.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

/// A link of a group. Private to the module, as all that follows, which is for those who go through whole
/// files: each answers false when HDF5 fails or there is no memory, and what was found until then stays.
struct hdf_Link {
  std::string name;
  H5L_type_t type;
  haddr_t address; // of the object; HADDR_UNDEF unless the link is a hard one
};
/// The links of a group, after those in `links`.
/// \param most more of them are a failure: a damaged list may have no end.
bool hdf_ListLinks(hid_t group, std::vector<hdf_Link>& links, std::uint64_t most = UINT64_MAX);
/// The names of an object's attributes.
/// \param most as above.
bool hdf_ListAttributes(hid_t object, std::set<std::string>& names, std::uint64_t most = UINT64_MAX);
/// The text of an attribute that has one, of variable length.
/// \param type the attribute's.
bool hdf_ReadVariableText(hid_t attribute, hid_t type, std::string& text);
/// Gives `to`, which has none of them yet, the attributes of `from`.
bool hdf_CopyAttributes(hid_t from, hid_t to);
