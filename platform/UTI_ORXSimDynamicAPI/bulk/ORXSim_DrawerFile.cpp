#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_DrawerFile.h>

#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_CollectionFile.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Listing.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

#include <algorithm>

namespace {
constexpr std::int64_t kChunkBytes = std::int64_t{4} << 20; // above the chunk cache: read and written whole
constexpr std::int64_t kLargestChunk = (std::int64_t{1} << 32) - 1; // HDF5's limit

constexpr std::int64_t kWorthAnew = std::int64_t{1} << 20; // bytes

constexpr int kMostComponents = 1 << 16; // of a drawer without data

constexpr hdf_Datatype kTypes[] = {hdf_Datatype(hdf_Datatype::kInt), hdf_Datatype(hdf_Datatype::kInt64),
                                   hdf_Datatype(hdf_Datatype::kFloat), hdf_Datatype(hdf_Datatype::kDouble)};

hdf_Datatype numberType(ORXSimItemType type) {
  return kTypes[static_cast<int>(type)];
}
hid_t memoryType(ORXSimItemType type) {
  const hdf_Datatype number = numberType(type);
  return hdf_StoredType::Of(number).Write(number).memory;
}

bool checkDescription(hdf_Operation& operation, const ORXSimDrawerDescription& description) {
  if (static_cast<unsigned char>(description.type) > 3)
    return operation.Refuse("the item type is not known");
  if (description.components < 1)
    return operation.Refuse("a row has at least one component");
  if (description.chunkItems < 0 || description.deflate < 0 || description.deflate > 9)
    return operation.Refuse("chunk rows or compression level out of range");
  return description.deflate == 0 || H5Zfilter_avail(H5Z_FILTER_DEFLATE) > 0 ||
         operation.Refuse("this HDF5 library has no deflate");
}

// Rows a chunk, 0 for a contiguous drawer.
std::int64_t chunkRows(const ORXSimDrawerDescription& description, int items) {
  if (items == 0 || (description.chunkItems == 0 && description.deflate == 0))
    return 0;
  const std::int64_t row = std::int64_t{description.components} * ORXSimItemSize(description.type);
  const std::int64_t wanted = description.chunkItems > 0 ? description.chunkItems : kChunkBytes / row;
  return std::clamp<std::int64_t>(std::min(wanted, kLargestChunk / row), 1, items);
}

ORXSimBlockSums sumsOf(const ORXSimDrawerDescription& description, int items) {
  const std::int64_t row = std::int64_t{description.components} * ORXSimItemSize(description.type);
  return {items, row, std::max<std::int64_t>(chunkRows(description, items), 1)};
}

hdf_PropertiesHandle creationProperties(const ORXSimDrawerDescription& description, int items) {
  hdf_PropertiesHandle properties(H5Pcopy(hdf_Shared::Get().Bulk()));
  const std::int64_t rows = chunkRows(description, items);
  if (rows == 0)
    return properties;
  const hsize_t chunk[2] = {static_cast<hsize_t>(rows), static_cast<hsize_t>(description.components)};
  H5Pset_chunk(properties.Get(), description.components == 1 ? 1 : 2, chunk);
  H5Pset_alloc_time(properties.Get(), H5D_ALLOC_TIME_INCR);
  H5Pset_fill_time(properties.Get(), H5D_FILL_TIME_IFSET);
  if (description.deflate > 0) {
    // Mandatory: a chunk that a lack of memory has once kept from being compressed is not read well any more
    // after it is written again.
    const auto level = static_cast<unsigned>(description.deflate);
    H5Pset_filter(properties.Get(), H5Z_FILTER_SHUFFLE, H5Z_FLAG_MANDATORY, 0, nullptr);
    H5Pset_filter(properties.Get(), H5Z_FILTER_DEFLATE, H5Z_FLAG_MANDATORY, 1, &level);
  }
  return properties;
}

hdf_SpaceHandle rowsSpace(std::int64_t rows, int components) {
  const hsize_t dims[2] = {static_cast<hsize_t>(rows), static_cast<hsize_t>(components)};
  return hdf_SpaceHandle(H5Screate_simple(components == 1 ? 1 : 2, dims, nullptr));
}

// Empty texts are not stored.
bool writeText(hdf_Operation& operation, hid_t data, const char* name, const cow_String& text) {
  return text.Empty() || ORXSimWriteText(operation, data, name, text);
}

void describeLayout(hid_t data, ORXSimDrawerDescription& description) {
  const hdf_PropertiesHandle properties(H5Dget_create_plist(data));
  hsize_t chunk[H5S_MAX_RANK] = {};
  if (H5Pget_layout(properties.Get()) == H5D_CHUNKED &&
      H5Pget_chunk(properties.Get(), H5S_MAX_RANK, chunk) > 0)
    description.chunkItems = static_cast<int>(std::min<hsize_t>(chunk[0], INT32_MAX));
  std::size_t values = 1;
  unsigned level = 0, flags = 0;
  const hdf_Silence silence;
  if (H5Pget_filter_by_id2(properties.Get(), H5Z_FILTER_DEFLATE, &flags, &values, &level, 0, nullptr,
                           nullptr) >= 0)
    description.deflate = static_cast<int>(level);
}
} // namespace

