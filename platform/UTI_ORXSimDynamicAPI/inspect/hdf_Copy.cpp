#include <UTI_ORXSimDynamicAPI/inspect/hdf_Copy.h>

#include <UTI_ORXSimDynamicAPI/inspect/hdf_Chunks.h>
#include <UTI_ORXSimDynamicAPI/inspect/hdf_Walk.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Listing.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

#include <cstring>

namespace {
bool sameProperties(hid_t a, hid_t b) {
  const hdf_PropertiesHandle first(H5Dget_create_plist(a)), second(H5Dget_create_plist(b));
  hsize_t chunkA[H5S_MAX_RANK] = {}, chunkB[H5S_MAX_RANK] = {};
  const H5D_layout_t layout = H5Pget_layout(first.Get());
  if (layout != H5Pget_layout(second.Get()) || H5Pget_nfilters(first.Get()) != H5Pget_nfilters(second.Get()))
    return false;
  return layout != H5D_CHUNKED || (H5Pget_chunk(first.Get(), H5S_MAX_RANK, chunkA) ==
                                       H5Pget_chunk(second.Get(), H5S_MAX_RANK, chunkB) &&
                                   std::memcmp(chunkA, chunkB, sizeof chunkA) == 0);
}

// One whose attributes never come has a smaller header.
hdf_PropertiesHandle creationOf(hid_t dataset) {
  hdf_PropertiesHandle properties(H5Dget_create_plist(dataset));
#if H5_VERSION_GE(1, 10, 5)
  H5O_info_t info;
  if (H5Oget_info2(dataset, &info, H5O_INFO_NUM_ATTRS) >= 0 && info.num_attrs == 0)
    H5Pset_dset_no_attrs_hint(properties.Get(), true);
#endif
  return properties;
}
} // namespace

bool hdf_Copy::Differs(const std::string& what) {
  return m_operation.Refuse("the copy differs: " + what);
}

bool hdf_Copy::Run(hid_t from, hid_t to) {
  return Group(from, to, 0);
}

bool hdf_Copy::Group(hid_t from, hid_t to, int depth) {
  std::vector<hdf_Link> links, copied;
  if (!Attributes(from, to, depth == 0))
    return false;
  if (!hdf_ListLinks(from, links))
    return m_operation.Check(-1);
  for (const hdf_Link& link : links)
    if (link.type != H5L_TYPE_HARD)
      return m_operation.Refuse("a link that is not a hard one cannot be copied");
  std::erase_if(links, [&](const hdf_Link& link) { return m_leftOut.contains(m_path + '/' + link.name); });
  const std::size_t length = m_path.size();
  for (const hdf_Link& link : links) {
    m_path += '/' + link.name;
    if (!Child(from, to, link.name, depth + 1))
      return false;
    m_path.resize(length);
  }
  if (m_work == kCopy)
    return true;
  return hdf_ListLinks(to, copied) ? copied.size() == links.size() || Differs("its number of links")
                                   : m_operation.Check(-1);
}

bool hdf_Copy::Child(hid_t from, hid_t to, const std::string& name, int depth) {
  m_operation.At(from, name.c_str());
  H5O_info_t info;
  const hdf_Handle<H5Oclose> child(H5Oopen(from, name.c_str(), H5P_DEFAULT));
  if (!m_operation.Check(child.Get()) || !m_operation.Check(H5Oget_info2(child.Get(), &info, H5O_INFO_BASIC)))
    return false;
  m_operation.At(child.Get());
  if (depth > hdf_Walk::kDeepest || !m_visited.insert(info.addr).second)
    return m_operation.Refuse("an object with two names cannot be copied");
  if (info.type == H5O_TYPE_GROUP)
    return ChildGroup(child.Get(), to, name.c_str(), depth);
  return info.type == H5O_TYPE_DATASET ? ChildDataset(child.Get(), to, name.c_str())
                                       : m_operation.Refuse("neither a group nor a dataset");
}

bool hdf_Copy::ChildGroup(hid_t from, hid_t to, const char* name, int depth) {
  const hdf_GroupHandle group(m_work == kCopy
                                  ? H5Gcreate2(to, name, H5P_DEFAULT, hdf_Shared::Get().Group(), H5P_DEFAULT)
                                  : H5Gopen2(to, name, H5P_DEFAULT));
  return m_operation.Check(group.Get()) && Group(from, group.Get(), depth);
}

bool hdf_Copy::ChildDataset(hid_t from, hid_t to, const char* name) {
  const hdf_TypeHandle type(H5Dget_type(from));
  const hdf_SpaceHandle space(H5Dget_space(from));
  if (!m_operation.Check(type.Get()) || !m_operation.Check(space.Get()) || !Movable(type.Get(), false))
    return false;
  if (m_work == kCompare) {
    const hdf_DatasetHandle copy(H5Dopen2(to, name, H5P_DEFAULT));
    return m_operation.Check(copy.Get()) && SameShape(from, copy.Get()) &&
           Attributes(from, copy.Get(), false) && Data(from, copy.Get());
  }
  const hdf_PropertiesHandle properties = creationOf(from);
  if (H5Pget_layout(properties.Get()) == H5D_VIRTUAL || H5Pget_external_count(properties.Get()) != 0)
    return m_operation.Refuse("the data lies in another file, which is not followed");
  const hdf_DatasetHandle copy(
      H5Dcreate2(to, name, type.Get(), space.Get(), H5P_DEFAULT, properties.Get(), H5P_DEFAULT));
  return m_operation.Check(copy.Get()) && Attributes(from, copy.Get(), false) && Data(from, copy.Get());
}

