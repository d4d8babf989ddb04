#pragma once

#include <vector>

/// What verifying the stored data of a drawer or a member set found. Blocks are counted from 0; block k holds
/// the rows from k x blockRows on, the last one what is left.
/// Threads: a value; each thread uses values of its own.
struct ORXSimVerification {
  /// False: the data could not be opened at all, and nothing below is set.
  bool opened = false;
  /// False for data of an older version or another writer: only what cannot be read was found.
  bool hasChecksums = false;
  int blocks = 0, blockRows = 0;
  /// Blocks that do not match their checksum or could not be read, ascending. The cause of the last is in
  /// ORXSimManager::LastError().
  std::vector<int> damaged;
  /// Blocks that were never written, ascending; they are not read.
  std::vector<int> unwritten;

  bool Good() const { return opened && damaged.empty(); }
};