bool ORXSimDrawerFile::Create(ORXSimStoreCall& call, hid_t distribution, int drawer,
                              const ORXSimDrawerDescription& description, int items) {
  hdf_Operation& operation = call.Operation();
  if (!checkDescription(operation, description))
    return false;
  const hdf_SpaceHandle space = rowsSpace(items, description.components);
  const hdf_PropertiesHandle properties = creationProperties(description, items);
  const hdf_DatasetHandle data(
      H5Dcreate_anon(distribution, memoryType(description.type), space.Get(), properties.Get(), H5P_DEFAULT));
  const std::int64_t members[2] = {description.members.CollectionMinor(), description.members.Minor()};
  return operation.Check(data.Get()) &&
         ORXSimWriteNumbers(operation, data.Get(), "members", H5T_STD_I32LE, members, 2) &&
         writeText(operation, data.Get(), "unit", description.unit) &&
         writeText(operation, data.Get(), "long_name", description.longName) &&
         sumsOf(description, items).Create(operation, data.Get()) &&
         operation.Check(
             H5Olink(data.Get(), distribution, ORXSimNumberName(drawer).text, H5P_DEFAULT, H5P_DEFAULT));
}

ORXSimDrawerFile ORXSimDrawerFile::Open(ORXSimStoreCall& call, hid_t distribution, int drawer) {
  ORXSimDrawerFile opened;
  if (drawer < 0 && !call.Operation().Refuse("a drawer's number is not negative"))
    return opened;
  opened.m_data = ORXSimOpenNumbered(call, distribution, drawer, true);
  if (opened.m_data == nullptr)
    return opened;
  if (!opened.Understand(call.Operation()) || (opened.m_data->unwritten && !opened.FillsItsSet(call)))
    opened.m_data = nullptr;
  return opened;
}

ORXSimDrawerFile ORXSimDrawerFile::OpenOf(ORXSimStoreCall& call, int distribution, int drawer) {
  const hdf_GroupHandle group = call.Open(distribution);
  return group.IsOpen() ? Open(call, group.Get(), drawer) : ORXSimDrawerFile();
}

bool ORXSimDrawerFile::Understand(hdf_Operation& operation) {
  std::uint64_t dims[hdf_Dataspace::kMaxRank] = {0, 1};
  const int rank = m_data->space.GetDims(dims);
  if (rank > 2 || dims[0] > INT32_MAX || dims[1] > INT32_MAX || dims[1] == 0)
    return operation.Refuse("not rows of components");
  m_items = static_cast<int>(dims[0]);
  m_components = rank == 1 ? 1 : static_cast<int>(dims[1]);
  for (int type = 0; type < 4; ++type)
    if (m_data->type == hdf_StoredType::Of(kTypes[type])) {
      m_type = static_cast<ORXSimItemType>(type);
      return true;
    }
  return operation.Refuse("numbers of a type that is not supported");
}

// Rows that are not in the file yet are believed only as far as the member set goes.
bool ORXSimDrawerFile::FillsItsSet(ORXSimStoreCall& call) const {
  ORXSimStoreCall sets("size of a drawer's member set", call.Context()->id, ORXSimStoreCall::kCollections);
  const ORXSimCSetID members = Members(call.Operation(), call.Context()->id);
  const int size = members.IsNull() ? -1 : ORXSimSizeOf(sets, members);
  if (size < 0)
    return false;
  return (m_components <= kMostComponents && size == m_items) ||
         call.Operation().Refuse("larger than what the file stores");
}

ORXSimCSetID ORXSimDrawerFile::Members(hdf_Operation& operation, ORXSimContextID context) const {
  std::int64_t members[2];
  if (!ORXSimReadNumbers(operation, m_data->id, "members", members, 2))
    return {};
  if (members[0] < 1 || members[0] > INT32_MAX || members[1] < 0 || members[1] > INT32_MAX) {
    operation.Refuse("attribute 'members' names no member set");
    return {};
  }
  return {ORXSimCollectionID(context, static_cast<int>(members[0])), static_cast<int>(members[1])};
}

