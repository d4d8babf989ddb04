#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>

#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

#include <cstring>

namespace {
// False when a link on the way is missing.
bool isThere(hid_t from, const std::string& path) {
  for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
    const std::string step = path.substr(0, end);
    if (step.empty() || (step != "/" && H5Lexists(from, step.c_str(), H5P_DEFAULT) == 0))
      return false;
    if (end == std::string::npos)
      return true;
  }
}

// Opens what was known at a path; it may have gone with a rollback, or with another program's next commit.
template <hid_t (*Open)(hid_t, const char*, hid_t)>
hid_t openAgain(hdf_Operation& operation, hid_t from, const std::string& path, hid_t access) {
  const hdf_Silence silence;
  hid_t id = Open(from, path.c_str(), access);
  if (id >= 0)
    return id;
  if (!isThere(from, path))
    operation.Refuse("the object is not in the file any more");
  else
    operation.Check(id = Open(from, path.c_str(), access));
  return id;
}
} // namespace

hdf_ObjectRep::hdf_ObjectRep(std::shared_ptr<hdf_Context> owner, hid_t opened, hdf_ObjectRep*& first)
    : context(std::move(owner)) {
  TakeOver(opened, first);
}

void hdf_ObjectRep::TakeOver(hid_t opened, hdf_ObjectRep*& first) {
  id = opened;
  m_next = first;
  m_link = &first;
  if (m_next != nullptr)
    m_next->m_link = &m_next;
  first = this;
}

void hdf_ObjectRep::Close() {
  if (id < 0)
    return;
  *m_link = m_next;
  if (m_next != nullptr)
    m_next->m_link = m_link;
  const hdf_Silence silence;
  if (H5Idec_ref(id) < 0 && context->Journalled())
    context->Bar("an object could not be closed");
  id = H5I_INVALID_HID;
}

std::string hdf_ObjectRep::Place() const {
  return id >= 0 ? hdf_PathOf(id) : "";
}

bool hdf_FileRep::OpenAgain(hdf_Operation& operation) {
  if (!operation.Check(H5Iinc_ref(context->file)))
    return false;
  TakeOver(context->file, context->objects);
  return true;
}

void hdf_DatasetRep::Leave() {
  m_path = hdf_PathOf(id);
  m_address = HADDR_UNDEF;
  fresh = false;
  Close();
}

bool hdf_DatasetRep::OpenAgain(hdf_Operation& operation) {
  const hid_t opened = openAgain<H5Dopen2>(operation, context->file, m_path, hdf_Shared::Get().OpenDataset());
  if (opened < 0)
    return false;
  TakeOver(opened, context->datasets);
  const hdf_CloseUnless guard(*this);
  return guard.good = Inspect(operation);
}

// In a file with a user block HDF5 adds its length, also to the address of nothing.
haddr_t hdf_DataOffset(hid_t dataset) {
  const haddr_t offset = H5Dget_offset(dataset);
  return offset == HADDR_UNDEF || H5Dget_storage_size(dataset) == 0 ? HADDR_UNDEF : offset;
}

haddr_t hdf_DatasetRep::Address() {
  H5O_info_t info;
  if (m_address == HADDR_UNDEF && H5Oget_info2(id, &info, H5O_INFO_BASIC) >= 0)
    m_address = info.addr;
  return m_address;
}

void hdf_DatasetRep::Replace(hdf_Context& context, haddr_t address, const hdf_DatasetRep& successor) {
  for (hdf_ObjectRep* next = context.datasets; next != nullptr; next = next->m_next) {
    auto& dataset = static_cast<hdf_DatasetRep&>(*next);
    if (&dataset == &successor || dataset.Address() != address)
      continue;
    H5Idec_ref(dataset.id);
    H5Iinc_ref(successor.id);
    dataset.id = successor.id;
    dataset.type = successor.type;
    dataset.space = successor.space;
    dataset.fresh = false;
    dataset.m_address = HADDR_UNDEF;
  }
}

hdf_GroupRep::hdf_GroupRep(std::shared_ptr<hdf_ObjectRep> parent, const char* name, hid_t opened)
    : hdf_ObjectRep(parent->context, opened, parent->context->objects), m_parent(std::move(parent)),
      m_name(name) {
  NoteAwake();
}

hdf_GroupRep::~hdf_GroupRep() {
  DropKept();
  if (m_parent != nullptr && id >= 0)
    Sleep();
}

bool hdf_GroupRep::Used() {
  if (m_parent != nullptr)
    context->awake.splice(context->awake.begin(), context->awake, m_awake);
  return true;
}

std::string hdf_GroupRep::Place() const {
  if (m_parent == nullptr)
    return "/";
  const std::string above = m_parent->Place();
  return (above == "/" ? "" : above) + "/" + m_name;
}

