// fuzz_Seeds DIRECTORY: writes the first inputs of each fuzzing program, DIRECTORY/NAME/..., small and valid.

#include "fuzz_Classes.h"
#include "fuzz_Common.h"
#include "fuzz_Model.h"
#include "fuzz_Mutate.h"

#include <gbb/gbb_MemberCodec.h>
#include <gbb/gbb_MemberTable.h>

#include <cstdio>
#include <filesystem>

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
// Nobody's journal: without the process and the machine that wrote it.
Bytes anonymous(Bytes journal) {
  constexpr std::size_t kProcess = 72, kEnd = 144;
  Bytes repaired = journal;
  fuzz_RepairJournal(repaired.data(), repaired.size());
  fuzz_Require(journal.size() > 512 && repaired == journal,
               "a journal whose checksums are the repaired ones");
  std::fill(journal.begin() + kProcess, journal.begin() + kEnd, std::uint8_t{0});
  fuzz_RepairJournal(journal.data(), journal.size());
  return journal;
}

// A model and a journal of two commits over several of its pages, as they stand when the writer dies: before
// the commits came to the file, and after.
void journals() {
  const std::string path = fuzz_Path("hot.pdm");
  msfD_Root root(0);
  const msfD_Sim sim = fuzz_MakeModel(root, path, "", 1);
  const msfD_Mesh mesh = sim.discreteModel().mesh();
  const Bytes before = fuzz_Bytes(path);
  {
    ORXSimUpdate update(sim.distributionService().Context());
    mesh.Faces(mesh.nodes());
    const fesD_ModalSystem modal(mesh.systems().get(1));
    modal.PropertyEvaluation(-1);
    modal.events().get(0).EventTypeID(4);
    fuzz_Require(update.Commit(), "a commit");
  }
  mesh.systems().add(fesD_GenericSystem::New("one more", {}, {}, mesh.nodes(), {}, 0));
  const Bytes after = fuzz_Bytes(path), journal = anonymous(fuzz_Bytes(path + "-journal"));
  for (const Bytes& main : {before, after}) {
    Bytes both = join(static_cast<std::uint32_t>(main.size()), main);
    both.insert(both.end(), journal.begin(), journal.end());
    write("Journal", main == before ? "behind" : "applied", both);
  }
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
