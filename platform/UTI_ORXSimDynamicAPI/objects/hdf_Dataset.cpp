#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>

#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace {
// A fresh dataset up to this size is first written whole, so that the file never holds stray memory.
constexpr std::uint64_t kPaddedWrite = std::uint64_t{64} << 10;

hdf_DatasetRep& datasetOf(const std::shared_ptr<hdf_ObjectRep>& rep) {
  return static_cast<hdf_DatasetRep&>(*rep);
}

std::uint64_t fileSize(hid_t file) {
  hsize_t size = 0;
  return H5Fget_filesize(file, &size) < 0 ? 0 : size;
}

// Bytes that are not in one piece of this file: compact, chunked, or somewhere else.
bool checkLayout(hdf_Operation& operation, hdf_DatasetRep& dataset, std::uint64_t bytes,
                 std::uint64_t sizeOfFile, bool mayBeUnwritten) {
  const hdf_PropertiesHandle properties(H5Dget_create_plist(dataset.id));
  const H5D_layout_t layout = H5Pget_layout(properties.Get());
  if (layout == H5D_VIRTUAL || H5Pget_external_count(properties.Get()) > 0)
    return operation.Refuse("the data lies in another file, which is not followed");
  const bool chunked = layout == H5D_CHUNKED;
  const std::uint64_t stored =
      chunked ? std::min<std::uint64_t>(H5Dget_storage_size(dataset.id), sizeOfFile) : sizeOfFile;
  const bool filtered = chunked && H5Pget_nfilters(properties.Get()) > 0;
  dataset.unwritten = chunked && bytes / (filtered ? kHdfLargestExpansion : 1) > stored;
  return (dataset.unwritten ? mayBeUnwritten : bytes <= stored || filtered) ||
         operation.Refuse("larger than what the file stores");
}

// True when the bytes stand in the dataset's own header: it is as large, all of it is there, and nothing
// belongs to it outside, be it chunks, the list of a virtual dataset or the names of external files. (A
// virtual dataset without a list has no source anywhere.) Cheaper than asking for the creation properties.
bool inHeader(const hdf_DatasetRep& dataset, std::uint64_t bytes) {
  constexpr std::uint64_t kExternalFiles = std::uint64_t{1} << 7, kFilters = std::uint64_t{1} << 11;
  H5O_info_t info;
  H5D_space_status_t status = H5D_SPACE_STATUS_NOT_ALLOCATED;
  return H5Oget_info2(dataset.id, &info, H5O_INFO_HDR | H5O_INFO_META_SIZE) >= 0 &&
         info.meta_size.obj.heap_size == 0 && info.meta_size.obj.index_size == 0 &&
         (info.hdr.mesg.present & (kExternalFiles | kFilters)) == 0 && bytes <= info.hdr.space.mesg &&
         H5Dget_space_status(dataset.id, &status) >= 0 && status == H5D_SPACE_STATUS_ALLOCATED;
}

bool checkSize(hdf_Operation& operation, hdf_DatasetRep& dataset, bool mayBeUnwritten) {
  std::uint64_t bytes = 0;
  if (__builtin_mul_overflow(dataset.space.Elements(), dataset.type.size, &bytes))
    return operation.Refuse("larger than any file");
  const haddr_t offset = hdf_DataOffset(dataset.id);
  if (offset == HADDR_UNDEF && inHeader(dataset, bytes))
    return true;
  const std::uint64_t sizeOfFile = fileSize(dataset.context->file);
  if (offset == HADDR_UNDEF)
    return checkLayout(operation, dataset, bytes, sizeOfFile, mayBeUnwritten);
  return (offset <= sizeOfFile && bytes <= sizeOfFile - offset) ||
         operation.Refuse("reaches past the end of the file");
}

// Rank, room and type of a move of the first `count` elements.
bool checkMove(hdf_Operation& operation, const hdf_DatasetRep& dataset, hid_t memory, std::uint64_t count) {
  if (dataset.space.GetDims(nullptr) != 1)
    return operation.Refuse("the dataset has not one dimension");
  if (memory < 0)
    return operation.Refuse("the dataset has another type");
  return count <= dataset.space.Elements() ||
         operation.Refuse(std::to_string(dataset.space.Elements()) + " elements where " +
                          std::to_string(count) + " are needed");
}

template <class Number>
bool allBetween(const void* data, std::uint64_t count, std::int64_t low, std::int64_t high) {
  const auto* const numbers = static_cast<const Number*>(data);
  return std::all_of(numbers, numbers + count, [=](Number n) { return n >= low && n <= high; });
}

// Integers that the dataset cannot hold are found before anything is written.
bool checkFits(hdf_Operation& operation, const hdf_StoredType& stored, hdf_Datatype source, const void* data,
               std::uint64_t count) {
  const std::size_t bits = std::min<std::size_t>(8 * stored.size, 64) - (stored.isSigned ? 1 : 0);
  const std::int64_t high = bits >= 63 ? INT64_MAX : (std::int64_t{1} << bits) - 1;
  const std::int64_t low = stored.isSigned ? -high - 1 : 0;
  return (source.Which() == hdf_Datatype::kInt ? allBetween<std::int32_t>(data, count, low, high)
                                               : allBetween<std::int64_t>(data, count, low, high)) ||
         operation.Refuse("a number is too large for the type of the dataset");
}

