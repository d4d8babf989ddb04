#include <UTI_ORXSimDynamicAPI/hdf_Foreign.h>

#include <UTI_ORXSimDynamicAPI/objects/hdf_Listing.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

#include <algorithm>

struct hdf_ForeignFile::Opened {
  explicit Opened(hid_t opened) : file(opened) {}
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;
  ~Opened() {
    const hdf_Silence silence;
    H5Fclose(file);
  }
  hid_t file;
};

namespace {
using ObjectHandle = hdf_Handle<H5Oclose>;

// More links, and more attribute elements, than any file has of which we know.
constexpr std::uint64_t kMostLinks = 1000000, kMostElements = 1000000;

hid_t openPlainly(const std::string& path) {
  const hdf_PropertiesHandle access(H5Pcreate(H5P_FILE_ACCESS));
  H5Pset_fclose_degree(access.Get(), H5F_CLOSE_STRONG);
  return H5Fopen(path.c_str(), H5F_ACC_RDONLY, access.Get());
}

/// Goes along hard links. A path that leads nowhere gives a closed handle.
/// \return false when HDF5 failed.
bool find(hdf_Operation& operation, hid_t file, const std::string& path, ObjectHandle& found) {
  found = ObjectHandle(H5Oopen(file, "/", H5P_DEFAULT));
  for (std::size_t at = 0; operation.Check(found.Get()); ++at) {
    at = path.find_first_not_of('/', at);
    if (at == std::string::npos)
      return true;
    const std::size_t end = std::min(path.find('/', at), path.size());
    const std::string name = path.substr(at, end - at);
    haddr_t address = HADDR_UNDEF;
    if (H5Iget_type(found.Get()) != H5I_GROUP || name == "." ||
        !hdf_FindHardLink(operation, found.Get(), name.c_str(), address) || address == HADDR_UNDEF) {
      found = ObjectHandle();
      return !operation.Failed();
    }
    found = ObjectHandle(H5Oopen(found.Get(), name.c_str(), H5P_DEFAULT));
    at = end - 1;
  }
  return false;
}

bool require(hdf_Operation& operation, hid_t file, const std::string& path, H5I_type_t kind,
             ObjectHandle& found) {
  if (!find(operation, file, path, found))
    return false;
  return (found.IsOpen() && (kind == H5I_BADID || H5Iget_type(found.Get()) == kind)) ||
         operation.Refuse(kind == H5I_DATASET ? "expected a dataset, found none"
                          : kind == H5I_GROUP ? "expected a group, found none"
                                              : "expected an object, found none");
}

/// An open dataset or attribute: what its elements are made of.
struct Elements {
  hdf_TypeHandle type, base; // base: of the elements of an array
  hdf_SpaceHandle space;
  hdf_StoredType stored; // of base
  hdf_ForeignShape shape;
  std::size_t inner = 1, outerRank = 0; // numbers in an element
};

bool takeArray(Elements& elements) {
  hsize_t dims[H5S_MAX_RANK];
  const int rank = H5Tget_array_ndims(elements.type.Get());
  if (rank < 1 || rank > H5S_MAX_RANK || H5Tget_array_dims2(elements.type.Get(), dims) < 0)
    return false;
  elements.base = hdf_TypeHandle(H5Tget_super(elements.type.Get()));
  for (int i = 0; i < rank; ++i) {
    elements.shape.dims.push_back(dims[i]);
    if (__builtin_mul_overflow(elements.inner, dims[i], &elements.inner))
      return false;
  }
  return elements.base.IsOpen() && elements.inner > 0;
}

bool inspect(hdf_Operation& operation, Elements& elements) {
  if (!operation.Check(elements.type.Get()) || !operation.Check(elements.space.Get()))
    return false;
  const H5S_class_t extent = H5Sget_simple_extent_type(elements.space.Get());
  hsize_t dims[H5S_MAX_RANK];
  const int rank = H5Sget_simple_extent_dims(elements.space.Get(), dims, nullptr);
  if (extent == H5S_NULL || rank < 0)
    return operation.Refuse("a shape that is not supported");
  elements.outerRank = static_cast<std::size_t>(rank);
  elements.shape.dims.assign(dims, dims + rank);
  if (H5Tget_class(elements.type.Get()) == H5T_ARRAY) {
    if (!takeArray(elements))
      return operation.Refuse("elements of a type that is not supported");
  } else {
    elements.base = hdf_TypeHandle(H5Tcopy(elements.type.Get()));
  }
  elements.stored = hdf_StoredType::Of(elements.base.Get());
  elements.shape.bytes = static_cast<int>(std::min<std::size_t>(elements.stored.size, INT32_MAX));
  const bool text = elements.stored.family == H5T_STRING && H5Tis_variable_str(elements.base.Get()) == 0;
  elements.shape.type = elements.stored.family == H5T_INTEGER ? hdf_ForeignType::kInteger
                        : elements.stored.family == H5T_FLOAT ? hdf_ForeignType::kFloat
                        : text                                ? hdf_ForeignType::kText
                                                              : hdf_ForeignType::kOther;
  return elements.stored.size > 0 || operation.Refuse("elements of no size");
}

/// Opens a dataset all of whose bytes can be in this file.
bool openDataset(hdf_Operation& operation, hid_t file, const std::string& path, ObjectHandle& dataset,
                 Elements& elements) {
  if (!require(operation, file, path, H5I_DATASET, dataset))
    return false;
  const hdf_PropertiesHandle properties(H5Dget_create_plist(dataset.Get()));
  if (!operation.Check(properties.Get()))
    return false;
  if (H5Pget_layout(properties.Get()) == H5D_VIRTUAL || H5Pget_external_count(properties.Get()) != 0)
    return operation.Refuse("the data lies in another file, which is not followed");
  elements.type = hdf_TypeHandle(H5Dget_type(dataset.Get()));
  elements.space = hdf_SpaceHandle(H5Dget_space(dataset.Get()));
  if (!inspect(operation, elements))
    return false;
  hsize_t fileBytes = 0;
  std::uint64_t bytes = 0;
  const bool filtered = H5Pget_nfilters(properties.Get()) > 0;
  if (!operation.Check(H5Fget_filesize(file, &fileBytes)))
    return false;
  return (!__builtin_mul_overflow(elements.shape.Elements(), elements.stored.size, &bytes) &&
          bytes / (filtered ? kHdfLargestExpansion : 1) <= fileBytes) ||
         operation.Refuse("larger than what the file can hold");
}

/// The type in memory under which elements are read, and how.
struct Road {
  hdf_TypeHandle made; // of arrays
  hid_t memory = H5I_INVALID_HID, transfer = H5P_DEFAULT;
};

bool findRoad(hdf_Operation& operation, const Elements& elements, hdf_Datatype type, Road& road) {
  const bool isReal = type.Which() == hdf_Datatype::kDouble || type.Which() == hdf_Datatype::kFloat;
  if (elements.stored.family == H5T_INTEGER && isReal) {
    road.memory = type.Which() == hdf_Datatype::kDouble ? H5T_NATIVE_DOUBLE : H5T_NATIVE_FLOAT;
  } else {
    const hdf_StoredType::Road direct = elements.stored.Read(type);
    road.memory = direct.memory;
    road.transfer = direct.checked ? hdf_Shared::Get().ExactTransfer() : H5P_DEFAULT;
  }
  if (road.memory < 0)
    return operation.Refuse("the dataset has another type");
  if (elements.shape.dims.size() == elements.outerRank)
    return true;
  std::vector<hsize_t> inner(elements.shape.dims.begin() + static_cast<std::ptrdiff_t>(elements.outerRank),
                             elements.shape.dims.end());
  road.made =
      hdf_TypeHandle(H5Tarray_create2(road.memory, static_cast<unsigned>(inner.size()), inner.data()));
  road.memory = road.made.Get();
  return operation.Check(road.memory);
}

bool selectPart(hdf_Operation& operation, const Elements& elements, const hdf_ForeignPart& part) {
  const std::size_t rank = elements.shape.dims.size();
  if (rank != elements.outerRank || rank == 0 || part.start.size() != rank || part.stride.size() != rank ||
      part.count.size() != rank)
    return operation.Refuse("the part has another rank than the dataset");
  for (std::size_t i = 0; i < rank; ++i) {
    std::uint64_t last = 0;
    const bool fits = part.count[i] > 0 && part.stride[i] > 0 &&
                      !__builtin_mul_overflow(part.count[i] - 1, part.stride[i], &last) &&
                      !__builtin_add_overflow(last, part.start[i], &last) && last < elements.shape.dims[i];
    if (!fits)
      return operation.Refuse("the part reaches outside of the dataset");
  }
  const std::vector<hsize_t> start(part.start.begin(), part.start.end()),
      stride(part.stride.begin(), part.stride.end()), count(part.count.begin(), part.count.end());
  return operation.Check(H5Sselect_hyperslab(elements.space.Get(), H5S_SELECT_SET, start.data(),
                                             stride.data(), count.data(), nullptr));
}

bool readElements(hdf_Operation& operation, hid_t file, const std::string& path, hdf_Datatype type,
                  const hdf_ForeignPart* part, void* data) {
  ObjectHandle dataset;
  Elements elements;
  Road road;
  if (!openDataset(operation, file, path, dataset, elements) || !findRoad(operation, elements, type, road))
    return false;
  if (part == nullptr)
    return elements.shape.Elements() == 0 ||
           operation.Check(H5Dread(dataset.Get(), road.memory, H5S_ALL, H5S_ALL, road.transfer, data));
  if (!selectPart(operation, elements, *part))
    return false;
  const auto selected = H5Sget_select_npoints(elements.space.Get());
  const hid_t memory = hdf_Shared::Get().Line(static_cast<std::uint64_t>(std::max<hssize_t>(selected, 0)));
  return operation.Check(
      H5Dread(dataset.Get(), road.memory, memory, elements.space.Get(), road.transfer, data));
}

std::string trimmed(const char* bytes, std::size_t size) {
  std::string text(bytes, std::find(bytes, bytes + size, '\0'));
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

bool readTexts(hdf_Operation& operation, hid_t file, const std::string& path,
               std::vector<std::string>& texts) {
  ObjectHandle dataset;
  Elements elements;
  if (!openDataset(operation, file, path, dataset, elements))
    return false;
  const std::uint64_t all = elements.shape.Elements();
  std::uint64_t width = elements.stored.size;
  if (elements.shape.type == hdf_ForeignType::kInteger && width == 1 && !elements.shape.dims.empty())
    width = elements.shape.dims.back();
  else if (elements.shape.type != hdf_ForeignType::kText || elements.inner != 1)
    return operation.Refuse("expected texts of a fixed length, found something else");
  if (all == 0 || width == 0)
    return true;
  std::vector<char> bytes(all * elements.stored.size);
  if (!operation.Check(
          H5Dread(dataset.Get(), elements.type.Get(), H5S_ALL, H5S_ALL, H5P_DEFAULT, bytes.data())))
    return false;
  for (std::size_t at = 0; at + width <= bytes.size(); at += width)
    texts.push_back(trimmed(bytes.data() + at, width));
  return true;
}

bool readAttribute(hdf_Operation& operation, hid_t object, const std::string& name,
                   hdf_ForeignAttribute& attribute) {
  const htri_t there = H5Aexists(object, name.c_str());
  if (!operation.Check(there))
    return false;
  if (there == 0)
    return operation.Refuse("expected an attribute of that name, found none");
  const hdf_AttributeHandle opened(H5Aopen(object, name.c_str(), H5P_DEFAULT));
  Elements elements;
  elements.type = hdf_TypeHandle(H5Aget_type(opened.Get()));
  elements.space = hdf_SpaceHandle(H5Aget_space(opened.Get()));
  if (!inspect(operation, elements))
    return false;
  const std::uint64_t count = elements.shape.Elements();
  const auto read = [&](hid_t type, void* data) {
    return count == 0 || operation.Check(H5Aread(opened.Get(), type, data));
  };
  if (H5Tis_variable_str(elements.base.Get()) > 0 && count == 1 && elements.inner == 1)
    return operation.Check(hdf_ReadVariableText(opened.Get(), elements.type.Get(), attribute.text) ? 0 : -1);
  if (count > kMostElements || elements.inner != 1 || elements.stored.size > kMostElements)
    return operation.Refuse("an attribute that is not supported");
  switch (elements.shape.type) {
  case hdf_ForeignType::kInteger:
    attribute.integers.resize(count);
    return read(H5T_NATIVE_INT64, attribute.integers.data());
  case hdf_ForeignType::kFloat:
    attribute.reals.resize(count);
    return read(H5T_NATIVE_DOUBLE, attribute.reals.data());
  case hdf_ForeignType::kText: {
    std::vector<char> bytes(elements.stored.size);
    if (count != 1 || !read(elements.type.Get(), bytes.data()))
      return count == 0 || operation.Refuse("an attribute that is not supported");
    attribute.text = trimmed(bytes.data(), bytes.size());
    return true;
  }
  case hdf_ForeignType::kOther:
    break;
  }
  return operation.Refuse("an attribute that is not supported");
}

bool listLinks(hdf_Operation& operation, hid_t file, const std::string& path,
               std::vector<std::string>& names) {
  ObjectHandle group;
  std::vector<hdf_Link> links;
  if (!require(operation, file, path, H5I_GROUP, group) ||
      !operation.Check(hdf_ListLinks(group.Get(), links, kMostLinks) ? 0 : -1))
    return false;
  for (hdf_Link& link : links)
    names.push_back(std::move(link.name));
  std::sort(names.begin(), names.end());
  return true;
}

/// One call on the file; HDF5 is silent during `work`.
template <class Work>
bool call(const char* what, const std::string& path, const std::string& object, Work work) {
  return hdf_Try(false, [&] {
    hdf_Operation operation(what, path.c_str());
    operation.At(H5I_INVALID_HID, object.c_str());
    return work(operation);
  });
}
} // namespace

std::uint64_t hdf_ForeignShape::Elements() const {
  std::uint64_t elements = 1;
  for (const std::uint64_t extent : dims)
    if (__builtin_mul_overflow(elements, extent, &elements))
      return UINT64_MAX;
  return elements;
}

hdf_ForeignFile::hdf_ForeignFile(const std::string& path) : m_path(path) {
  call("open for reading", path, "", [&](hdf_Operation& operation) {
    const hid_t file = openPlainly(path);
    return operation.Check(file) && (m_file = std::make_shared<const Opened>(file)) != nullptr;
  });
}

hdf_ForeignKind hdf_ForeignFile::Look(const std::string& object) const {
  ObjectHandle found;
  H5I_type_t kind = H5I_BADID;
  call("look", m_path, object, [&](hdf_Operation& operation) {
    if (m_file != nullptr && find(operation, m_file->file, object, found) && found.IsOpen())
      kind = H5Iget_type(found.Get());
    found = ObjectHandle();
    return true;
  });
  return kind == H5I_GROUP     ? hdf_ForeignKind::kGroup
         : kind == H5I_DATASET ? hdf_ForeignKind::kDataset
                               : hdf_ForeignKind::kMissing;
}

bool hdf_ForeignFile::Links(const std::string& group, std::vector<std::string>& names) const {
  return call("list", m_path, group, [&](hdf_Operation& operation) {
    return m_file != nullptr && listLinks(operation, m_file->file, group, names);
  });
}

bool hdf_ForeignFile::Shape(const std::string& dataset, hdf_ForeignShape& shape) const {
  return call("open dataset", m_path, dataset, [&](hdf_Operation& operation) {
    ObjectHandle found;
    Elements elements;
    if (m_file == nullptr || !openDataset(operation, m_file->file, dataset, found, elements))
      return false;
    shape = elements.shape;
    return true;
  });
}

bool hdf_ForeignFile::Read(const std::string& dataset, hdf_Datatype type, void* data) const {
  return call("read dataset", m_path, dataset, [&](hdf_Operation& operation) {
    return m_file != nullptr && readElements(operation, m_file->file, dataset, type, nullptr, data);
  });
}

bool hdf_ForeignFile::Read(const std::string& dataset, hdf_Datatype type, const hdf_ForeignPart& part,
                           void* data) const {
  return call("read dataset", m_path, dataset, [&](hdf_Operation& operation) {
    return m_file != nullptr && readElements(operation, m_file->file, dataset, type, &part, data);
  });
}

bool hdf_ForeignFile::Texts(const std::string& dataset, std::vector<std::string>& texts) const {
  return call("read texts", m_path, dataset, [&](hdf_Operation& operation) {
    return m_file != nullptr && readTexts(operation, m_file->file, dataset, texts);
  });
}

bool hdf_ForeignFile::HasAttribute(const std::string& object, const std::string& name) const {
  bool has = false;
  call("look", m_path, object, [&](hdf_Operation& operation) {
    ObjectHandle found;
    has = m_file != nullptr && find(operation, m_file->file, object, found) && found.IsOpen() &&
          H5Aexists(found.Get(), name.c_str()) > 0;
    return true;
  });
  return has;
}

bool hdf_ForeignFile::Attribute(const std::string& object, const std::string& name,
                                hdf_ForeignAttribute& attribute) const {
  const std::string place = object + (object.empty() ? "" : ": ") + name;
  return call("read attribute", m_path, place, [&](hdf_Operation& operation) {
    ObjectHandle found;
    return m_file != nullptr && require(operation, m_file->file, object, H5I_BADID, found) &&
           readAttribute(operation, found.Get(), name, attribute);
  });
}

std::string hdf_ForeignFile::Cause() {
  return hdf_Operation::LastCause();
}
