// Link texts against two small Sims of one root: every text resolves to an object or to none, and to the same
// again, however its path is written.
//
// Input: where the link lives, then its text.

#include "fuzz_Common.h"
#include "fuzz_Model.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {
// Two Sims, "a" and "b", with one object at least of each class. Made once; links change nothing.
struct Sims {
  Sims() : root(0) {
    for (const char* alias : {"a", "b"})
      fuzz_MakeModel(root, fuzz_Path(alias), alias, 0);
    const msfD_Mesh mesh = root.get(0).discreteModel().mesh();
    origins = {gbb_Path(), root.get(0).Path(), root.get(1).Path(), mesh.Path(), mesh.systems().get(1).Path()};
  }
  ~Sims() = default;
  msfD_Root root;
  std::vector<gbb_Path> origins; // the empty path among them
};

struct Answer {
  gbb_Handle object;
  int status;
};

Answer resolve(gbb_Path origin, const std::string& text) {
  gbb_SimpleLink link(origin, text.c_str());
  const Answer answer{link.Get(0), 0};
  return {answer.object, link.Status()};
}

// The same path with everything in it that does not count.
std::string padded(const std::string& text) {
  const std::size_t mark = text.find('#');
  std::string result = mark == std::string::npos ? "" : text.substr(0, mark + 1);
  result += "/./";
  for (const char c : text.substr(mark == std::string::npos ? 0 : mark + 1))
    result += c == '/' ? "//./" : std::string(1, c);
  return result + "/no such thing/..//";
}

void checkAs(gbb_Path origin, const std::string& text, const Answer& answer) {
  gbb_LinkHolder holder(new gbb_SimpleLink(origin, text.c_str()));
  const gbb_TypedLink<msfD_Mesh> link(holder);
  const msfD_Mesh mesh = link.get(0);
  const bool expected = !!answer.object && answer.object.Class().IsA(msfD_MeshInterface::StaticClass());
  fuzz_Require(!mesh == !expected, "a mesh where there is one");
  fuzz_Require(link.status() == (expected         ? gbb_kResolved
                                 : !answer.object ? gbb_kBroken
                                                  : gbb_kWrongClass),
               "the status of a typed link");
}
} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Sims* const s_sims = new Sims(); // lives as long as the program
  fuzz_Input input(data, size);
  const gbb_Path origin = s_sims->origins[input.Take<std::uint8_t>() % s_sims->origins.size()];
  const std::string bytes(reinterpret_cast<const char*>(input.Data()), input.Size());
  const std::string text = bytes.c_str();

  const Answer answer = resolve(origin, text);
  fuzz_Require((answer.status == gbb_kResolved) == !!answer.object && !(!origin && !!answer.object),
               "an object when the link is resolved, and none when not");
  for (const std::string& other : {text, padded(text)}) {
    const Answer again = resolve(origin, other);
    fuzz_Require(again.object == answer.object && again.status == answer.status, "the same object");
  }
  checkAs(origin, text, answer);
  return 0;
}