hid_t transferOf(const hdf_StoredType::Road& road) {
  return road.checked ? hdf_Shared::Get().ExactTransfer() : H5P_DEFAULT;
}

hdf_Shared::Window windowOf(const hdf_DatasetRep& dataset, std::uint64_t count) {
  const std::uint64_t extent = dataset.space.Elements();
  return count == extent ? hdf_Shared::Window{H5S_ALL, H5S_ALL} : hdf_Shared::Get().FirstOf(extent, count);
}

// The first write of a small dataset fills the rest with zeros.
bool writePadded(hdf_Operation& operation, const hdf_DatasetRep& dataset, hid_t memory, hdf_Datatype type,
                 const void* data, std::uint64_t count) {
  const auto size = static_cast<std::size_t>(type.Size());
  std::vector<unsigned char> bytes(dataset.space.Elements() * size);
  if (count != 0)
    std::memcpy(bytes.data(), data, count * size);
  return operation.Check(H5Dwrite(dataset.id, memory, H5S_ALL, H5S_ALL, H5P_DEFAULT, bytes.data()));
}
} // namespace

bool hdf_DatasetRep::Inspect(hdf_Operation& operation, bool mayBeUnwritten) {
  const hdf_SpaceHandle shape(H5Dget_space(id));
  const hdf_TypeHandle stored(H5Dget_type(id));
  if (!operation.Check(shape.Get()) || !operation.Check(stored.Get()))
    return false;
  space = hdf_ShapeOf(shape.Get());
  type = hdf_StoredType::Of(stored.Get());
  if (space.GetDims(nullptr) < 1)
    return operation.Refuse("a shape that is not supported");
  if (type.size == 0) // which would let the shape be anything
    return operation.Refuse("elements of no size");
  return checkSize(operation, *this, mayBeUnwritten);
}

bool hdf_DatasetRep::WriteFirst(hdf_Operation& operation, hdf_Datatype source, const void* data,
                                std::uint64_t count) {
  const hdf_StoredType::Road road = type.Write(source);
  if (!checkMove(operation, *this, road.memory, count) ||
      (road.checked && !checkFits(operation, type, source, data, count)))
    return false;
  const std::uint64_t extent = space.Elements();
  const bool first = std::exchange(fresh, false);
  if (first && count < extent && extent * type.size <= kPaddedWrite)
    return writePadded(operation, *this, road.memory, source, data, count);
  if (count == 0)
    return true;
  const hdf_Shared::Window window = windowOf(*this, count);
  return operation.Check(H5Dwrite(id, road.memory, window.memory, window.file, transferOf(road), data));
}

bool hdf_DatasetRep::ReadFirst(hdf_Operation& operation, hdf_Datatype target, void* data,
                               std::uint64_t count) const {
  const hdf_StoredType::Road road = type.Read(target);
  if (!checkMove(operation, *this, road.memory, count))
    return false;
  if (count == 0)
    return true;
  const hdf_Shared::Window window = windowOf(*this, count);
  return operation.Check(H5Dread(id, road.memory, window.memory, window.file, transferOf(road), data));
}

bool hdf_Dataset::operator!() const {
  return !hdf_ObjectRep::IsOpen(*this);
}

bool hdf_Dataset::Write(hdf_Datatype type, const void* data, std::uint64_t count) const {
  return hdf_Call("write dataset", m_rep.get(), [&](hdf_Operation& operation) {
    return operation.Writable() && datasetOf(m_rep).WriteFirst(operation, type, data, count);
  });
}

ORXSimFound hdf_Dataset::Fetch(hdf_Datatype type, void* data, std::uint64_t count) const {
  return hdf_Look("read dataset", m_rep.get(), nullptr, [&](hdf_Operation& operation) {
    return operation.Usable() && datasetOf(m_rep).ReadFirst(operation, type, data, count);
  });
}

ORXSimFound hdf_Dataset::Found() const {
  return hdf_Look("open dataset", m_rep.get(), nullptr,
                  [](hdf_Operation& operation) { return operation.Usable(); });
}

hdf_Dataspace hdf_Dataset::GetSpace() const {
  return hdf_Call("shape of a dataset", m_rep.get(), [&](hdf_Operation& operation) {
    return operation.Valid() && (m_rep->id >= 0 || operation.Usable()) ? datasetOf(m_rep).space
                                                                       : hdf_Dataspace();
  });
}

bool hdf_Dataset::Refuse(const char* cause) const {
  return hdf_Call("read dataset", m_rep.get(),
                  [&](hdf_Operation& operation) { return operation.Usable() && operation.Refuse(cause); });
}

bool hdf_Dataset::Extend(std::uint64_t count) {
  return hdf_Call("extend dataset", m_rep.get(), [&](hdf_Operation& operation) {
    return operation.Writable() && datasetOf(m_rep).Extend(operation, count);
  });
}
