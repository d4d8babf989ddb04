#pragma once

#include <campaign/camp_Random.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// One thing that happened to the disk, or to the host's knowledge of it.
struct camp_Event {
  enum Kind : std::uint8_t {
    kCreate,
    kWrite,
    kTruncate,
    kSync,
    kRename,
    kLink,
    kUnlink,
    kDirectorySync,
    kBegin,
    kAck
  };
  Kind kind;
  int inode = -1;
  std::int64_t offset = 0; // of a write; the length of a truncation; the digest of kBegin and kAck
  std::string name, bytes; // the entry that comes or goes; what is written
  std::string from{};      // the entry that a renaming removes
};

/// What a recorder saw: events over the files that were there when it began.
struct camp_Record {
  std::map<std::string, int> names; // inodes by the names of now
  int inodes = 0;
  std::vector<camp_Event> events;
};

/// Stands between this process and the system: every call on a file of one directory can be counted, made to
/// fail, be the last one, and be recorded. One thread.
class camp_Io {
 public:
  enum Fault { kOnce, kForGood };
  static constexpr int kShortWrite = -1; // in place of an errno

  /// Watches the files of a directory from now on, counting from 0. No fault, nothing recorded.
  static void Watch(const std::string& directory);
  static void Stop();
  /// Calls so far, in a place that the parent process may see.
  static void CountIn(std::int64_t* calls);
  /// Dies in call n (from 1); writes a part of what was to be written first.
  static void KillAt(std::int64_t n, camp_Random random);
  /// Fails in call n, with an errno or kShortWrite. Calls that cannot fail for want of space do not answer
  /// ENOSPC.
  static void FailAt(std::int64_t n, int error, Fault fault);
  /// Records into `record` until Stop(); its names are those of the directory now.
  static void RecordTo(camp_Record* record);
  /// Puts a mark among the events; only recorded.
  static void Mark(camp_Event::Kind kind, std::uint64_t digest);
};

/// Fails allocation n (from 1) of this process after it is armed.
class camp_Allocations {
 public:
  static void FailAt(std::int64_t n, camp_Io::Fault fault);
  static void CountIn(std::int64_t* calls);
  static void Arm(bool armed);
};
