#include <pdmsim/import/bytes/byt_Xml.h>

#include <algorithm>
#include <expat.h>
#include <memory>

namespace {

constexpr std::size_t kDeepest = 100, kTextPiece = std::size_t{256} << 10;

struct ParserFree {
  void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using Parser = std::unique_ptr<std::remove_pointer_t<XML_Parser>, ParserFree>;

std::string local(const char* name) {
  const std::string_view whole(name);
  return std::string(whole.substr(whole.find(':') + 1));
}

/// What expat tells becomes a tree. No exception may pass through expat.
struct Builder {
  XML_Parser parser = nullptr;
  std::string_view last;
  byt_XmlNode root;                 // above the root element
  std::vector<byt_XmlNode*> open{}; // from the root on
  bool ended = false;               // at the last element
  std::string failure;

  std::uint64_t At() const { return static_cast<std::uint64_t>(XML_GetCurrentByteIndex(parser)); }
  std::uint64_t Behind() const { return At() + static_cast<std::uint64_t>(XML_GetCurrentByteCount(parser)); }
  void Stop(const char* why) {
    failure = why;
    XML_StopParser(parser, XML_FALSE);
  }
};

template <class Work>
void guarded(Builder& builder, Work work) {
  try {
    work();
  } catch (const std::bad_alloc&) {
    builder.Stop("out of memory");
  }
}

void XMLCALL begin(void* self, const XML_Char* name, const XML_Char** attributes) {
  auto& builder = *static_cast<Builder*>(self);
  guarded(builder, [&] {
    if (builder.open.size() > kDeepest)
      return builder.Stop("expected elements of a sensible depth, found more than 100 levels");
    byt_XmlNode& node = builder.open.back()->children.emplace_back();
    node.name = local(name);
    for (const XML_Char** next = attributes; *next != nullptr; next += 2)
      node.attributes.emplace_back(local(next[0]), next[1]);
    builder.open.push_back(&node);
    if (!builder.last.empty() && node.name == builder.last) {
      builder.ended = true;
      node.text.begin = builder.Behind();
      XML_StopParser(builder.parser, XML_FALSE);
    }
  });
}

void XMLCALL end(void* self, const XML_Char*) {
  auto& builder = *static_cast<Builder*>(self);
  builder.open.pop_back();
}

void XMLCALL text(void* self, const XML_Char* characters, int count) {
  constexpr std::string_view kBlank = " \t\r\n";
  const auto& builder = *static_cast<Builder*>(self);
  const std::string_view piece(characters, static_cast<std::size_t>(count));
  if (piece.find_first_not_of(kBlank) == std::string_view::npos)
    return;
  byt_Range& range = builder.open.back()->text;
  if (range.end == 0)
    range.begin = builder.At();
  range.end = builder.Behind();
}

} // namespace

const std::string& byt_XmlNode::operator[](std::string_view attribute) const {
  static const std::string kNone;
  const auto found = std::find_if(attributes.begin(), attributes.end(),
                                  [&](const auto& one) { return one.first == attribute; });
  return found == attributes.end() ? kNone : found->second;
}

const byt_XmlNode* byt_XmlNode::Child(std::string_view child) const {
  const auto found = std::find_if(children.begin(), children.end(),
                                  [&](const byt_XmlNode& one) { return one.name == child; });
  return found == children.end() ? nullptr : &*found;
}

byt_XmlNode byt_ReadXml(const mesh_File& file, std::string_view last) {
  const Parser parser(XML_ParserCreate(nullptr));
  if (!parser)
    throw std::bad_alloc();
  Builder builder;
  builder.parser = parser.get();
  builder.last = last;
  builder.open.push_back(&builder.root);
  XML_SetUserData(parser.get(), &builder);
  XML_SetElementHandler(parser.get(), &begin, &end);
  XML_SetCharacterDataHandler(parser.get(), &text);
  byt_Cursor cursor(file, {0, file.Size()});
  std::vector<char> piece(kTextPiece);
  for (bool more = true; more;) {
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(cursor.Left(), kTextPiece));
    cursor.Bytes(piece.data(), size);
    more = cursor.Left() > 0;
    if (XML_Parse(parser.get(), piece.data(), static_cast<int>(size), more ? XML_FALSE : XML_TRUE) ==
        XML_STATUS_OK)
      continue;
    if (builder.ended)
      break;
    file.Fail(!builder.failure.empty() ? builder.failure
                                       : "expected XML, found an error in line " +
                                             std::to_string(XML_GetCurrentLineNumber(parser.get())) + ": " +
                                             XML_ErrorString(XML_GetErrorCode(parser.get())));
  }
  if (builder.root.children.empty())
    file.Fail("expected XML, found no element");
  return std::move(builder.root.children.front());
}
