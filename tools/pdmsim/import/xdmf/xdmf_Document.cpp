#include <pdmsim/import/xdmf/xdmf_Document.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <sstream>

namespace {

std::string trimmed(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlank);
  return first == text.npos ? "" : std::string(text.substr(first, text.find_last_not_of(kBlank) + 1 - first));
}

std::string_view unquoted(std::string_view text) {
  return text.size() >= 2 && (text.front() == '"' || text.front() == '\'') ? text.substr(1, text.size() - 2)
                                                                           : text;
}

/// A step of a path: an element's name and its predicates in brackets.
struct Step {
  std::string_view name;
  std::vector<std::string_view> predicates;

  const byt_XmlNode* FindIn(const byt_XmlNode& parent) const {
    std::size_t place = 1;
    for (const std::string_view one : predicates)
      if (one.find('@') == one.npos)
        std::from_chars(one.data(), one.data() + one.size(), place);
    for (const byt_XmlNode& child : parent.children)
      if (Fits(child) && --place == 0)
        return &child;
    return nullptr;
  }
  bool Fits(const byt_XmlNode& node) const {
    return node.name == name && std::all_of(predicates.begin(), predicates.end(), [&](std::string_view one) {
             const std::size_t equals = one.find('=');
             return one.empty() || one[0] != '@' || equals == one.npos ||
                    node[one.substr(1, equals - 1)] == unquoted(one.substr(equals + 1));
           });
  }
};

/// Takes the first step off a path.
Step nextStep(std::string_view& path) {
  Step step;
  std::size_t end = 0;
  char quote = 0;
  for (; end < path.size() && (quote != 0 || path[end] != '/'); ++end)
    if (path[end] == '"' || path[end] == '\'')
      quote = quote == 0 ? path[end] : quote == path[end] ? '\0' : quote;
  std::string_view whole = path.substr(0, end);
  path.remove_prefix(std::min(end + 1, path.size()));
  step.name = whole.substr(0, whole.find('['));
  for (std::size_t open = whole.find('['); open != whole.npos; open = whole.find('[', open + 1)) {
    const std::size_t close = std::min(whole.find(']', open), whole.size());
    step.predicates.push_back(whole.substr(open + 1, close - open - 1));
  }
  return step;
}

const byt_XmlNode* findBelow(const byt_XmlNode& node, const Step& step) {
  if (const byt_XmlNode* const found = step.FindIn(node))
    return found;
  for (const byt_XmlNode& child : node.children)
    if (const byt_XmlNode* const found = findBelow(child, step))
      return found;
  return nullptr;
}

} // namespace

template <class T>
std::vector<T> xdmf_Item::Read(const mesh_File& file) const {
  if (!m_hdf)
    return m_numbers.Read<T>(file);
  std::vector<T> numbers(m_count);
  const hdf_Datatype type = sizeof(T) == sizeof(int) ? hdf_Datatype::NATIVE_INT
                            : std::is_integral_v<T>  ? hdf_Datatype::NATIVE_INT64
                                                     : hdf_Datatype::NATIVE_DOUBLE;
  const bool good = m_part ? m_hdf->Read(m_dataset, type, *m_part, numbers.data())
                           : m_hdf->Read(m_dataset, type, numbers.data());
  if (!good)
    file.Fail(m_hdfPath + ": " + hdf_ForeignFile::Cause());
  return numbers;
}

template std::vector<int> xdmf_Item::Read(const mesh_File&) const;
template std::vector<long long> xdmf_Item::Read(const mesh_File&) const;
template std::vector<double> xdmf_Item::Read(const mesh_File&) const;

bool xdmf_Item::IsSame(const xdmf_Item& other) const {
  if (m_hdf || other.m_hdf)
    return m_hdf && m_hdf == other.m_hdf && m_dataset == other.m_dataset && !m_part && !other.m_part;
  return !m_numbers.bytes && !other.m_numbers.bytes && m_numbers.text.begin == other.m_numbers.text.begin;
}

