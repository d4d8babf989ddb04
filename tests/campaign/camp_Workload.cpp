#include <campaign/camp_Workload.h>

#include <campaign/camp_Crew.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <numeric>

namespace {

constexpr std::size_t kGroupsMost = 6, kDatasetsMost = 14, kLargeMost = 3;
constexpr hsize_t kLarge = 256 << 10; // written past the memory of the driver
constexpr int kFirstRegrowth = 3, kLastRegrowth = 9;
enum { kContiguous, kChunked, kDeflated, kLayouts };

hsize_t product(const std::vector<hsize_t>& shape) {
  return std::accumulate(shape.begin(), shape.end(), hsize_t{1}, std::multiplies<>());
}

} // namespace

bool camp_Workload::Step(int n, camp_Session* session) {
  m_random = camp_Random(m_seed, static_cast<std::uint64_t>(n));
  m_session = session;
  if (Live() && content.exists && !session->IsOpen() && !session->Open(H5F_ACC_RDWR))
    return false;
  camp_Handle::Failed();
  const int kind = m_random.Below(100);
  const camp_Content before = content;
  const bool isWatched = m_config.readers > 0, mayRegrow = m_config.Is(camp_Config::kRegrows);
  const bool regrows = mayRegrow && n >= kFirstRegrowth && n <= kLastRegrowth;
  const bool isNew = !content.exists || (kind < 2 && !mayRegrow && !isWatched);
  m_spoils = kind >= 84 && !isNew;
  const bool good = isNew ? Create() : regrows ? Regrow(n) : Several();
  stage = kChanging;
  if (kind >= 84 && !isNew && !regrows) {
    content = before;
    return good && (!Live() || session->Rollback());
  }
  if (!Live() || !good || camp_Handle::Failed())
    return good && !Live();
  stage = kind < 8 && !isWatched ? kClosing : kCommitting;
  const bool counts = stage == kClosing ? session->Close() : session->Commit();
  if (counts && kind < 8 && isWatched)
    session->Close(); // the journal stays
  return counts;
}

// In place of the file that was there.
bool camp_Workload::Create() {
  content = {true, {{".", {}}}};
  const bool good = (!Live() || m_session->Create()) && NewGroup();
  return Store("first", kContiguous, {2000}) && good && Several();
}

// A dataset is made past everything else, changed where it stands, and removed, so that the file shrinks; the
// next one comes into the same place.
bool camp_Workload::Regrow(int n) {
  const int act = (n - kFirstRegrowth) % 3;
  const std::string last = "last" + std::to_string(n - act);
  if (act == 0)
    return Store(last, kContiguous, {kLarge + 4096 * m_random.Below(hsize_t{16})});
  if (content.items.count(last) == 0) // its step was refused
    return Several();
  if (act == 2)
    return Remove(last);
  return Overwrite(last, false) && Overwrite(last, false) && Overwrite(last, false);
}

bool camp_Workload::Several() {
  bool good = true;
  for (int i = m_random.OneIn(2) ? 1 : m_random.Between(2, 6); i > 0; --i)
    good = Write() && good;
  return good;
}

bool camp_Workload::Write() {
  const bool lends = m_config.Is(camp_Config::kHelped) && m_random.OneIn(3);
  if (lends && !NamesOf(kDatasets).empty())
    return Lend();
  const int kind = m_random.Below(100);
  const Names datasets = NamesOf(kDatasets), large = NamesOf(kLargeOnes);
  return kind < 25 || datasets.empty() ? SetAttribute()
         : kind < 30                   ? NewGroup()
         : kind < 46                   ? NewDataset(false)
         : kind < 54 || large.empty()  ? NewDataset(true)
         : kind < 68                   ? Overwrite(OneOf(datasets), false)
         : kind < 76                   ? Overwrite(OneOf(large), m_random.OneIn(2))
         : kind < 86                   ? Replace(OneOf(large), true)
         : kind < 94                   ? Remove(large.back())
                                       : Remove(OneOf(datasets));
}

