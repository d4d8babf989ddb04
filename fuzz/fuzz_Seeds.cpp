// fuzz_Seeds DIRECTORY: writes the first inputs of each fuzzing program, DIRECTORY/NAME/..., small and valid.

#include "fuzz_Classes.h"
#include "fuzz_Common.h"
#include "fuzz_Model.h"
#include "fuzz_Mutate.h"

#include <gbb/pattern/gbb_MemberCodec.h>
#include <gbb/pattern/gbb_MemberTable.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>

std::size_t LLVMFuzzerMutate(std::uint8_t*, std::size_t size, std::size_t) {
  return size; // only to link: seeds are not mutated
}
extern "C" int LLVMFuzzerInitialize(int*, char***);

namespace {
using Bytes = std::vector<std::uint8_t>;

std::filesystem::path s_directory;

void write(const char* fuzzer, const std::string& name, const Bytes& bytes) {
  std::filesystem::create_directories(s_directory / fuzzer);
  fuzz_Write((s_directory / fuzzer / name).string(), bytes.data(), bytes.size());
}

template <class T>
Bytes join(const T& front, const Bytes& rest) {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&front);
  Bytes all(bytes, bytes + sizeof front);
  all.insert(all.end(), rest.begin(), rest.end());
  return all;
}

const ORXSimContextID kContext(7);
const ORXSimCollectionID kItems(kContext, 2);

// Some value for a member of each type.
void fill(double& value) {
  value = -1.5;
}
void fill(int& value) {
  value = 1000;
}
void fill(kda_string& value) {
  value = kda_string("a name that is longer than any fixed field for names that one could think of");
}
void fill(ORXSimCollectionID& value) {
  value = kItems;
}
void fill(ORXSimCSetID& value) {
  value = ORXSimCSetID(kItems, 1);
}
void fill(ORXSimDistributionID& value) {
  value = ORXSimDistributionID(kContext, 3);
}
template <class T>
void fill(kda_MapString<T>& map) {
  T value{};
  fill(value);
  for (const char* key : {"", "b", "long enough for two words"})
    map.insert(key, value);
}
template <class T>
void fill(kda_MapInt<T>& map) {
  T value{};
  fill(value);
  for (const int key : {-5, 1, 70000})
    map.insert(key, value);
}

template <class Traits>
void memberStreams(std::uint8_t place) {
  typename Traits::Members members;
  for (const bool filled : {false, true}) {
    gbb_MemoryStream stream(kContext);
    gbb_ForEach<typename gbb_MemberTable<Traits>::Members>([&](auto member) {
      if (filled)
        fill(members.*member.kField);
      gbb_WriteMember(stream, member.kIndex, members.*member.kField);
    });
    const gbb_MemoryStream::Buffer saved = stream.GetBuffer();
    write("MemberStream", std::string(Traits::kName.chars) + (filled ? "" : "-empty"),
          join(place, Bytes(saved.Data(), saved.Data() + saved.Length())));
  }
}

void identifiers() {
  const ORXSimIDExternal forms[] = {ORXSimIDExternal(kItems), ORXSimIDExternal(ORXSimCSetID(kItems, 1)),
                                    ORXSimIDExternal(ORXSimDSetID(kContext, 9)),
                                    ORXSimIDExternal(ORXSimDistributionID())};
  int number = 0;
  for (const ORXSimIDExternal& form : forms)
    write("Identifiers", std::to_string(number++),
          join(std::int32_t{form.Length()}, Bytes(form.Bytes(), form.Bytes() + form.Length())));
}

void links() {
  const char* const texts[] = {"#/discreteModel/mesh",
                               "b#discreteModel/mesh/systems/1/events/0",
                               "#/discreteModel/mesh/systems/2/damping/../..",
                               "#/schemaSnapshot",
                               "#/distributionService",
                               "a#"};
  int number = 0;
  for (const std::string text : texts) {
    write("Link", std::to_string(number),
          join(static_cast<std::uint8_t>(number % 5), Bytes(text.begin(), text.end())));
    ++number;
  }
}

// A whole model, and an empty file.
void files() {
  const std::string path = fuzz_Path("seed.pdm");
  for (const bool full : {true, false}) {
    {
      msfD_Root root(0);
      if (full)
        fuzz_MakeModel(root, path, "", 0);
      else
        root.createSim(path.c_str(), "", 0).DiscreteModel(msfD_DiscreteModel::New({}, {}, 0));
    }
    const Bytes bytes = fuzz_Bytes(path);
    Bytes repaired = bytes;
    fuzz_RepairHdf5(repaired.data(), repaired.size());
    fuzz_Require(repaired == bytes, "a sound file whose checksums are the repaired ones");
    write("File", full ? "model" : "empty", bytes);
  }
}

