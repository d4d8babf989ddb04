#include <gbb/gbb_ClassTexts.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <UTI_ORXSimDynamicAPI/hdf_Objects.h>
#include <gbb/gbb_Call.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace {

constexpr char kGroup[] = "classes";
constexpr std::string_view kForm = R"({"format":1,"class":")";
constexpr std::uint64_t kLongest = 1 << 20; // nobody describes a class in more

bool isLinkName(std::string_view name) {
  return !name.empty() && name != "." && name.find('/') == std::string_view::npos;
}

// What the reader of a line goes by; the rest is for people.
std::string_view factsOf(std::string_view line) {
  return line.substr(0, line.find(R"("doc":)"));
}

bool hasLineWith(std::string_view text, std::string_view facts) {
  for (std::size_t at = text.find(facts); at != std::string_view::npos; at = text.find(facts, at + 1))
    if (at == 0 || text[at - 1] == '\n')
      return true;
  return false;
}

// True when the new text says all that the old one says. The form has a line for each member and child.
bool saysAllOf(std::string_view text, std::string_view old) {
  if (!old.starts_with(kForm))
    return false;
  while (!old.empty()) {
    const std::string_view line = old.substr(0, old.find('\n'));
    if (!hasLineWith(text, factsOf(line)))
      return false;
    old.remove_prefix(std::min(line.size() + 1, old.size()));
  }
  return true;
}

// True when what is there says the same, or something that the new text does not replace. What cannot be read
// as a text is not ours to replace.
bool mayStay(const hdf_Group& group, const char* name, std::string_view text) {
  const hdf_Dataset dataset = group.DatasetOpen(name);
  const std::uint64_t length = dataset.GetSpace().Elements();
  if (!dataset || length > kLongest)
    return true;
  std::string old(static_cast<std::size_t>(length), '\0');
  return !dataset.Read(hdf_Datatype::NATIVE_UCHAR, old.data(), length) || old == text ||
         !saysAllOf(text, old);
}

bool writeText(const hdf_Group& group, const char* name, std::string_view text) {
  const std::uint64_t length = text.size();
  return group.DatasetCreate(name, hdf_Datatype::NATIVE_UCHAR, hdf_Dataspace::CreateSimple(1, &length))
      .Write(hdf_Datatype::NATIVE_UCHAR, text.data(), length);
}

// \return false when a write failed.
bool bring(ORXSimContextID context, const char* name, std::string_view text) {
  const ORXSimQuiet quiet;
  const hdf_Group root = ORXSimContextRef(context).File().RootGroup();
  const bool creates = root.LookForLink(kGroup) == ORXSimFound::kMissing;
  const hdf_Group group = creates ? root.GroupCreate(kGroup, 0) : root.GroupOpen(kGroup);
  if (!group) // something else may have the name
    return !creates;
  const ORXSimFound found = creates ? ORXSimFound::kMissing : group.LookForLink(name);
  if (found == ORXSimFound::kUnreadable || (found == ORXSimFound::kFound && mayStay(group, name, text)))
    return true;
  return writeText(group, name, text);
}

} // namespace

void gbb_ClassTexts::Write(ORXSimContextID context, const char* name, const char* text) {
  if (context.IsNull() || gbb_Call::Failed())
    return;
  const std::uint64_t epoch = ORXSimContextRef(context).Epoch();
  int place = 0;
  while (place < m_seen.Length() && m_seen[place].text != text)
    ++place;
  if (place < m_seen.Length() && m_seen[place].epoch == epoch)
    return;
  if (isLinkName(name) && !gbb_Call::Check(bring(context, name, text)))
    return;
  if (place == m_seen.Length())
    m_seen.Append({text, 0});
  m_seen[place].epoch = epoch;
}
