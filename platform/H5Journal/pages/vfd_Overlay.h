#pragma once

#include <H5Journal/journal/vfd_PageIndex.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

/// Pages of a file by number: in memory, or moved to a frame of the journal.
class vfd_Overlay {
 public:
  vfd_Overlay() { m_spare.reserve(kSpare); }

  struct Slot {
    std::unique_ptr<unsigned char[]> bytes; // kVfdPage of them; null: in the frame
    vfd_FrameRef frame;                     // in the journal

    bool HasFrame() const { return frame.at != 0; } // an older one, while the page is in memory
  };

  bool Empty() const { return m_slots.empty(); }
  /// Pages that are in memory.
  std::size_t InMemory() const { return m_inMemory; }
  Slot* Find(std::uint64_t page);
  const Slot* Find(std::uint64_t page) const;
  /// Memory for a page, not set. Throws std::bad_alloc.
  std::unique_ptr<unsigned char[]> NewPage();
  /// The page is in memory from now on, with these bytes. Throws std::bad_alloc, and has changed nothing
  /// then.
  void Put(std::uint64_t page, std::unique_ptr<unsigned char[]> bytes);
  /// Gives a page that is in memory away.
  std::unique_ptr<unsigned char[]> TakeOut(std::uint64_t page);
  /// All pages, in ascending order. Throws std::bad_alloc.
  std::vector<std::uint64_t> Pages() const;
  /// The page's bytes are in that frame now. Throws std::bad_alloc for a page that was not there.
  void Spilled(std::uint64_t page, const vfd_FrameRef& frame);
  void Drop(std::uint64_t page);
  void DropFrom(std::uint64_t end);
  /// The same.
  /// \param framed takes those that have frames. Throws std::bad_alloc.
  void DropFrom(std::uint64_t end, std::vector<std::uint64_t>& framed);
  void Clear();

 private:
  static constexpr std::size_t kSpare = 64; // pages kept for the next update
  static constexpr std::size_t kMany = 4096;

  void Release(Slot& slot);

  std::unordered_map<std::uint64_t, Slot> m_slots;
  std::size_t m_inMemory = 0;
  std::vector<std::unique_ptr<unsigned char[]>> m_spare;
};