bool ORXSimDrawerFile::Describe(hdf_Operation& operation, ORXSimContextID context,
                                ORXSimPersistentDrawerDesc& result) const {
  ORXSimDrawerDescription description;
  description.members = Members(operation, context);
  if (description.members.IsNull())
    return false;
  description.type = m_type;
  description.components = m_components;
  description.unit = ORXSimReadText(operation, m_data->id, "unit");
  description.longName = ORXSimReadText(operation, m_data->id, "long_name");
  describeLayout(m_data->id, description);
  result = ORXSimPersistentDrawerDesc(description, m_items);
  return true;
}

bool ORXSimDrawerFile::CheckRange(hdf_Operation& operation, int first, int count, std::int64_t bytes) const {
  if (first < 0 || count < 0 || count > m_items - first)
    return operation.Refuse("the drawer has " + std::to_string(m_items) + " rows");
  return bytes == BytesOf(count) ||
         operation.Refuse("a buffer of " + std::to_string(bytes) + " bytes where " +
                          std::to_string(BytesOf(count)) + " are needed");
}

bool ORXSimDrawerFile::Move(hdf_Operation& operation, int first, int count, std::int64_t bytes, void* target,
                            const void* source) {
  if (!CheckRange(operation, first, count, bytes))
    return false;
  if (count == 0)
    return true;
  if (target == nullptr && source == nullptr)
    return operation.Refuse("there is no buffer");
  ORXSimRows& rows = Rows();
  const bool anew =
      source != nullptr && count == m_items && bytes >= kWorthAnew && m_data->context->Journalled();
  if (anew && HasOneName() && rows.IsWritten(operation))
    return Renew(operation, source);
  return target != nullptr ? rows.Read(operation, first, count, target)
                           : rows.Write(operation, first, count, source);
}

ORXSimRows& ORXSimDrawerFile::Rows() {
  if (!m_rows.has_value())
    m_rows.emplace(*m_data, memoryType(m_type), m_items, m_components);
  return *m_rows;
}

bool ORXSimDrawerFile::Lies(std::uint64_t& offset) const {
  const hdf_TypeHandle type(H5Dget_type(m_data->id));
  offset = hdf_DataOffset(m_data->id);
  return H5Tequal(type.Get(), memoryType(m_type)) > 0 && offset != HADDR_UNDEF;
}

bool ORXSimDrawerFile::LiesAt(hdf_Operation& operation, std::uint64_t& offset) const {
  const hdf_TypeHandle type(H5Dget_type(m_data->id));
  if (H5Tequal(type.Get(), memoryType(m_type)) <= 0)
    return operation.Refuse("its numbers are stored otherwise than memory has them");
  offset = H5Dget_offset(m_data->id); // undefined for chunks, and before the first write
  if (offset == HADDR_UNDEF || offset % static_cast<unsigned>(ORXSimItemSize(m_type)) != 0)
    return operation.Refuse("its numbers do not lie in one piece in the file");
  return true;
}

bool ORXSimDrawerFile::HasOneName() const {
  H5O_info_t info;
  return H5Oget_info2(m_data->id, &info, H5O_INFO_BASIC) >= 0 && info.rc == 1;
}

ORXSimDrawerFile ORXSimDrawerFile::MakeTwin(hdf_Operation& operation) const {
  ORXSimDrawerFile twin;
  const hdf_TypeHandle type(H5Dget_type(m_data->id));
  const hdf_SpaceHandle space(H5Dget_space(m_data->id));
  const hdf_PropertiesHandle properties(H5Dget_create_plist(m_data->id));
  const hid_t created =
      H5Dcreate_anon(m_data->context->file, type.Get(), space.Get(), properties.Get(), H5P_DEFAULT);
  if (!operation.Check(created))
    return twin;
  const auto fresh = hdf_MakeRep<hdf_DatasetRep>(m_data->context, created);
  fresh->type = m_data->type;
  fresh->space = m_data->space;
  if (!operation.Check(hdf_CopyAttributes(m_data->id, created) ? 0 : -1))
    return twin;
  twin.m_data = fresh;
  twin.m_type = m_type;
  twin.m_items = m_items;
  twin.m_components = m_components;
  return twin;
}

bool ORXSimDrawerFile::GiveWay(hdf_Operation& operation, const ORXSimDrawerFile& twin) const {
  const std::string path = hdf_PathOf(m_data->id);
  const hid_t file = m_data->context->file;
  if (!operation.Check(H5Ldelete(file, path.c_str(), H5P_DEFAULT)) ||
      !operation.Check(H5Olink(twin.m_data->id, file, path.c_str(), H5P_DEFAULT, H5P_DEFAULT)))
    return false;
  hdf_DatasetRep::Replace(*m_data->context, m_data->Address(), *twin.m_data);
  return true;
}

bool ORXSimDrawerFile::Renew(hdf_Operation& operation, const void* source) const {
  ORXSimDrawerFile twin = MakeTwin(operation);
  return twin.IsOpen() && twin.Rows().Write(operation, 0, m_items, source) && GiveWay(operation, twin);
}