// A main file and its journal, nobody's: without the process and the machine that wrote them.
struct Pair {
  explicit Pair(const std::string& path) : main(fuzz_Bytes(path)), journal(fuzz_Bytes(path + "-journal")) {
    vfd_Mark mark;
    vfd_Header header;
    Bytes repaired = journal;
    fuzz_RepairJournal(repaired.data(), repaired.size());
    fuzz_Require(fuzz_TakeMark(main.data(), main.size(), mark) &&
                     fuzz_TakeHeader(journal.data(), journal.size(), header) && repaired == journal,
                 "a journal whose checksums are the repaired ones");
    mark.writer = header.writer = {};
    fuzz_PutMark(main.data(), mark);
    fuzz_PutHeader(journal.data(), header);
  }
  void Write(const char* name) const {
    Bytes both = join(static_cast<std::uint32_t>(main.size()), main);
    both.insert(both.end(), journal.begin(), journal.end());
    write("Journal", name, both);
  }
  // The newest frame of each page.
  std::map<std::uint64_t, Bytes> Frames() {
    std::map<std::uint64_t, Bytes> frames;
    fuzz_ForEachRecord(journal.data(), journal.size(), [&](const std::uint8_t* record, vfd_RecordKind kind) {
      if (kind == vfd_RecordKind::kFrame)
        frames[vfd_PageOfFrame(record)] = Bytes(record + kVfdFrameHead, record + kVfdFrame);
    });
    return frames;
  }

  Bytes main, journal;
};

// The frames are in the file, and the writer died before it said so.
Pair applied(Pair pair) {
  for (const auto& [page, bytes] : pair.Frames()) {
    const std::size_t at = page * kVfdPage, skipped = page == 0 ? kVfdMark : 0; // the mark is no frame's
    pair.main.resize(std::max(pair.main.size(), at + kVfdPage));
    std::copy(bytes.begin() + static_cast<std::ptrdiff_t>(skipped), bytes.end(),
              pair.main.begin() + static_cast<std::ptrdiff_t>(at + skipped));
  }
  return pair;
}

// Written anew beside live readers: one commit with the newest frame of each page.
Pair shortened(Pair pair) {
  const std::map<std::uint64_t, Bytes> frames = pair.Frames();
  vfd_Header header;
  fuzz_TakeHeader(pair.journal.data(), pair.journal.size(), header);
  header.whole = true;
  ++header.salt;
  const Bytes last(pair.journal.end() - kVfdCommit, pair.journal.end());
  pair.journal.resize(kVfdHeader);
  fuzz_PutHeader(pair.journal.data(), header);
  std::uint64_t chain = header.salt;
  for (const auto& [page, bytes] : frames) {
    Bytes record(kVfdFrame);
    vfd_PutFrame(record.data(), header.salt, page, bytes.data(), 0, chain);
    pair.journal.insert(pair.journal.end(), record.begin(), record.end());
  }
  pair.journal.insert(pair.journal.end(), last.begin(), last.end());
  fuzz_RepairJournal(pair.journal.data(), pair.journal.size());
  return pair;
}

// A model and a journal of three commits over several of its pages, as they stand when the writer dies.
void journals() {
  const std::string path = fuzz_Path("hot.pdm");
  msfD_Root root(0);
  const msfD_Sim sim = fuzz_MakeModel(root, path, "", 1);
  const msfD_Mesh mesh = sim.discreteModel().mesh();
  {
    ORXSimUpdate update(sim.distributionService().Context());
    mesh.Faces(mesh.nodes());
    const fesD_ModalSystem modal(mesh.systems().get(1));
    modal.PropertyEvaluation(-1);
    modal.events().get(0).EventTypeID(4);
    fuzz_Require(update.Commit(), "a commit");
  }
  mesh.systems().add(fesD_GenericSystem::New("one more", {}, {}, mesh.nodes(), {}, 0));
  fesD_ModalSystem(mesh.systems().get(1)).PropertyEvaluation(7);
  const Pair hot(path);
  hot.Write("hot");
  applied(hot).Write("applied");
  shortened(hot).Write("shortened");
}
} // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "use: %s DIRECTORY\n", argv[0]);
    return 2;
  }
  s_directory = argv[1];
  LLVMFuzzerInitialize(&argc, &argv);
  for (std::uint8_t place = 0; place < fuzz_kClasses; ++place)
    fuzz_WithClass(place, [&](auto handle) { memberStreams<typename decltype(handle)::Traits>(place); });
  identifiers();
  links();
  files();
  journals();
}
