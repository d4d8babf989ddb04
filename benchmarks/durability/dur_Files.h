#pragma once

#include <string>

// Files of the durability benchmarks: in a directory beside the program, which is on a real file system where
// the build directory is.

/// A path in that directory; the directory goes away with the process that asked for it first.
std::string dur_Path(const std::string& name);
/// The type of the file system that dur_Path is on, such as "ext4".
std::string dur_FileSystem();
/// Removes a file and everything that may stand beside it: our journal, SQLite's log.
void dur_Remove(const std::string& path);
/// Makes what was written to a file durable.
void dur_Sync(const std::string& path);
/// Stops the process unless `good`.
void dur_Must(bool good, const char* what);
