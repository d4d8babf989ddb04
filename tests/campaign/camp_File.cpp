#include <campaign/camp_Crew.h>

#include <algorithm>

namespace {

constexpr hsize_t kMostBytes = hsize_t{1} << 28; // no file here has more in one item

// The bytes of a dataset or an attribute, as they lie in the file.
template <class ReadBytes>
bool readItem(hid_t opened, hid_t ownSpace, hid_t ownType, const std::string& name, camp_Content& content,
              ReadBytes read) {
  const camp_Handle space(ownSpace, H5Sclose), type(ownType, H5Tclose);
  const auto points = static_cast<hsize_t>(H5Sget_simple_extent_npoints(space));
  std::vector<hsize_t> shape(static_cast<std::size_t>(std::max(H5Sget_simple_extent_ndims(space), 0)));
  H5Sget_simple_extent_dims(space, shape.data(), nullptr);
  if (points > kMostBytes || H5Tget_size(type) > kMostBytes / std::max(points, hsize_t{1}))
    return false;
  std::string bytes(points * H5Tget_size(type), '\0');
  const bool good = read(opened, type, bytes.data()) >= 0;
  content.items[name] = {std::move(shape), std::move(bytes)};
  return good;
}

herr_t readAttribute(hid_t object, const char* name, const H5A_info_t*, void* to) {
  auto& [prefix, content] = *static_cast<std::pair<std::string, camp_Content*>*>(to);
  const camp_Handle own(H5Aopen(object, name, H5P_DEFAULT), H5Aclose);
  return readItem(own, H5Aget_space(own), H5Aget_type(own), prefix + '@' + name, *content, H5Aread) ? 0 : -1;
}

herr_t readObject(hid_t root, const char* name, const H5O_info_t* info, void* to) {
  auto& content = *static_cast<camp_Content*>(to);
  const camp_Handle own(H5Oopen(root, name, H5P_DEFAULT), H5Oclose);
  const auto read = [](hid_t data, hid_t type, void* bytes) {
    return H5Dread(data, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, bytes);
  };
  if (own < 0)
    return -1;
  if (info->type != H5O_TYPE_DATASET)
    content.items[name] = {};
  else if (!readItem(own, H5Dget_space(own), H5Dget_type(own), name, content, read))
    return -1;
  std::pair<std::string, camp_Content*> place{name, &content};
  return H5Aiterate2(own, H5_INDEX_NAME, H5_ITER_INC, nullptr, readAttribute, &place);
}

} // namespace

std::uint64_t camp_Content::Digest() const {
  std::string text(exists ? "file" : "");
  for (const auto& [name, item] : items) {
    text += name + '\0' + std::to_string(item.hash);
    for (const hsize_t extent : item.shape)
      text += ' ' + std::to_string(extent);
  }
  return std::hash<std::string>()(text);
}

std::string camp_Content::Difference(const camp_Content& other) const {
  if (exists != other.exists)
    return exists ? "the file is gone" : "there is a file";
  const auto [mine, theirs] =
      std::mismatch(items.begin(), items.end(), other.items.begin(), other.items.end());
  if (mine == items.end() && theirs == other.items.end())
    return "";
  return "differs at " + (mine != items.end() ? mine : theirs)->first;
}

bool camp_Content::Read(hid_t file, camp_Content& content) {
  content = {true, {}};
  const herr_t result = H5Ovisit(file, H5_INDEX_NAME, H5_ITER_INC, readObject, &content);
  return !camp_Handle::Failed() && result >= 0;
}

hid_t camp_Session::AccessList(bool isLive) const {
  const H5J_options_t options{H5J_OPTIONS_VERSION, m_config.durability, isLive,
                              m_waitingTime,       m_config.memory,     m_config.journal};
  const hid_t list = H5Pcreate(H5P_FILE_ACCESS);
  const bool isSet =
      m_config.Is(camp_Config::kOldFormat) || H5Pset_libver_bounds(list, H5F_LIBVER_V18, H5F_LIBVER_V18) >= 0;
  if (isSet && H5Pset_fapl_journal(list, &options) >= 0)
    return list;
  H5Pclose(list); // or the file would be opened past the journal
  return -1;
}

bool camp_Session::Create() {
  Drop();
  const camp_Armed armed;
  const camp_Handle access(AccessList(false), H5Pclose), creation(H5Pcreate(H5P_FILE_CREATE), H5Pclose);
  if (!m_config.Is(camp_Config::kUnmarked) && H5Pset_journal_mark(creation) < 0)
    return false;
  if (m_config.Is(camp_Config::kHelped))
    return OpenHeld(H5F_ACC_TRUNC, creation, access);
  m_id = H5Fcreate(m_file.c_str(), H5F_ACC_TRUNC, creation, access);
  return IsOpen();
}

bool camp_Session::Open(unsigned flags, bool isLive) {
  Drop();
  const camp_Armed armed;
  const camp_Handle access(AccessList(isLive), H5Pclose);
  if (m_config.Is(camp_Config::kHelped) && flags != H5F_ACC_RDONLY)
    return OpenHeld(flags, H5P_DEFAULT, access);
  m_id = H5Fopen(m_file.c_str(), flags, access);
  return IsOpen();
}

bool camp_Session::OpenHeld(unsigned flags, hid_t creation, hid_t access) {
  H5J_options_t options;
  if (H5Pget_fapl_journal(access, &options) < 0 ||
      (m_hold = H5Jhold(m_file.c_str(), flags, &options)) == nullptr)
    return false;
  m_id = H5Jopen(m_hold, creation, access);
  if (!IsOpen()) { // its cause counts
    const std::string cause = H5Jlast_error();
    Release(false);
    Note(cause);
  }
  return IsOpen();
}

bool camp_Session::Release(bool keeps) {
  const camp_Armed armed;
  if (std::exchange(m_joined, false))
    m_crew->Leave();
  const bool ended = H5Jend(m_hold, std::exchange(m_id, -1), keeps) >= 0;
  return H5Jrelease(std::exchange(m_hold, nullptr)) >= 0 && ended;
}

bool camp_Session::Rollback() {
  const camp_Armed armed;
  if (m_hold == nullptr)
    return (m_id = H5Jrollback(m_id)) >= 0;
  const camp_Handle access(AccessList(false), H5Pclose);
  H5Jend(m_hold, std::exchange(m_id, -1), false);
  m_id = H5Jopen(m_hold, H5P_DEFAULT, access);
  return IsOpen();
}

void camp_Session::Drop() {
  const camp_Armed armed;
  if (m_hold != nullptr)
    Release(false);
  else if (IsOpen())
    H5Fclose(std::exchange(m_id, -1));
}

bool camp_Session::Joined() {
  if (m_crew == nullptr)
    m_crew = (m_own = std::make_shared<camp_OwnCrew>()).get();
  H5J_share_t share;
  if (!m_joined && m_crew->IsThere()) {
    m_joined = H5Jshare(m_hold, &share) >= 0 && m_crew->Join(share);
    if (!m_joined)
      m_crew->Leave();
  }
  return m_joined && m_crew->IsThere();
}
