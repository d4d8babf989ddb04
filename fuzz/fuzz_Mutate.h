#pragma once

#include <H5Journal/journal/vfd_Mark.h>

#include <cstddef>
#include <cstdint>
#include <functional>

/// libFuzzer's own mutation; the new size is the answer, at most maxSize.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

/// Small numbers that follow from a seed, for the choices of a mutation.
class fuzz_Dice {
 public:
  explicit fuzz_Dice(unsigned seed) : m_state(seed * 2654435761u + 1) {}
  /// A number below n.
  std::size_t Below(std::size_t n) {
    m_state = m_state * 6364136223846793005u + 1442695040888963407u;
    return n == 0 ? 0 : static_cast<std::size_t>((m_state >> 33) % n);
  }

 private:
  std::uint64_t m_state;
};

/// Changes a few bytes at one to three places and moves nothing: what addresses point to stays where it was.
/// Half of the time the places are neighbours: a length does harm together with the size that it multiplies.
void fuzz_MutateInPlace(std::uint8_t* data, std::size_t size, fuzz_Dice& dice);

/// Makes the checksums of an HDF5 file's mark, superblock and object headers right, so that a change of an
/// attribute or of a small dataset reaches those who read it.
void fuzz_RepairHdf5(std::uint8_t* data, std::size_t size);

/// A mutation for inputs that are an HDF5 file: mostly in place, and mostly repaired.
/// \return the new size, at most maxSize.
std::size_t fuzz_MutateHdf5(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed);

/// Reads a file's mark or a journal's header, after making its checksum right.
/// \return false when the bytes are none for another reason.
bool fuzz_TakeMark(std::uint8_t* main, std::size_t size, vfd_Mark& mark);
bool fuzz_TakeHeader(std::uint8_t* journal, std::size_t size, vfd_Header& header);
/// Writes them over those that were read.
void fuzz_PutMark(std::uint8_t* main, const vfd_Mark& mark);
void fuzz_PutHeader(std::uint8_t* journal, const vfd_Header& header);

/// Makes a main file and a journal name each other: the mark the journal's generation and file, the header
/// the main file's first sector. The chain is to be repaired afterwards.
void fuzz_MatchJournal(std::uint8_t* main, std::size_t mainSize, std::uint8_t* journal, std::size_t size);
/// Calls work for each whole record, up to one of no known kind. Checksums are not looked at.
void fuzz_ForEachRecord(std::uint8_t* journal, std::size_t size,
                        const std::function<void(std::uint8_t*, vfd_RecordKind)>& work);
/// Makes the salts and checksums of a journal right, from the header through the chain, so that a change of a
/// record reaches recovery.
void fuzz_RepairJournal(std::uint8_t* journal, std::size_t size);
