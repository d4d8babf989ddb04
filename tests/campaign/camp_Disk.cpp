#include <campaign/camp_Disk.h>

#include <algorithm>

namespace {

constexpr std::size_t kSector = 512;

bool isData(const camp_Event& event) {
  return event.kind >= camp_Event::kWrite && event.kind <= camp_Event::kExtend;
}

void overwrite(std::string& image, std::size_t offset, const char* bytes, std::size_t count) {
  if (image.size() < offset + count)
    image.resize(offset + count);
  std::copy_n(bytes, count, image.begin() + static_cast<std::ptrdiff_t>(offset));
}

} // namespace

camp_Disk::camp_Disk(const Files& files) {
  int inode = 0;
  for (const auto& [name, bytes] : files) {
    m_sure.names[name] = inode;
    m_sure.images[inode++] = bytes;
  }
}

void camp_Disk::Platter::Apply(const camp_Event& event, camp_Random* tearing) {
  const auto offset = static_cast<std::size_t>(event.offset);
  switch (event.kind) {
  case camp_Event::kWrite:
    if (tearing == nullptr)
      return overwrite(images[event.inode], offset, event.bytes.data(), event.bytes.size());
    for (std::size_t from = 0; from < event.bytes.size();) {
      const std::size_t size = std::min(kSector - (offset + from) % kSector, event.bytes.size() - from);
      if (tearing->OneIn(2))
        overwrite(images[event.inode], offset + from, event.bytes.data() + from, size);
      from += size;
    }
    return;
  case camp_Event::kTruncate:
    return images[event.inode].resize(offset);
  case camp_Event::kExtend:
    return images[event.inode].resize(std::max(images[event.inode].size(), offset));
  case camp_Event::kRename:
    if (const auto from = names.find(event.from); from != names.end() && from->second == event.inode)
      names.erase(from);
    [[fallthrough]];
  case camp_Event::kCreate:
  case camp_Event::kLink:
    names[event.name] = event.inode;
    return;
  case camp_Event::kUnlink:
    names.erase(event.name);
    return;
  default:
    return;
  }
}

template <class Predicate>
void camp_Disk::Settle(Predicate belongs) {
  std::erase_if(m_pending, [&](const camp_Event* event) {
    if (!belongs(*event))
      return false;
    m_sure.Apply(*event, nullptr);
    return true;
  });
}

void camp_Disk::Feed(const camp_Event& event) {
  if (event.kind == camp_Event::kSync)
    Settle([&](const camp_Event& one) { return isData(one) && one.inode == event.inode; });
  else if (event.kind == camp_Event::kDirectorySync)
    Settle([](const camp_Event& one) { return !isData(one); });
  else if (event.kind != camp_Event::kBegin && event.kind != camp_Event::kAck)
    m_pending.push_back(&event);
}

camp_Disk::Files camp_Disk::Crash(Mode mode, camp_Random& random) const {
  Platter platter = m_sure;
  const std::size_t last = m_pending.size() - 1;
  const std::size_t one = mode == kSkip ? random.Below(m_pending.size()) : last;
  const bool all = mode == kPrefix || mode == kSkip || (mode == kLast && random.OneIn(2));
  for (std::size_t i = 0; i < m_pending.size(); ++i) {
    const bool present = mode == kNone                      ? false
                         : mode == kRandom || mode == kTorn ? random.OneIn(2)
                         : mode == kPrefix                  ? true
                                                            : (i == one) != all;
    if (present)
      platter.Apply(*m_pending[i], mode == kTorn ? &random : nullptr);
  }
  Files files;
  for (const auto& [name, inode] : platter.names)
    files[name] = platter.images[inode];
  return files;
}
