#pragma once

#include <H5Journal/journal/vfd_Format.h>

/// Who may use a file: the whole-file lock (flock) that a writer has alone and readers share, and two bytes
/// far past every file's end with locks of the open file description. The writer holds the first; live
/// readers share the second, and the writer takes it for the moments in which it changes what they may be
/// looking at. All of them end with the process, however it ends, unless a child of it lives on that has not
/// called exec.
class vfd_Locks {
 public:
  enum class Result { kTaken, kHeld, kUnsupported, kFailed }; // kFailed: errno is set

  /// Takes the whole-file lock without waiting.
  static Result TakeFile(int descriptor, bool shared);
  /// Notes for live readers that a writer is at work. Not needed for safety.
  static void MarkWriter(int descriptor);
  /// True while a writer is at work on the file.
  static bool HasWriter(int descriptor);
  /// Shares the readers' byte, without waiting for a writer that has it for the moment.
  static Result ShareReaders(int descriptor);
  /// Takes the readers' byte alone if no reader has it.
  static Result TryReaders(int descriptor);
  static void ReleaseReaders(int descriptor);
  /// Notes that a process helps the file's writer and may write into the file, even when that one has died.
  /// \param number  its number among the helpers, below kMostHelpers.
  static Result TakeHelper(int descriptor, unsigned number);
  /// Notes that a process with helpers has the file open.
  /// \param number  its own, from 1 to kSessions.
  static void ShowSession(int descriptor, std::uint64_t number);
  static bool HasSession(int descriptor, std::uint64_t number);
  static constexpr std::uint64_t kSessions = std::uint64_t{1} << 48;
  /// The number of a helper that is still there, -1 where there is none.
  static long HelperAtWork(int descriptor);
  static constexpr unsigned kMostHelpers = 1u << 24;

  /// Another process that holds the file's lock.
  /// \return false when the system does not tell.
  static bool HolderOf(int descriptor, vfd_Writer& who, bool& writes);
};