bool hdf_Copy::SameShape(hid_t from, hid_t to) {
  const hdf_TypeHandle first(H5Dget_type(from)), second(H5Dget_type(to));
  const hdf_SpaceHandle here(H5Dget_space(from)), there(H5Dget_space(to));
  return (H5Tequal(first.Get(), second.Get()) > 0 && H5Sextent_equal(here.Get(), there.Get()) > 0 &&
          sameProperties(from, to)) ||
         Differs("its type, shape or layout");
}

// What is not plain bytes cannot be moved as such.
bool hdf_Copy::Movable(hid_t type, bool mayBeText) {
  if (H5Tdetect_class(type, H5T_REFERENCE) > 0 || H5Tdetect_class(type, H5T_VLEN) > 0)
    return m_operation.Refuse("references and data of variable length cannot be copied");
  return H5Tis_variable_str(type) <= 0 || mayBeText ||
         m_operation.Refuse("texts of variable length cannot be copied");
}

// Reads a piece of the first file, then writes it to the second or holds it against that.
bool hdf_Copy::MoveBlock(hid_t from, hid_t to, std::size_t bytes,
                         const std::function<bool(hid_t, void*)>& read,
                         const std::function<bool(const void*)>& write) {
  m_first.resize(bytes);
  m_second.resize(bytes);
  const bool moved =
      read(from, m_first.data()) && (m_work == kCopy ? write(m_first.data()) : read(to, m_second.data()));
  if (!moved)
    return m_operation.Check(-1);
  return m_work == kCopy || m_first == m_second || Differs("its content");
}

// What was never written is not read, which would make zeros of it, and stays so.
bool hdf_Copy::Data(hid_t from, hid_t to) {
  const hdf_TypeHandle type(H5Dget_type(from));
  hdf_Chunks written, there;
  if (!written.Find(from) || (m_work == kCompare && !there.Find(to)))
    return m_operation.Refuse("which of its data was written cannot be told");
  if (m_work == kCompare && !written.SameAs(there))
    return Differs("which of its chunks are written");
  bool reported = false;
  const bool moved = written.ForEachBlock([&](const hdf_Block& block) {
    const hid_t memory = block.memory.Get(), file = block.file.Get();
    const bool good = MoveBlock(
        from, to, block.bytes,
        [&](hid_t data, void* bytes) {
          return H5Dread(data, type.Get(), memory, file, H5P_DEFAULT, bytes) >= 0;
        },
        [&](const void* bytes) { return H5Dwrite(to, type.Get(), memory, file, H5P_DEFAULT, bytes) >= 0; });
    reported = !good;
    if (m_moved)
      m_moved(block.bytes);
    return good;
  });
  return moved || reported ? moved : m_operation.Check(-1);
}

bool hdf_Copy::Attributes(hid_t from, hid_t to, bool root) {
  std::set<std::string> names, copied;
  m_operation.At(from);
  if (!hdf_ListAttributes(from, names))
    return m_operation.Check(-1);
  for (const std::string& name : names)
    if (!(root && m_skipped.contains(name)) && !Attribute(from, to, name.c_str()))
      return false;
  if (m_work == kCopy)
    return true;
  if (!hdf_ListAttributes(to, copied))
    return m_operation.Check(-1);
  if (root)
    names.insert(m_skipped.begin(), m_skipped.end());
  return copied == names || Differs("its attributes");
}

bool hdf_Copy::Attribute(hid_t from, hid_t to, const char* name) {
  const hdf_AttributeHandle first(H5Aopen(from, name, H5P_DEFAULT));
  const hdf_TypeHandle type(first.IsOpen() ? H5Aget_type(first.Get()) : H5I_INVALID_HID);
  const hdf_SpaceHandle space(first.IsOpen() ? H5Aget_space(first.Get()) : H5I_INVALID_HID);
  if (!m_operation.Check(type.Get()) || !m_operation.Check(space.Get()))
    return false;
  const hssize_t elements = H5Sget_simple_extent_npoints(space.Get());
  if (!Movable(type.Get(), elements == 1))
    return false;
  const hdf_AttributeHandle second(
      m_work == kCopy ? H5Acreate2(to, name, type.Get(), space.Get(), H5P_DEFAULT, H5P_DEFAULT)
                      : H5Aopen(to, name, H5P_DEFAULT));
  if (!m_operation.Check(second.Get()))
    return false;
  if (m_work == kCompare) {
    const hdf_TypeHandle typeThere(H5Aget_type(second.Get()));
    const hdf_SpaceHandle spaceThere(H5Aget_space(second.Get()));
    if (H5Tequal(type.Get(), typeThere.Get()) <= 0 || H5Sextent_equal(space.Get(), spaceThere.Get()) <= 0)
      return Differs(std::string("attribute '") + name + "'");
  }
  if (H5Tis_variable_str(type.Get()) > 0)
    return Text(first.Get(), second.Get(), type.Get());
  return MoveBlock(
      first.Get(), second.Get(), static_cast<std::size_t>(elements) * H5Tget_size(type.Get()),
      [&](hid_t attribute, void* bytes) { return H5Aread(attribute, type.Get(), bytes) >= 0; },
      [&](const void* bytes) { return H5Awrite(second.Get(), type.Get(), bytes) >= 0; });
}

bool hdf_Copy::Text(hid_t from, hid_t to, hid_t type) {
  std::string text, copied;
  if (!hdf_ReadVariableText(from, type, text))
    return m_operation.Check(-1);
  const char* const written = text.c_str();
  if (m_work == kCopy)
    return m_operation.Check(H5Awrite(to, type, &written));
  return hdf_ReadVariableText(to, type, copied) ? text == copied || Differs("a text") : m_operation.Check(-1);
}
