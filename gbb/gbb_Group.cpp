#include <gbb/gbb_Group.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <gbb/gbb_Call.h>
#include <gbb/gbb_Trailer.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

namespace {

constexpr char kClass[] = "class";
constexpr char kType[] = "type";
constexpr char kSize[] = "#size";
constexpr char kMembers[] = "#simpleTypeMembers";

constexpr char kDamage[] = "the member stream is damaged: it does not match its checksum";
constexpr char kUnread[] = "the member stream could not be read";

hdf_Dataspace vectorOf(std::uint64_t n) {
  return hdf_Dataspace::CreateSimple(1, &n);
}

// A new object's stream gets little room: most never grow.
std::uint64_t firstCapacity(std::uint64_t length) {
  return (length + 3) / 4 * 4;
}

// One that grew may well grow again: an eighth more before the dataset has to be replaced once more.
std::uint64_t grownCapacity(std::uint64_t length) {
  return (length + length / 8 + 31) / 32 * 32;
}

// What a stream takes in its dataset.
std::uint64_t roomFor(const gbb_MemoryStream::Buffer& stream) {
  return static_cast<std::uint64_t>(stream.Length()) + gbb_Trailer::kSize;
}

} // namespace

gbb_Group::gbb_Group(hdf_Group group, const gbb_Group& parent, const gbb_String& name, bool created)
    : m_group(std::move(group)), m_parent(parent.m_group), m_created(created), m_name(name) {}

gbb_Group gbb_Group::Create(const gbb_Group& parent, const gbb_String& name, int stamp) {
  const ORXSimQuiet quiet;
  gbb_Group group(parent.m_group.GroupCreate(name.CStr(), 0), parent, name, true);
  if (gbb_Call::Check(!!group))
    group.Stamp(stamp);
  return group;
}

gbb_Group gbb_Group::CreateArray(const gbb_Group& parent, const gbb_String& name, int size) {
  const ORXSimQuiet quiet;
  gbb_Group group(parent.m_group.GroupCreate(name.CStr(), 0), parent, name, true);
  gbb_Call::Check(!!group && group.m_group.AttributeCreate(kSize, hdf_Datatype::NATIVE_INT, vectorOf(1))
                                 .Write(hdf_Datatype::NATIVE_INT, &size));
  return group;
}

gbb_Group gbb_Group::Open(const gbb_Group& parent, const gbb_String& name) {
  return gbb_Group(parent.m_group.GroupOpen(name.CStr()), parent, name, false);
}

void gbb_Group::Drop() {
  m_group = m_parent = m_group.Refused("the object is not in the file any more");
  m_class = m_size = hdf_Attribute();
}

gbb_String gbb_Group::ElementName(int i) {
  char digits[12];
  const auto end = std::to_chars(digits, digits + sizeof digits, i).ptr;
  return gbb_String(digits, static_cast<std::size_t>(end - digits));
}

bool gbb_Group::Stamp(int stamp) {
  if (stamp > 0) {
    const int type[2] = {stamp, 0};
    const hdf_Attribute attribute = m_group.AttributeCreate(kType, hdf_Datatype::NATIVE_INT, vectorOf(2));
    if (!gbb_Call::Check(attribute.Write(hdf_Datatype::NATIVE_INT, type)))
      return false;
  }
  m_class = m_group.AttributeCreate(kClass, hdf_Datatype::NATIVE_UCHAR, vectorOf(gbb_ClassID::kSize));
  return gbb_Call::Check(!!m_class); // an attribute that was never written reads as zeros
}

bool gbb_Group::WriteClass(const gbb_ClassID& classID) {
  hdf_Attribute attribute = std::exchange(m_class, hdf_Attribute());
  if (!attribute)
    attribute = m_group.AttributeOpen(kClass);
  return gbb_Call::Check(attribute.Write(hdf_Datatype::NATIVE_UCHAR, classID.text));
}

gbb_ClassID gbb_Group::ReadClass() const {
  const ORXSimQuiet quiet;
  gbb_ClassID classID;
  m_group.AttributeOpen(kClass).Read(hdf_Datatype::NATIVE_UCHAR, classID.text, gbb_ClassID::kSize);
  return classID;
}