bool camp_Workload::SetAttribute() {
  const Names objects = NamesOf(kObjects);
  const std::string object = OneOf(objects), leaf = "a" + std::to_string(m_random.Below(4));
  const auto [place, isNew] = content.items.try_emplace(object + '@' + leaf);
  const bool stays = !isNew && m_random.OneIn(2);
  const auto bytes =
      static_cast<hsize_t>(m_random.OneIn(4) ? m_random.Between(500, 8000) : m_random.Between(1, 40));
  const hsize_t size = stays ? place->second.shape[0] : bytes;
  place->second = {{size}, Bytes(size)};
  if (!Live())
    return true;
  const camp_Armed armed;
  const camp_Handle at(H5Oopen(File(), object.c_str(), H5P_DEFAULT), H5Oclose),
      space(H5Screate_simple(1, &size, nullptr), H5Sclose);
  if (!isNew && !stays && H5Adelete(at, leaf.c_str()) < 0)
    return false;
  const camp_Handle made(
      stays ? H5Aopen(at, leaf.c_str(), H5P_DEFAULT)
            : H5Acreate2(at, leaf.c_str(), H5T_NATIVE_UCHAR, space, H5P_DEFAULT, H5P_DEFAULT),
      H5Aclose);
  return H5Awrite(made, H5T_NATIVE_UCHAR, place->second.bytes->data()) >= 0;
}

