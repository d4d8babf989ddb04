#pragma once

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
  kDirectOnlyBeyond, // only space that no commit point knows bypasses the journal
  kRecoverySync,     // a journal goes only when what it held is on the disk
  kMarkSync,         // the file names its journal on the disk before the first frame, and until it goes
  kMarkFirst,        // the file names its journal before the journal holds a commit
  kReserve,          // a commit counts only when the file has room for it
  kReuse,            // freed space bypasses the journal only when no frame and no reader needs it
  kVerify,           // a frame is checked again when it is used
  kSpare,            // space that a commit has taken into use is not spare any more
  kLendBeyond,       // helpers get only whole pages that no commit point, frame or reader may know
  kHelpersLock,      // a writer waits until the helpers of a dead one have ended
  kLoan,             // nothing is committed or taken back while helpers write
  kEdges,            // the pages at the ends of what is lent go through the one that lends
  kPatches,          // helpers are told which pages the file alone does not show
};

#ifdef PDM_BREAKABLE
/// True for the rule that the environment names in PDM_BREAK.
bool vfd_Broken(vfd_Rule rule);
#else
constexpr bool vfd_Broken(vfd_Rule) {
  return false;
}
#endif
