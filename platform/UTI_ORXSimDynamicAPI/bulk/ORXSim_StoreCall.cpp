#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_StoreCall.h>

#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

#include <algorithm>
#include <charconv>
#include <climits>

namespace {
constexpr const char* kStore = "store";
constexpr std::int64_t kStoreVersion = 1;

hdf_GroupHandle openGroup(hdf_Operation& operation, hid_t parent, const char* name) {
  operation.At(parent, name);
  hdf_GroupHandle group(hdf_OpenGroup(operation, parent, name));
  operation.At(group.Get());
  return group;
}

hdf_GroupHandle makeGroup(hdf_Operation& operation, hid_t parent, const char* name) {
  hdf_GroupHandle group(H5Gcreate2(parent, name, H5P_DEFAULT, hdf_Shared::Get().Group(), H5P_DEFAULT));
  operation.Check(group.Get());
  return group;
}

bool isThere(hdf_Operation& operation, hid_t parent, const char* name, bool& there) {
  haddr_t address = HADDR_UNDEF;
  const bool looked = hdf_FindHardLink(operation, parent, name, address);
  there = address != HADDR_UNDEF;
  return looked;
}

bool checkVersion(hdf_Operation& operation, hid_t store) {
  std::int64_t version = 0;
  if (!ORXSimReadNumbers(operation, store, "version", &version, 1))
    return false;
  return version == kStoreVersion ||
         operation.Refuse("version " + std::to_string(version) + " of the store is not known");
}

// Opens a group or, if wanted, makes it; not open when it is absent, which is no failure.
hdf_GroupHandle openOrMake(hdf_Operation& operation, hid_t parent, const char* name, bool make,
                           bool& absent) {
  bool there = false;
  const bool looked = isThere(operation, parent, name, there);
  absent = looked && !there;
  if (!looked || (absent && !make))
    return {};
  return there ? openGroup(operation, parent, name) : makeGroup(operation, parent, name);
}

hdf_GroupHandle openStore(hdf_Operation& operation, hid_t file, bool make, bool& absent) {
  bool there = false;
  const bool looked = isThere(operation, file, kStore, there);
  absent = looked && !there;
  if (!looked || (absent && !make))
    return {};
  if (there) {
    hdf_GroupHandle store = openGroup(operation, file, kStore);
    return store.IsOpen() && checkVersion(operation, store.Get()) ? std::move(store) : hdf_GroupHandle();
  }
  hdf_GroupHandle store = makeGroup(operation, file, kStore);
  if (store.IsOpen())
    ORXSimWriteNumbers(operation, store.Get(), "version", H5T_STD_I32LE, &kStoreVersion, 1);
  return store;
}

// No exception may pass through HDF5.
herr_t collectNumber(hid_t, const char* name, const H5L_info_t*, void* numbers) {
  int number = 0;
  const char* const end = name + std::char_traits<char>::length(name);
  const auto parsed = std::from_chars(name, end, number);
  if (parsed.ec != std::errc() || parsed.ptr != end || number < 0)
    return 0;
  const auto collect = [&] { return static_cast<std::vector<int>*>(numbers)->push_back(number), 0; };
  return hdf_TryOr(collect, [] { return -1; });
}
} // namespace

ORXSimNumberName::ORXSimNumberName(int number) {
  *std::to_chars(text, text + sizeof text - 1, number).ptr = '\0';
}

hid_t ORXSimStoreCall::Group(bool make) {
  hdf_GroupHandle& kept = m_kind == kCollections ? m_context->collections : m_context->distributions;
  if (kept.IsOpen())
    return kept.Get();
  const hdf_GroupHandle store = openStore(m_operation, m_context->file, make, m_absent);
  if (store.IsOpen())
    kept = openOrMake(m_operation, store.Get(), m_kind == kCollections ? "collections" : "distributions",
                      make, m_absent);
  return kept.Get();
}

bool ORXSimStoreCall::ShowsItsFile() {
  if (!m_operation.Usable())
    return false;
  if (m_context->live || !m_context->readOnly)
    return m_operation.Refuse("only a file that nobody writes to shows its content to other programs");
  return m_context->Info().journal_bytes == 0 ||
         m_operation.Refuse("a part of the content is in the journal, not in the file");
}