xdmf_Document::xdmf_Document(const std::string& path) : m_file(path), m_root(byt_ReadXml(m_file)) {
  if (m_root.name != "Xdmf")
    Fail("expected Xdmf, found " + byt_Quoted(m_root.name));
}

const byt_XmlNode* xdmf_Document::Find(std::string_view path) const {
  path = path.substr(0, path.find("/*["));
  const byt_XmlNode* at = nullptr;
  if (path.starts_with("//")) {
    path.remove_prefix(2);
    at = findBelow(m_root, nextStep(path));
  } else if (path.starts_with("/")) {
    path.remove_prefix(1);
    at = nextStep(path).Fits(m_root) ? &m_root : nullptr;
  }
  while (at != nullptr && !path.empty())
    at = nextStep(path).FindIn(*at);
  return at;
}

const byt_XmlNode& xdmf_Document::Resolved(const byt_XmlNode& node) const {
  const byt_XmlNode* at = &node;
  for (int steps = 0; !(*at)["Reference"].empty(); ++steps) {
    const std::string path = trimmed((*at)["Reference"] == "XML" ? Text(*at) : (*at)["Reference"]);
    at = steps < 10 ? Find(path) : nullptr;
    if (at == nullptr)
      Fail("expected what the reference " + byt_Quoted(path) + " leads to, found nothing");
  }
  return *at;
}

std::string xdmf_Document::Text(const byt_XmlNode& node) const {
  const std::uint64_t size = node.text.end - node.text.begin;
  if (size > byt_Cursor::kLongest)
    Fail("expected a short text in " + node.name + ", found " + std::to_string(size) + " bytes");
  std::string text(size, '\0');
  m_file.Read(node.text.begin, text.data(), size);
  return trimmed(text);
}

std::optional<std::uint64_t> xdmf_Document::Dimensions(const byt_XmlNode& node) const {
  const std::string& text = node["Dimensions"];
  if (text.empty())
    return std::nullopt;
  std::istringstream words(text);
  std::uint64_t count = 1;
  for (std::string word; words >> word;) {
    std::uint64_t extent = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), extent);
    if (error != std::errc() || end != word.data() + word.size() ||
        __builtin_mul_overflow(count, extent, &count))
      Fail("expected the Dimensions of a DataItem, found " + byt_Quoted(text));
  }
  return count;
}

byt_Type xdmf_Document::Type(const byt_XmlNode& node) const {
  const std::string& kind = node["NumberType"].empty() ? node["DataType"] : node["NumberType"];
  const std::string& precision = node["Precision"];
  const std::string name = (kind.empty() ? "Float" : kind) + (kind.ends_with("Char") ? ""
                                                              : precision.empty()    ? "4"
                                                                                     : precision);
  constexpr std::pair<std::string_view, byt_Type> known[] = {
      {"Float4", byt_Type::kFloat}, {"Float8", byt_Type::kDouble}, {"Int1", byt_Type::kInt8},
      {"Int2", byt_Type::kInt16},   {"Int4", byt_Type::kInt32},    {"Int8", byt_Type::kInt64},
      {"UInt1", byt_Type::kUInt8},  {"UInt2", byt_Type::kUInt16},  {"UInt4", byt_Type::kUInt32},
      {"UInt8", byt_Type::kUInt64}, {"Char", byt_Type::kInt8},     {"UChar", byt_Type::kUInt8}};
  for (const auto& [one, type] : known)
    if (one == name)
      return type;
  Fail("expected a DataItem of a known type of numbers, found " + byt_Quoted(name));
}