int gbb_Group::ReadSize() const {
  const ORXSimQuiet quiet;
  int size = 0;
  const ORXSimFound found = m_group.AttributeOpen(kSize).Fetch(hdf_Datatype::NATIVE_INT, &size, 1);
  if (found != ORXSimFound::kFound)
    return found == ORXSimFound::kMissing ? 0 : -1;
  return static_cast<int>(std::min<std::int64_t>(m_group.NumLinks(), std::max(size, 0)));
}

bool gbb_Group::UpdateSize(int size) {
  if (!m_size)
    m_size = m_group.AttributeOpen(kSize);
  return gbb_Call::Check(m_size.Write(hdf_Datatype::NATIVE_INT, &size));
}

// Writing a dataset whole is the cheap way, and leaves nothing of a longer stream behind a shorter one.
bool gbb_Group::WritePadded(const hdf_Dataset& dataset, std::uint64_t capacity,
                            gbb_MemoryStream::Buffer& stream) {
  const int length = stream.Length();
  const auto rest = static_cast<int>(capacity) - length;
  unsigned char* const behind = stream.Extend(rest);
  gbb_Trailer::Store(behind, stream.Data(), length);
  std::memset(behind + gbb_Trailer::kSize, 0, static_cast<std::size_t>(rest - gbb_Trailer::kSize));
  return dataset.Write(hdf_Datatype::NATIVE_UCHAR, stream.Data(), capacity);
}

bool gbb_Group::MayHold(std::uint64_t capacity) const {
  if (capacity <= INT_MAX)
    return true;
  m_group.Refused("the members take 2 GiB or more");
  return false;
}

bool gbb_Group::CreateMembers(gbb_MemoryStream::Buffer& stream) const {
  const std::uint64_t capacity = firstCapacity(roomFor(stream));
  return gbb_Call::Check(
      MayHold(capacity) &&
      WritePadded(m_group.DatasetCreate(kMembers, hdf_Datatype::NATIVE_UCHAR, vectorOf(capacity)), capacity,
                  stream));
}

bool gbb_Group::WriteMembers(gbb_MemoryStream::Buffer& stream) const {
  hdf_Dataset dataset = m_group.DatasetOpen(kMembers);
  std::uint64_t capacity = dataset.GetSpace().Elements();
  const bool grows = capacity < roomFor(stream);
  if (grows)
    capacity = grownCapacity(roomFor(stream));
  return gbb_Call::Check(MayHold(capacity) && (!grows || dataset.Extend(capacity)) &&
                         WritePadded(dataset, capacity, stream));
}

bool gbb_Group::RefuseMembers(gbb_MemoryStream::Error error) const {
  m_group.DatasetOpen(kMembers).Refuse(error == gbb_MemoryStream::kDamaged ? kDamage : kUnread);
  return gbb_Call::Fail();
}

gbb_MemoryStream::Error gbb_Group::ReadMembers(gbb_MemoryStream::Buffer& stream, bool& unread) const {
  const gbb_Call call("**ERROR "); // of the object and operation in hand LastError() knows more
  const ORXSimQuiet quiet;
  const hdf_Dataset dataset = m_group.DatasetOpen(kMembers);
  const ORXSimFound found = dataset.Found();
  unread = found == ORXSimFound::kUnreadable;
  const std::uint64_t length = found == ORXSimFound::kFound ? dataset.GetSpace().Elements() : 0;
  if (length == 0 || length > INT_MAX)
    return gbb_MemoryStream::kPastLimit;
  // A dataset that is larger than its file does not open, so the length can be trusted with memory.
  unsigned char* const data = stream.Extend(static_cast<int>(length));
  const ORXSimFound read = dataset.Fetch(hdf_Datatype::NATIVE_UCHAR, data, length);
  unread = read == ORXSimFound::kUnreadable;
  if (read != ORXSimFound::kFound) {
    stream.RemoveLast(stream.Length());
    return gbb_MemoryStream::kPastLimit;
  }
  if (gbb_Trailer::Agrees(data, static_cast<int>(length)))
    return gbb_MemoryStream::kGood;
  stream.RemoveLast(stream.Length());
  gbb_Call::Check(dataset.Refuse(kDamage));
  return gbb_MemoryStream::kDamaged;
}