hdf_GroupHandle ORXSimStoreCall::Open(int minor) {
  if (!m_operation.Usable())
    return {};
  if (minor < 1) {
    m_operation.Refuse("the identifier is null");
    return {};
  }
  const hid_t parent = Group(false);
  if (parent < 0) {
    if (m_absent)
      m_operation.Refuse("the file has no object of that kind");
    return {};
  }
  return openGroup(m_operation, parent, ORXSimNumberName(minor).text);
}

int ORXSimStoreCall::Count() {
  const hid_t group = m_operation.Usable() ? Group(false) : H5I_INVALID_HID;
  return group < 0 ? 0 : std::max(ORXSimLinksIn(m_operation, group), 0);
}

std::vector<int> ORXSimStoreCall::Minors() {
  const hid_t group = m_operation.Usable() ? Group(false) : H5I_INVALID_HID;
  std::vector<int> minors;
  if (group >= 0)
    minors = ORXSimNumbersIn(m_operation, group);
  std::erase(minors, 0); // never given away
  return minors;
}

int ORXSimStoreCall::Find(const cow_String& name) {
  for (const int minor : Minors()) {
    const hdf_GroupHandle object = Open(minor);
    if (object.IsOpen() && ORXSimReadText(m_operation, object.Get(), "name") == name)
      return minor;
  }
  return -1;
}

hdf_GroupHandle ORXSimStoreCall::MakeObject() {
  hdf_GroupHandle object(H5Gcreate_anon(m_context->file, hdf_Shared::Get().Group(), H5P_DEFAULT));
  m_operation.Check(object.Get());
  return object;
}

int ORXSimStoreCall::Link(const hdf_GroupHandle& object) {
  const hid_t group = Group(true);
  const int minor = group < 0 ? -1 : ORXSimFreeNumber(m_operation, group, 1);
  if (minor < 0)
    return -1;
  const ORXSimNumberName name(minor);
  m_operation.At(group);
  return m_operation.Check(H5Olink(object.Get(), group, name.text, H5P_DEFAULT, H5P_DEFAULT)) &&
                 m_context->EndWrite(m_operation)
             ? minor
             : -1;
}

std::vector<int> ORXSimNumbersIn(hdf_Operation& operation, hid_t group) {
  std::vector<int> numbers;
  if (!operation.Check(H5Literate(group, H5_INDEX_NAME, H5_ITER_NATIVE, nullptr, &collectNumber, &numbers)))
    return {};
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

int ORXSimLinksIn(hdf_Operation& operation, hid_t group) {
  H5G_info_t info;
  if (!operation.Check(H5Gget_info(group, &info)))
    return -1;
  return static_cast<int>(std::min(info.nlinks, static_cast<hsize_t>(INT_MAX)));
}

int ORXSimFreeNumber(hdf_Operation& operation, hid_t group, int first) {
  const int links = ORXSimLinksIn(operation, group);
  if (links < 0 || links > INT_MAX - first)
    return -1;
  for (int number = links + first; number < INT_MAX; ++number) {
    const htri_t taken = H5Lexists(group, ORXSimNumberName(number).text, H5P_DEFAULT);
    if (!operation.Check(taken))
      return -1;
    if (taken == 0)
      return number;
  }
  operation.Refuse("no number is free");
  return -1;
}

std::shared_ptr<hdf_DatasetRep> ORXSimOpenNumbered(ORXSimStoreCall& call, hid_t group, int number,
                                                   bool mayBeUnwritten) {
  hdf_Operation& operation = call.Operation();
  const ORXSimNumberName name(number);
  operation.At(group, name.text);
  const hid_t id = hdf_OpenDataset(operation, group, name.text);
  if (id < 0)
    return nullptr;
  auto dataset = hdf_MakeRep<hdf_DatasetRep>(call.Context(), id);
  operation.At(id);
  return dataset->Inspect(operation, mayBeUnwritten) ? dataset : nullptr;
}