bool hdf_GroupRep::OpenAgain(hdf_Operation& operation) {
  const hid_t above = m_parent == nullptr ? context->file : m_parent->Wake(operation) ? m_parent->id : -1;
  if (above < 0)
    return false;
  const hid_t opened = openAgain<H5Gopen2>(operation, above, m_parent == nullptr ? "/" : m_name,
                                           hdf_Shared::Get().OpenGroup());
  if (opened < 0)
    return false;
  TakeOver(opened, context->objects);
  const hdf_CloseUnless guard(*this);
  if (m_parent != nullptr)
    NoteAwake();
  return guard.good = true;
}

void hdf_GroupRep::Sleep() {
  context->awake.erase(m_awake);
  Close();
}

void hdf_GroupRep::NoteAwake() {
  auto& awake = context->awake;
  m_awake = awake.insert(awake.begin(), this);
  if (awake.size() > hdf_Context::kAwakeGroups)
    awake.back()->Sleep();
}

std::shared_ptr<hdf_DatasetRep> hdf_GroupRep::Kept(const char* name) {
  if (m_kept == nullptr || m_kept->name != name)
    return nullptr;
  auto& keepers = context->keepers;
  keepers.splice(keepers.begin(), Keepers(), m_place);
  m_again = true;
  if (keepers.size() > hdf_Context::kKeptDatasets)
    keepers.back()->DropKept();
  return m_kept;
}

void hdf_GroupRep::Keep(const char* name, std::shared_ptr<hdf_DatasetRep> dataset) {
  auto& lately = context->lately;
  dataset->name = name;
  if (m_kept == nullptr)
    m_place = lately.insert(lately.begin(), this);
  m_kept = std::move(dataset);
  if (lately.size() > hdf_Context::kLateDatasets)
    lately.back()->DropKept();
}

void hdf_GroupRep::DropKept() {
  if (m_kept == nullptr)
    return;
  Keepers().erase(m_place);
  m_again = false;
  m_kept = nullptr;
}

hdf_Dataspace hdf_ShapeOf(hid_t space) {
  hsize_t dims[H5S_MAX_RANK] = {};
  std::uint64_t shape[hdf_Dataspace::kMaxRank] = {1};
  const int rank = H5Sget_simple_extent_dims(space, dims, nullptr);
  if (rank == 0 && H5Sget_simple_extent_type(space) == H5S_SCALAR)
    return hdf_Dataspace::CreateSimple(1, shape);
  for (int i = 0; i < rank && i < hdf_Dataspace::kMaxRank; ++i)
    shape[i] = dims[i];
  return hdf_Dataspace::CreateSimple(rank, shape);
}

std::string hdf_PathOf(hid_t object) {
  const ssize_t length = H5Iget_name(object, nullptr, 0);
  std::string path(static_cast<std::size_t>(length < 0 ? 0 : length), '\0');
  if (length > 0)
    H5Iget_name(object, path.data(), path.size() + 1);
  return path;
}

bool hdf_CheckLinkName(hdf_Operation& operation, const char* name) {
  if (name == nullptr || *name == '\0')
    return operation.Refuse("a link needs a name");
  if (std::strchr(name, '/') != nullptr || std::strcmp(name, ".") == 0)
    return operation.Refuse("not the name of one link");
  return true;
}

bool hdf_FindHardLink(hdf_Operation& operation, hid_t group, const char* name, haddr_t& address) {
  address = HADDR_UNDEF;
  const htri_t exists = H5Lexists(group, name, H5P_DEFAULT);
  if (exists == 0)
    return true;
  H5L_info_t info;
  if (!operation.Check(exists) || !operation.Check(H5Lget_info(group, name, &info, H5P_DEFAULT)))
    return false;
  if (info.type == H5L_TYPE_HARD)
    address = info.u.address;
  return true;
}

bool hdf_RequireHardLink(hdf_Operation& operation, hid_t group, const char* name) {
  H5L_info_t info;
  if (H5Lget_info(group, name, &info, H5P_DEFAULT) >= 0)
    return info.type == H5L_TYPE_HARD || operation.Refuse("a soft or external link, which is not followed");
  return H5Lexists(group, name, H5P_DEFAULT) == 0 ? operation.Refuse("there is no object of that name")
                                                  : operation.Check(-1);
}

namespace {
// The access properties follow no other link; why nothing was opened is only asked then.
template <hid_t (*Open)(hid_t, const char*, hid_t)>
hid_t openHardLink(hdf_Operation& operation, hid_t group, const char* name, hid_t access) {
  hid_t id = Open(group, name, access);
  if (id < 0 && hdf_RequireHardLink(operation, group, name))
    operation.Check(id = Open(group, name, access));
  return id;
}
} // namespace

hid_t hdf_OpenGroup(hdf_Operation& operation, hid_t group, const char* name) {
  return openHardLink<H5Gopen2>(operation, group, name, hdf_Shared::Get().OpenGroup());
}

hid_t hdf_OpenDataset(hdf_Operation& operation, hid_t group, const char* name) {
  return openHardLink<H5Dopen2>(operation, group, name, hdf_Shared::Get().OpenDataset());
}