xdmf_Item xdmf_Document::HdfItem(const std::string& place) const {
  const std::size_t colon = place.rfind(":/");
  if (colon == place.npos || place.find('|') != place.npos)
    Fail("expected FILE:/PATH in a DataItem, found " + byt_Quoted(place));
  const auto path = std::filesystem::path(m_file.Path()).parent_path() / place.substr(0, colon);
  std::shared_ptr<hdf_ForeignFile>& hdf = m_hdf[path.string()];
  if (!hdf)
    hdf = std::make_shared<hdf_ForeignFile>(path.string());
  if (!hdf->IsOpen())
    Fail(path.string() + ": " + hdf_ForeignFile::Cause());
  xdmf_Item item;
  item.m_hdf = hdf;
  item.m_hdfPath = path.string();
  item.m_dataset = place.substr(colon + 2);
  hdf_ForeignShape shape;
  if (!hdf->Shape(item.m_dataset, shape))
    Fail(item.m_hdfPath + ": " + hdf_ForeignFile::Cause());
  item.m_count = shape.Elements();
  item.m_isReal = shape.type == hdf_ForeignType::kFloat;
  item.m_isFloat = item.m_isReal && shape.bytes == 4;
  item.m_isLong = !item.m_isReal && shape.bytes == 8;
  return item;
}

std::vector<std::string> xdmf_Document::HdfFiles() const {
  std::vector<std::string> paths;
  for (const auto& [path, file] : m_hdf)
    paths.push_back(path);
  return paths;
}

// Two items: where a part begins, how it goes on and how long it is, and what it is a part of.
xdmf_Item xdmf_Document::Slab(const byt_XmlNode& node) const {
  std::vector<const byt_XmlNode*> items;
  for (const byt_XmlNode& child : node.children)
    if (child.name == "DataItem")
      items.push_back(&child);
  if (items.size() != 2)
    Fail("expected a HyperSlab of two DataItems, found " + std::to_string(items.size()));
  xdmf_Item whole = Item(*items[1]);
  const xdmf_Item numbers = Item(*items[0]);
  if (!whole.m_hdf || whole.m_part || numbers.Count() % 3 != 0 || numbers.Count() > 96)
    Fail("expected a HyperSlab of a dataset, found one of something else");
  const std::vector<long long> selected = numbers.Read<long long>(m_file);
  const auto rank = static_cast<std::ptrdiff_t>(selected.size() / 3);
  hdf_ForeignPart part;
  part.start.assign(selected.begin(), selected.begin() + rank);
  part.stride.assign(selected.begin() + rank, selected.begin() + 2 * rank);
  part.count.assign(selected.begin() + 2 * rank, selected.end());
  std::uint64_t count = 1;
  for (const std::uint64_t rows : part.count)
    if (__builtin_mul_overflow(count, rows, &count) || count > whole.m_count)
      Fail("expected a HyperSlab within its dataset, found a larger one");
  whole.m_part = std::move(part);
  whole.m_count = count;
  return whole;
}

xdmf_Item xdmf_Document::Item(const byt_XmlNode& reference) const {
  const byt_XmlNode& node = Resolved(reference);
  const std::optional<std::uint64_t> dimensions = Dimensions(node);
  const std::string& kind = node["ItemType"];
  const std::string& format = node["Format"];
  xdmf_Item item;
  if (kind == "HyperSlab") {
    item = Slab(node);
  } else if (!kind.empty() && kind != "Uniform") {
    Fail("expected a DataItem with numbers, found one of the type " + byt_Quoted(kind));
  } else if (format == "HDF") {
    item = HdfItem(Text(node));
  } else if (format == "XML" || format.empty()) {
    if (!dimensions || *dimensions > m_file.Size())
      Fail("expected Dimensions of a DataItem that the file can hold, found " +
           byt_Quoted(node["Dimensions"]));
    const byt_Type type = Type(node);
    item.m_numbers = {*dimensions, type, false, nullptr, node.text};
    item.m_count = *dimensions;
    item.m_isReal = byt_IsReal(type);
    item.m_isFloat = type == byt_Type::kFloat;
    item.m_isLong = item.m_numbers.IsLong();
  } else {
    Fail("expected a DataItem in XML or HDF, found " + byt_Quoted(format));
  }
  if (dimensions && *dimensions != item.m_count)
    Fail("expected a DataItem of " + std::to_string(*dimensions) + " numbers, found " +
         std::to_string(item.m_count));
  return item;
}
