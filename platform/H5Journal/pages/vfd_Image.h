#pragma once

#include <H5Journal/journal/vfd_Journal.h>
#include <H5Journal/journal/vfd_MainFile.h>
#include <H5Journal/pages/vfd_Overlay.h>

#include <cstdint>
#include <functional>
#include <memory>

/// The file as HDF5 sees it: the main file, over it what is committed and only in the journal, and over that
/// what was written since the last commit point. Calls answer false with the cause in vfd_LastCause().
class vfd_Image {
 public:
  vfd_Image(const vfd_MainFile& main, const vfd_Journal& journal) : m_main(main), m_journal(journal) {}

  vfd_Overlay written;     // since the last commit point
  vfd_PageIndex unapplied; // committed, and not yet in the main file
  vfd_Overlay recent;      // some of them, still in memory

  bool Read(std::uint64_t address, std::size_t count, unsigned char* target) const;
  bool ReadPage(std::uint64_t page, unsigned char* bytes) const;
  /// The page in memory, null when it cannot be had. Throws std::bad_alloc.
  /// \param whole its former bytes do not matter.
  unsigned char* PageForWriting(std::uint64_t page, bool whole);
  /// Forgets written pages that are as at the last commit point, as long as all of that is in the main file.
  /// Throws std::bad_alloc.
  void DropUnchanged();
  /// Goes through what is committed and not in the main file, in the order of pages.
  bool
  ForEachUnapplied(const std::function<bool(std::uint64_t page, const unsigned char* bytes)>& take) const;
  /// Goes through the pages of [first, end) that stand in memory or in the journal, in their order: the main
  /// file alone does not show them. Throws std::bad_alloc.
  bool ForEachPatch(std::uint64_t first, std::uint64_t end,
                    const std::function<bool(std::uint64_t page, const unsigned char* bytes)>& take) const;
  /// The main file is whole without the journal.
  void HasApplied();
  /// The written pages of a commit: those in memory stay there as recent, up to some number.
  void KeepRecent(const vfd_PageIndex::Entries& committed);

 private:
  const unsigned char* InMemory(std::uint64_t page) const;
  const vfd_FrameRef* FrameOf(std::uint64_t page) const;

  const vfd_MainFile& m_main;
  const vfd_Journal& m_journal;
};