bool camp_Workload::NewGroup() {
  const Names groups = NamesOf(kGroups);
  const std::string name = Below(OneOf(groups), "g");
  if (groups.size() >= kGroupsMost || !content.items.try_emplace(name).second)
    return SetAttribute();
  const camp_Armed armed;
  return !Live() ||
         camp_Handle(H5Gcreate2(File(), name.c_str(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT), H5Gclose) >= 0;
}

bool camp_Workload::NewDataset(bool isLarge) {
  const Names datasets = NamesOf(kDatasets), groups = NamesOf(kGroups);
  if (datasets.size() >= kDatasetsMost || (isLarge && NamesOf(kLargeOnes).size() >= kLargeMost))
    return Replace(OneOf(datasets), isLarge);
  return Replace(Below(OneOf(groups), "d"), isLarge);
}

bool camp_Workload::Replace(const std::string& name, bool isLarge) {
  std::vector<hsize_t> shape{static_cast<hsize_t>(m_random.Between(1, 3000))};
  if (isLarge && !m_config.Is(camp_Config::kSmall))
    shape[0] =
        m_random.OneIn(16) ? 8 * kLarge + m_random.Below(8 * kLarge) : kLarge + m_random.Below(kLarge / 2);
  if (m_random.OneIn(2))
    shape = {4, shape[0] / 4 + 1};
  const int layout = m_random.Below(isLarge ? int{kDeflated} : int{kLayouts}); // it takes too long
  return (content.items.count(name) == 0 || Remove(name)) && Store(name, layout, shape);
}

bool camp_Workload::Store(const std::string& name, int layout, std::vector<hsize_t> shape) {
  const int parts = m_random.Between(1, 3);
  const camp_Item& item = content.items[name] = {shape, Bytes(product(shape))};
  if (!Live())
    return true;
  const camp_Armed armed;
  const auto rank = static_cast<int>(shape.size());
  const camp_Handle space(H5Screate_simple(rank, shape.data(), nullptr), H5Sclose),
      list(H5Pcreate(H5P_DATASET_CREATE), H5Pclose);
  shape.back() = (shape.back() + static_cast<hsize_t>(parts) - 1) / static_cast<hsize_t>(parts);
  if ((layout != kContiguous && H5Pset_chunk(list, rank, shape.data()) < 0) ||
      (layout == kDeflated && H5Pset_deflate(list, 1) < 0))
    return false;
  const camp_Handle made(
      H5Dcreate2(File(), name.c_str(), H5T_NATIVE_UCHAR, space, H5P_DEFAULT, list, H5P_DEFAULT), H5Dclose);
  return H5Dwrite(made, H5T_NATIVE_UCHAR, H5S_ALL, H5S_ALL, H5P_DEFAULT, item.bytes->data()) >= 0;
}

// Some rows of it, or all.
bool camp_Workload::Overwrite(const std::string& name, bool isWhole) {
  camp_Item& item = content.items[name];
  std::vector<hsize_t> first(item.shape.size()), count = item.shape;
  const hsize_t row = item.bytes->size() / count[0];
  if (!isWhole) {
    first[0] = m_random.Below(count[0]);
    count[0] = 1 + m_random.Below(std::min(count[0] - first[0], hsize_t{5000}));
  }
  const std::string bytes = Bytes(row * count[0]);
  item = {item.shape, std::string(*item.bytes).replace(row * first[0], bytes.size(), bytes)};
  if (!Live())
    return true;
  const camp_Armed armed;
  const camp_Handle data(H5Dopen2(File(), name.c_str(), H5P_DEFAULT), H5Dclose),
      space(H5Dget_space(data), H5Sclose),
      memory(H5Screate_simple(static_cast<int>(count.size()), count.data(), nullptr), H5Sclose);
  return H5Sselect_hyperslab(space, H5S_SELECT_SET, first.data(), nullptr, count.data(), nullptr) >= 0 &&
         H5Dwrite(data, H5T_NATIVE_UCHAR, memory, space, H5P_DEFAULT, bytes.data()) >= 0;
}

bool camp_Workload::Remove(const std::string& name) {
  std::erase_if(content.items,
                [&](const auto& one) { return one.first == name || one.first.starts_with(name + '@'); });
  const camp_Armed armed;
  return !Live() || H5Ldelete(File(), name.c_str(), H5P_DEFAULT) >= 0;
}

// Helpers write a dataset, beside something small of the writer's own, and read another one.
bool camp_Workload::Lend() {
  constexpr hsize_t kLeast = 64 << 10, kUsual = 256 << 10, kLargest = 960 << 10;
  const Names datasets = NamesOf(kDatasets), groups = NamesOf(kGroups), large = NamesOf(kLargeOnes);
  const std::string name = datasets.size() >= kDatasetsMost ? OneOf(datasets)
                           : large.size() >= kLargeMost     ? OneOf(large)
                                                            : Below(OneOf(groups), "l");
  const hsize_t size = kLeast + m_random.Below(m_random.OneIn(8) ? kLargest : kUsual);
  const camp_Item item({size}, Bytes(size));
  const std::uint64_t seed = m_random.Next();
  const std::string other = OneOf(datasets);
  std::unique_ptr<camp_Loan> loan;
  bool good = true;
  if (Live()) {
    good = camp_Loan::ReadsRight(*m_session, other, *content.items[other].bytes);
    loan = std::make_unique<camp_Loan>(*m_session, *item.bytes, seed);
    good = good && loan->Begin();
  }
  for (int i = m_random.Between(1, 8); i > 0; --i)
    good = (m_random.OneIn(2) ? SetAttribute() : NewDataset(false)) && good;
  good = (!Live() || loan->End(m_spoils)) && good;
  if (content.items.count(name) > 0)
    good = Remove(name) && good;
  content.items[name] = item;
  return good && (!Live() || loan->Name(name));
}

camp_Workload::Names camp_Workload::NamesOf(Kind kind) const {
  Names names;
  for (const auto& [name, item] : content.items) {
    const bool isObject = name.find('@') == std::string::npos,
               isLarge = item.bytes && item.bytes->size() >= kLarge;
    if (isObject && (kind == kObjects || (kind == kGroups) == item.shape.empty()) &&
        (kind != kLargeOnes || isLarge))
      names.push_back(name);
  }
  return names;
}

std::string camp_Workload::Below(const std::string& group, const char* leaf) {
  return (group == "." ? "" : group + '/') + leaf + std::to_string(m_random.Below(30));
}

// Half of them can be compressed.
std::string camp_Workload::Bytes(hsize_t count) {
  const std::uint64_t mask = m_random.OneIn(2) ? ~std::uint64_t{0} : 0x0303030303030303;
  std::string bytes((count + 7) / 8 * 8, '\0');
  for (std::size_t i = 0; i < bytes.size(); i += 8) {
    const std::uint64_t word = m_random.Next() & mask;
    std::memcpy(bytes.data() + i, &word, 8);
  }
  bytes.resize(count);
  return bytes;
}
