// Recovery from whatever stands in a main file and the journal beside it: reading the journal, opening for
// reading and for writing, closing. What a reader sees through the journal is what recovery makes of the
// file.
//
// Input: the length of the main file (32 bits), the main file, the journal.

#include "fuzz_Common.h"
#include "fuzz_Isolate.h"
#include "fuzz_Model.h"
#include "fuzz_Mutate.h"

#include <UTI_ORXSimDynamicAPI/ORXSim_Journal.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>

extern "C" {
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed);
}

namespace {
struct Files {
  Files(const std::uint8_t* data, std::size_t size) {
    fuzz_Input input(data, size);
    const std::size_t stated = input.Take<std::uint32_t>();
    main = input.Data();
    mainSize = std::min(stated, input.Size());
    journal = main + mainSize;
    journalSize = input.Size() - mainSize;
  }
  void Write(const std::string& path) const {
    fuzz_Write(path, main, mainSize);
    fuzz_Write(path + "-journal", journal, journalSize);
  }
  bool Unchanged(const std::string& path) const {
    const auto holds = [](const std::string& name, const std::uint8_t* bytes, std::size_t size) {
      const std::vector<std::uint8_t> found = fuzz_Bytes(name);
      return found.size() == size && std::equal(found.begin(), found.end(), bytes);
    };
    return holds(path, main, mainSize) && holds(path + "-journal", journal, journalSize);
  }
  const std::uint8_t *main, *journal;
  std::size_t mainSize, journalSize;
};

// What a reader or a writer finds in the file, none when it does not open.
std::optional<std::uint64_t> contentOf(const std::string& path, bool readOnly) {
  msfD_Root root(0);
  const msfD_Sim sim =
      readOnly ? root.openSimReadOnly(path.c_str(), "", 1) : root.openSim(path.c_str(), "", 1);
  return !sim ? std::nullopt : std::optional(fuzz_ReadAll(sim));
}

// How many journals with commits were taken for the file's own. A program that gets few is blind.
void countHot(bool hot) {
  static int s_hot = 0;
  [[maybe_unused]] static const int s_told =
      std::atexit([] { std::fprintf(stderr, "stat::inputs_with_hot_journal:   %d\n", s_hot); });
  s_hot += hot ? 1 : 0;
}

void run(const std::string& path, const Files& files) {
  files.Write(path);
  const ORXSimJournalInfo info = ORXSimJournal::Read(path.c_str());
  fuzz_Require(info.exists && info.journalBytes == static_cast<std::int64_t>(files.journalSize), "a journal");
  fuzz_Require(info.headerValid || (info.commits == 0 && info.frames == 0), "nothing without a header");
  countHot(info.belongs && !info.damaged && info.commits > 0);
  fuzz_Watch();
  const std::optional<std::uint64_t> seen = contentOf(path, true);
  fuzz_Require(files.Unchanged(path), "files that reading has not changed");

  const std::optional<std::uint64_t> recovered = contentOf(path, false);
  fuzz_Require(!recovered || !std::filesystem::exists(path + "-journal"), "no journal after it was closed");
  fuzz_Require(!recovered || !fuzz_NothingFailed() || seen == recovered, "what a reader saw before recovery");
  const bool sound = fuzz_NothingFailed();
  if (recovered && sound)
    fuzz_Require(contentOf(path, true) == recovered, "the same afterwards");

  files.Write(path);
  if (ORXSimJournal::Apply(path.c_str()))
    fuzz_Require(!std::filesystem::exists(path + "-journal") &&
                     (!sound || contentOf(path, true) == recovered),
                 "the same by applying the journal");
  else
    fuzz_Require(!recovered, "a journal that applies because the file was recovered");
  files.Write(path);
  ORXSimJournal::Discard(path.c_str());
}
} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string s_path = fuzz_Path("input.pdm");
  const Files files(data, size);
  fuzz_Run([&] { run(s_path, files); }, data, size);
  return 0;
}

std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                    unsigned seed) {
  fuzz_Dice dice(seed);
  if (dice.Below(8) == 0)
    return LLVMFuzzerMutate(data, size, maxSize);
  const Files files(data, size);
  auto* const main = const_cast<std::uint8_t*>(files.main);
  auto* const journal = const_cast<std::uint8_t*>(files.journal);
  switch (dice.Below(6)) {
  case 0: // anything, the main file too
    fuzz_MutateInPlace(data, size, dice);
    break;
  case 1: // the journal ends early
    size -= dice.Below(files.journalSize);
    break;
  case 2: // what the file says of its journal
    fuzz_MutateInPlace(main, std::min(files.mainSize, kVfdMark), dice);
    break;
  case 3: // what the journal says of its file
    fuzz_MutateInPlace(journal, std::min(files.journalSize, kVfdHeader), dice);
    break;
  default:
    fuzz_MutateInPlace(journal, files.journalSize, dice);
  }
  if (dice.Below(4) != 0) {
    fuzz_RepairHdf5(main, files.mainSize);
    const std::size_t left = size - static_cast<std::size_t>(journal - data);
    if (dice.Below(2) == 0)
      fuzz_MatchJournal(main, files.mainSize, journal, left);
    fuzz_RepairJournal(journal, left);
  }
  return size;
}
