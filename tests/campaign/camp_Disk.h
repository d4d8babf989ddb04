#pragma once

#include <campaign/camp_Io.h>

/// The files of a directory on a disk that loses what was not synced when the power goes.
class camp_Disk {
 public:
  using Files = std::map<std::string, std::string>;
  /// What is left of the changes that were not synced: all; none; any; any, and only sectors of the writes;
  /// all but the last or only the last; all but one.
  enum Mode { kPrefix, kNone, kRandom, kTorn, kLast, kSkip };
  static constexpr int kModes = 6;

  camp_Disk() = default;
  /// A disk that holds these files for sure, their inodes numbered in the order of names.
  explicit camp_Disk(const Files& files);

  /// The next thing that happens; it must live as long as the disk.
  void Feed(const camp_Event& event);
  /// True when nothing can be lost.
  bool Settled() const { return m_pending.empty(); }
  /// The files as they may be found after a loss of power now.
  Files Crash(Mode mode, camp_Random& random) const;

 private:
  struct Platter {
    std::map<std::string, int> names;
    std::map<int, std::string> images; // by inode
    void Apply(const camp_Event& event, camp_Random* tearing);
  };
  template <class Predicate>
  void Settle(Predicate belongs);

  Platter m_sure;
  std::vector<const camp_Event*> m_pending;
};
