#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// A small generator whose numbers are a function of the seed alone, on every machine.
class camp_Random {
 public:
  constexpr explicit camp_Random(std::uint64_t seed, std::uint64_t stream = 0)
      : m_state(seed * 0x9E3779B97F4A7C15u + stream * 0xD1B54A32D192ED03u + 1) {}

  std::uint64_t Next() {
    std::uint64_t z = m_state += 0x9E3779B97F4A7C15u;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
    z = (z ^ z >> 27) * 0x94D049BB133111EBu;
    return z ^ z >> 31;
  }
  /// 0 <= result < n; 0 for n <= 0.
  template <class T>
  T Below(T n) {
    return n <= 0 ? T{0} : static_cast<T>(Next() % static_cast<std::uint64_t>(n));
  }
  /// low <= result <= high.
  int Between(int low, int high) { return low + Below(high - low + 1); }
  /// True once in n times.
  bool OneIn(int n) { return Below(n) == 0; }

 private:
  std::uint64_t m_state;
};

/// One thing that happened to the disk, or to the host's knowledge of it.
struct camp_Event {
  // clang-format off
  enum Kind : std::uint8_t {
    kCreate, kWrite, kTruncate, kExtend, kSync, kName, kUnlink, kDirectorySync, kBegin, kAck
  };
  // clang-format on
  Kind kind;
  int inode = -1;
  std::int64_t offset = 0; // of a write; the new length of a file; the step of kBegin and kAck
  std::string name, bytes; // the entry that comes or goes; what is written
  std::string from{};      // the entry that a renaming removes
};

/// What a recorder saw: events over the files that were there when it began.
struct camp_Record {
  std::map<std::string, int> names; // inodes by the names of now
  int inodes = 0;
  std::vector<camp_Event> events;
};

/// What becomes of calls, which are counted from 1; 0 stands for none of them.
struct camp_Plan {
  static constexpr int kShortWrite = -1; // in place of an errno
  static constexpr int kFull = -2;       // ENOSPC for what lies on no block that its file has already

  std::int64_t killAt = 0; // dies there; a part of what was to be written is written first
  camp_Random random{0};   // which part
  std::int64_t failAt = 0;
  bool forGood = false;          // fails from there on
  int error = 0;                 // an errno or one of the above; ENOSPC only for calls that may need space
  std::int64_t lieAt = 0;        // of the readings of journal bytes read before, the one with a wrong bit
  std::int64_t* calls = nullptr; // their number so far, in a place that the parent process may see
  camp_Record* record = nullptr; // takes what succeeds; its names are those of the directory at first

  constexpr bool Fails(std::int64_t n) const { return failAt != 0 && (forGood ? n >= failAt : n == failAt); }
};

/// Stands between this process and the system from now on, counting from 0: every call on a file of the
/// directory can be counted, made to fail, be the last one, and be recorded. One thread.
void camp_Watch(const std::string& directory, const camp_Plan& plan);
void camp_Unwatch();
/// Puts a mark of a step among the events.
void camp_Mark(camp_Event::Kind kind, int step);
/// The same for allocations, which count while one of these lives.
void camp_WatchAllocations(const camp_Plan& plan);
struct camp_Armed {
  camp_Armed() { ++s_alive; }
  ~camp_Armed() { --s_alive; }
  static inline constinit int s_alive = 0;
};
