#include <UTI_ORXSimDynamicAPI/objects/hdf_Listing.h>

#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>

namespace {
template <class Container>
struct Listing {
  Container& found;
  std::uint64_t left;

  // No exception may pass through HDF5.
  template <class... Entry>
  herr_t Add(Entry... entry) {
    const auto insert = [&] {
      if (left-- == 0)
        return -1;
      found.insert(found.end(), typename Container::value_type{entry...});
      return 0;
    };
    return hdf_TryOr(insert, [] { return -1; });
  }
};
using Links = Listing<std::vector<hdf_Link>>;
using Names = Listing<std::set<std::string>>;

herr_t addLink(hid_t, const char* name, const H5L_info_t* info, void* links) {
  return static_cast<Links*>(links)->Add(name, info->type,
                                         info->type == H5L_TYPE_HARD ? info->u.address : HADDR_UNDEF);
}

herr_t addName(hid_t, const char* name, const H5A_info_t*, void* names) {
  return static_cast<Names*>(names)->Add(name);
}

bool copyAttributes(hid_t from, hid_t to) {
  std::set<std::string> names;
  if (!hdf_ListAttributes(from, names))
    return false;
  for (const std::string& name : names) {
    const hdf_AttributeHandle old(H5Aopen(from, name.c_str(), H5P_DEFAULT));
    const hdf_TypeHandle type(H5Aget_type(old.Get()));
    const hdf_SpaceHandle space(H5Aget_space(old.Get()));
    const hdf_AttributeHandle copy(
        H5Acreate2(to, name.c_str(), type.Get(), space.Get(), H5P_DEFAULT, H5P_DEFAULT));
    const hssize_t elements = H5Sget_simple_extent_npoints(space.Get());
    if (!copy.IsOpen() || elements < 0)
      return false;
    std::vector<unsigned char> bytes(static_cast<std::size_t>(elements) * H5Tget_size(type.Get()));
    const bool moved = H5Aread(old.Get(), type.Get(), bytes.data()) >= 0;
    const bool written = moved && H5Awrite(copy.Get(), type.Get(), bytes.data()) >= 0;
    if (moved && H5Tdetect_class(type.Get(), H5T_VLEN) + H5Tis_variable_str(type.Get()) > 0)
      H5Dvlen_reclaim(type.Get(), space.Get(), H5P_DEFAULT, bytes.data());
    if (!written)
      return false;
  }
  return true;
}
} // namespace

bool hdf_ListLinks(hid_t group, std::vector<hdf_Link>& links, std::uint64_t most) {
  Links listing{links, most};
  return H5Literate(group, H5_INDEX_NAME, H5_ITER_NATIVE, nullptr, &addLink, &listing) >= 0;
}

bool hdf_ListAttributes(hid_t object, std::set<std::string>& names, std::uint64_t most) {
  Names listing{names, most};
  return H5Aiterate2(object, H5_INDEX_NAME, H5_ITER_NATIVE, nullptr, &addName, &listing) >= 0;
}

bool hdf_ReadVariableText(hid_t attribute, hid_t type, std::string& text) {
  const hdf_SpaceHandle space(H5Aget_space(attribute));
  char* stored = nullptr;
  if (H5Aread(attribute, type, &stored) < 0)
    return false;
  text = stored == nullptr ? "" : stored;
  return H5Dvlen_reclaim(type, space.Get(), H5P_DEFAULT, &stored) >= 0;
}

bool hdf_CopyAttributes(hid_t from, hid_t to) {
  return hdf_TryOr([&] { return copyAttributes(from, to); }, [] { return false; });
}
