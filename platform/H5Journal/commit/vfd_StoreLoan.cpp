// Processes that help the one that has the file open: they write and read bulk data in the main file.

#include <H5Journal/commit/vfd_Store.h>

#include <H5Journal/files/vfd_Rules.h>
#include <H5Journal/opening/vfd_Locks.h>

#include <algorithm>

namespace {
constexpr std::uint64_t kSmallGap = std::uint64_t{1} << 20; // bytes
}

// Nobody who reads the last commit point reaches such a page, and no frame is going to bury it.
vfd_Store::Loan vfd_Store::Lend(std::uint64_t address, std::uint64_t count, std::uint64_t& first,
                                std::uint64_t& end) {
  if (!MayMove())
    return Loan::kFailed;
  if (m_options.readOnly || Forked() || IsClosing() || !MayRetry()) {
    vfd_Refuse(MayRetry() ? "nothing can be written into the file now" : Obstacle());
    return Loan::kFailed;
  }
  const std::uint64_t stop = address + count;
  first = std::min(vfd_PagesOf(address) * kVfdPage, stop);
  end = std::max(stop / kVfdPage * kVfdPage, first);
  if (vfd_Broken(vfd_Rule::kEdges))
    first = address, end = stop;
  const bool any = m_options.Scratch() || vfd_Broken(vfd_Rule::kLendBeyond);
  for (std::uint64_t page = first / kVfdPage; !any && page < end / kVfdPage; ++page)
    if (!MayBypass(page) || m_image.written.Find(page) != nullptr) {
      // Only its frame is in the way, perhaps: the next commit point ends the generation.
      m_endsSoon = m_endsSoon || m_image.unapplied.Find(page) != nullptr;
      return Loan::kKept;
    }
  // With a place for the little before it, what they write needs none at the commit point.
  if (first > m_files.main.Reserved() && first - m_files.main.Reserved() < kSmallGap &&
      !m_options.Scratch() && !m_files.main.Extend(first))
    return Loan::kFailed;
  // As long from now on as they make it: no zeros are laid over what they write, and giving up cuts it again.
  if (m_files.main.Size() < end && !m_files.main.SetSize(end))
    return Loan::kFailed;
  m_eof = std::max(m_eof, stop);
  m_directDirty = m_directDirty || first < end;
  m_large = true;
  m_onLoan = true;
  m_loanFirst = first;
  m_loanEnd = end;
  return Loan::kLent;
}

bool vfd_Store::EndLoan(bool good) {
  if (!IsOnLoan())
    return vfd_Refuse("nothing is lent");
  m_onLoan = false;
  // A sync during the loan, before a first frame, has not seen all of it.
  m_directDirty = m_directDirty || m_loanFirst < m_loanEnd;
  if (good) {
    m_files.main.HasGrown(m_loanFirst, m_loanEnd);
    return true;
  }
  vfd_Refuse("a helper has not written its part");
  HasFailed();
  return true;
}

bool vfd_Store::PutLent(std::uint64_t address, std::uint64_t count, const void* bytes) {
  if (IsOnLoan() && address < m_loanEnd && address + count > m_loanFirst)
    return vfd_Refuse("helpers write there");
  return Write(address, count, bytes) || (HasFailed(), false);
}

// A commit point would raise what is known over the heads of those who write; going back would give the same
// space out again.
bool vfd_Store::MayMove() const {
  return !IsOnLoan() || vfd_Broken(vfd_Rule::kLoan) ||
         vfd_Refuse("other processes are writing a part of the file");
}

bool vfd_Store::ForEachPatch(std::uint64_t address, std::uint64_t count,
                             const std::function<bool(std::uint64_t, const unsigned char*)>& take) const {
  if (count == 0 || vfd_Broken(vfd_Rule::kPatches))
    return true;
  return m_image.ForEachPatch(
      address / kVfdPage, vfd_PagesOf(address + count),
      [&](std::uint64_t page, const unsigned char* bytes) { return take(page * kVfdPage, bytes); });
}

std::uint64_t vfd_Store::ShowSelf() {
  if (m_session == 0)
    m_session = 1 + vfd_Random() % vfd_Locks::kSessions;
  vfd_Locks::ShowSession(m_files.main.Get(), m_session);
  return m_session;
}
