#pragma once

#include <cstdint>

/// The rules that make a file survive. The campaigns break each of them on purpose, in a build of their own,
/// to see that they would notice; in every other build none can be broken and the questions cost nothing.
enum class vfd_Rule {
  kCommitSync,       // a commit record is on the disk before the commit is reported
  kCheckpointSync,   // a generation ends only when the main file is on the disk
  kDirectorySync,    // a new name is on the disk before anything relies on it
  kHeaderSync,       // a generation's header is on the disk before its first frame
  kDirectSync,       // what bypassed the journal is on the disk before its commit record
  kJournalFirst,     // committed bytes change only after the record of the whole update
  kFloor,            // no page that has a frame in this generation bypasses the journal
  kChecksum,         // a record counts only with all before it
  kDirectOnlyBeyond, // only space past the committed image bypasses the journal
  kRecoverySync,     // a journal goes only when what it held is on the disk
};

#ifdef PDM_BREAKABLE
/// True for the rule that the environment names in PDM_BREAK.
bool vfd_Broken(vfd_Rule rule);
/// The size in bytes that the environment variable gives, else `ordinary`.
std::uint64_t vfd_Limit(const char* variable, std::uint64_t ordinary);
#else
constexpr bool vfd_Broken(vfd_Rule) {
  return false;
}
constexpr std::uint64_t vfd_Limit(const char*, std::uint64_t ordinary) {
  return ordinary;
}
#endif
