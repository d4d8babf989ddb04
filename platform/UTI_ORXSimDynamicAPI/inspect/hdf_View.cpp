#include <UTI_ORXSimDynamicAPI/hdf_View.h>

#include <UTI_ORXSimDynamicAPI/inspect/hdf_Sink.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Handle.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>

#include <algorithm>
#include <unistd.h>
#include <utility>

namespace {
constexpr std::uint64_t kChunkBytes = std::uint64_t{1} << 20;
constexpr std::uint64_t kSmall = 4096; // bytes; not worth a chunk
constexpr unsigned kDeflate = 3;

using FileHandle = hdf_Handle<H5Fclose>;

int rankOf(const hdf_ViewShape& shape) {
  return shape.width > 1 || shape.table ? 2 : 1;
}

hdf_SpaceHandle spaceOf(std::uint64_t rows, std::uint64_t width, int rank) {
  const hsize_t dims[2] = {rows, width};
  return hdf_SpaceHandle(H5Screate_simple(rank, dims, nullptr));
}

bool select(const hdf_SpaceHandle& space, hsize_t first, hsize_t rows, hsize_t width) {
  const hsize_t start[2] = {first, 0}, count[2] = {rows, width};
  return H5Sselect_hyperslab(space.Get(), H5S_SELECT_SET, start, nullptr, count, nullptr) >= 0;
}

hdf_PropertiesHandle withGroups() {
  hdf_PropertiesHandle properties(H5Pcreate(H5P_LINK_CREATE));
  H5Pset_create_intermediate_group(properties.Get(), 1);
  H5Pset_char_encoding(properties.Get(), H5T_CSET_UTF8);
  return properties;
}

hdf_PropertiesHandle layoutOf(const hdf_ViewShape& shape) {
  hdf_PropertiesHandle properties(H5Pcreate(H5P_DATASET_CREATE));
  const hid_t type = hdf_NativeType(hdf_Datatype(shape.type));
  const std::uint64_t row = shape.width * H5Tget_size(type);
  H5Pset_fill_value(properties.Get(), H5T_NATIVE_DOUBLE, &shape.fill);
  if (shape.rows * row <= kSmall)
    return properties;
  const hsize_t chunk[2] = {std::clamp<std::uint64_t>(kChunkBytes / row, 1, shape.rows), shape.width};
  H5Pset_chunk(properties.Get(), rankOf(shape), chunk);
  H5Pset_shuffle(properties.Get());
  H5Pset_deflate(properties.Get(), kDeflate);
  return properties;
}

// HDF5 replaces what begins with "%" in the names of sources.
std::string escaped(const std::string& name) {
  std::string text;
  for (const char c : name)
    text += c == '%' ? std::string("%%") : std::string(1, c);
  return text;
}
std::string plain(std::string text) {
  for (std::size_t at = 0; (at = text.find("%%", at)) != std::string::npos; ++at)
    text.erase(at, 1);
  return text;
}

bool addPiece(hid_t properties, const hdf_ViewShape& shape, const hdf_ViewPiece& piece) {
  const hdf_SpaceHandle target = spaceOf(shape.rows, shape.width, rankOf(shape));
  const hdf_SpaceHandle source = spaceOf(piece.rows, piece.width, piece.width > 1 ? 2 : 1);
  const bool flat = shape.width == 1;
  const std::uint64_t filled = flat ? piece.count * piece.width : piece.count;
  return (flat || piece.width <= shape.width) && piece.from + piece.count <= piece.rows &&
         piece.target + filled <= shape.rows &&
         select(target, piece.target, filled, flat ? 1 : piece.width) &&
         select(source, piece.from, piece.count, piece.width) &&
         H5Pset_virtual(properties, target.Get(), escaped(piece.file).c_str(), piece.dataset.c_str(),
                        source.Get()) >= 0;
}

bool writeAttribute(hdf_Operation& operation, hid_t file, const std::string& group, const char* name,
                    hid_t type, const hdf_SpaceHandle& space, const void* value) {
  const hdf_AttributeHandle attribute(
      H5Acreate_by_name(file, group.c_str(), name, type, space.Get(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
  return operation.Check(attribute.Get()) && operation.Check(H5Awrite(attribute.Get(), type, value));
}

bool makeDataset(hdf_Operation& operation, hid_t file, const std::string& path, const hdf_ViewShape& shape,
                 const hdf_PropertiesHandle& layout) {
  const hdf_PropertiesHandle links = withGroups();
  const hdf_SpaceHandle space = spaceOf(shape.rows, shape.width, rankOf(shape));
  const hdf_DatasetHandle dataset(H5Dcreate2(file, path.c_str(), hdf_NativeType(hdf_Datatype(shape.type)),
                                             space.Get(), links.Get(), layout.Get(), H5P_DEFAULT));
  return operation.Check(dataset.Get());
}

FileHandle openToRead(const cow_String& fileName) {
  return FileHandle(H5Fopen(fileName.CStr(), H5F_ACC_RDONLY, H5P_DEFAULT));
}

// Adds the sources of one object if it is a virtual dataset.
herr_t addSources(hid_t root, const char* name, const H5O_info_t* info, void* data) {
  if (info->type != H5O_TYPE_DATASET)
    return 0;
  const hdf_DatasetHandle dataset(H5Dopen2(root, name, H5P_DEFAULT));
  const hdf_PropertiesHandle properties(H5Dget_create_plist(dataset.Get()));
  std::size_t count = 0;
  if (!properties.IsOpen())
    return -1;
  if (H5Pget_layout(properties.Get()) != H5D_VIRTUAL)
    return 0;
  if (H5Pget_virtual_count(properties.Get(), &count) < 0)
    return -1;
  for (std::size_t i = 0; i < count; ++i) {
    const ssize_t file = H5Pget_virtual_filename(properties.Get(), i, nullptr, 0);
    const ssize_t path = H5Pget_virtual_dsetname(properties.Get(), i, nullptr, 0);
    if (file < 0 || path < 0)
      return -1;
    std::string texts[2] = {std::string(static_cast<std::size_t>(file), '\0'),
                            std::string(static_cast<std::size_t>(path), '\0')};
    H5Pget_virtual_filename(properties.Get(), i, texts[0].data(), texts[0].size() + 1);
    H5Pget_virtual_dsetname(properties.Get(), i, texts[1].data(), texts[1].size() + 1);
    static_cast<std::vector<hdf_View::Source>*>(data)->push_back({plain(texts[0]), plain(texts[1])});
  }
  return 0;
}

} // namespace

// Every call: nothing more after the first failure.
template <class Work>
bool hdf_View::Do(const char* what, Work work) {
  return hdf_Try(false, [&] {
    hdf_Operation operation(what, m_shown.c_str());
    if (m_failed)
      return operation.Refuse("an earlier call has failed");
    m_failed = true; // also when memory lacks
    m_failed = !work(operation) || (m_error != 0 && !operation.RefuseErrno(m_error));
    return !m_failed;
  });
}

hdf_View::hdf_View(const cow_String& fileName, const cow_String& shownAs)
    : m_name(fileName.CStr()), m_shown(shownAs.Empty() ? m_name : std::string(shownAs.CStr())) {
  Do("create", [&](hdf_Operation& operation) {
    const hdf_PropertiesHandle access(H5Pcreate(H5P_FILE_ACCESS));
    if (!operation.Check(hdf_UseSink(access.Get(), &m_error)))
      return false;
    m_file = H5Fcreate(m_name.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, access.Get());
    return m_file >= 0 || (m_error != 0 ? operation.RefuseErrno(m_error) : operation.Check(m_file));
  });
}

hdf_View::~hdf_View() {
  const hdf_Silence silence;
  if (m_file < 0)
    return;
  H5Fclose(m_file);
  ::unlink(m_name.c_str());
}

bool hdf_View::Group(const std::string& path) {
  return Do("create group", [&](hdf_Operation& operation) {
    const hdf_PropertiesHandle links = withGroups();
    const hdf_GroupHandle group(H5Gcreate2(m_file, path.c_str(), links.Get(), H5P_DEFAULT, H5P_DEFAULT));
    return operation.Check(group.Get());
  });
}

bool hdf_View::Text(const std::string& group, const char* name, const std::string& text) {
  return Do("write attribute", [&](hdf_Operation& operation) {
    const hdf_TypeHandle type(H5Tcopy(H5T_C_S1));
    H5Tset_size(type.Get(), std::max<std::size_t>(text.size(), 1));
    H5Tset_strpad(type.Get(), H5T_STR_NULLPAD);
    return writeAttribute(operation, m_file, group, name, type.Get(), hdf_SpaceHandle(H5Screate(H5S_SCALAR)),
                          text.c_str());
  });
}

bool hdf_View::Numbers(const std::string& group, const char* name, std::span<const std::int64_t> numbers,
                       bool scalar) {
  return Do("write attribute", [&](hdf_Operation& operation) {
    return writeAttribute(operation, m_file, group, name, H5T_NATIVE_INT64,
                          scalar ? hdf_SpaceHandle(H5Screate(H5S_SCALAR)) : spaceOf(numbers.size(), 1, 1),
                          numbers.data());
  });
}

bool hdf_View::Create(const std::string& path, const hdf_ViewShape& shape) {
  return Do("create dataset", [&](hdf_Operation& operation) {
    return makeDataset(operation, m_file, path, shape, layoutOf(shape));
  });
}

bool hdf_View::Write(const std::string& path, std::uint64_t first, std::uint64_t count, const void* values) {
  return Do("write dataset", [&](hdf_Operation& operation) {
    const hdf_DatasetHandle dataset(H5Dopen2(m_file, path.c_str(), H5P_DEFAULT));
    if (!operation.Check(dataset.Get()) || count == 0)
      return dataset.IsOpen();
    const hdf_SpaceHandle space(H5Dget_space(dataset.Get()));
    hsize_t dims[H5S_MAX_RANK] = {0, 1};
    const int rank = H5Sget_simple_extent_dims(space.Get(), dims, nullptr);
    const hdf_SpaceHandle memory = spaceOf(count, dims[1], rank);
    const hdf_TypeHandle stored(H5Dget_type(dataset.Get()));
    return operation.Check(select(space, first, count, dims[1]) ? 0 : -1) &&
           operation.Check(
               H5Dwrite(dataset.Get(), stored.Get(), memory.Get(), space.Get(), H5P_DEFAULT, values));
  });
}

bool hdf_View::Map(const std::string& path, const hdf_ViewShape& shape,
                   std::span<const hdf_ViewPiece> pieces) {
  return Do("create virtual dataset", [&](hdf_Operation& operation) {
    const hdf_PropertiesHandle layout(H5Pcreate(H5P_DATASET_CREATE));
    H5Pset_fill_value(layout.Get(), H5T_NATIVE_DOUBLE, &shape.fill);
    for (const hdf_ViewPiece& piece : pieces)
      if (piece.count > 0 && !operation.Check(addPiece(layout.Get(), shape, piece) ? 0 : -1))
        return false;
    return makeDataset(operation, m_file, path, shape, layout);
  });
}

bool hdf_View::Finish() {
  return Do("finish", [&](hdf_Operation& operation) {
    const hid_t file = std::exchange(m_file, -1);
    if (operation.Check(H5Fclose(file)) && m_error == 0)
      return true;
    ::unlink(m_name.c_str());
    return m_error != 0 && operation.RefuseErrno(m_error);
  });
}

bool hdf_View::Sources(const cow_String& fileName, std::vector<Source>& sources) {
  hdf_Operation operation("read", fileName.CStr());
  sources.clear();
  const FileHandle file = openToRead(fileName);
  if (!operation.Check(file.Get()) || !operation.Check(H5Ovisit2(file.Get(), H5_INDEX_NAME, H5_ITER_NATIVE,
                                                                 addSources, &sources, H5O_INFO_BASIC)))
    return false;
  std::sort(sources.begin(), sources.end());
  sources.erase(std::unique(sources.begin(), sources.end()), sources.end());
  return true;
}

bool hdf_View::Has(const cow_String& fileName, const char* group) {
  const hdf_Silence silence;
  const FileHandle file = openToRead(fileName);
  return file.IsOpen() && hdf_GroupHandle(H5Gopen2(file.Get(), group, H5P_DEFAULT)).IsOpen();
}
