#pragma once

#include <UTI_BasicUtils/UTI_BasicUtils_Export.h>

#include <cstdint>
#include <functional>
#include <string>

/// What a child process may use.
struct UTI_BASIC_API prc_ChildLimits {
  std::uint64_t memory = 0; // bytes of address space beyond what this process has
  int cpuSeconds = 0, seconds = 0;

  /// Enough to read every byte of a sound file of that size several times over.
  static prc_ChildLimits ForFile(std::uint64_t fileBytes);
};

/// Does dangerous reading in a child process, so that damage that kills the reader kills only the child.
///
/// The child has the limits, writes no file, leaves no core, has neither input nor output but the pipe, and
/// ends without running exit handlers or touching what this process has open; it dies with this process.
/// Not for a process whose other threads hold locks that the work needs.
/// Threads: any; the child has the calling thread alone.
class UTI_BASIC_API prc_Child {
 public:
  struct Outcome {
    bool ended = false; // the work returned; everything it said is in output
    std::string output;
    std::string cause; // when it did not: one line, "ended by signal 11 (Segmentation fault)"
  };
  /// Says a piece of text to the parent.
  using Say = std::function<void(const std::string&)>;

  /// \param tick called some ten times a second while the child works; what it throws ends the child.
  static Outcome Run(const prc_ChildLimits& limits, const std::function<void(const Say&)>& work,
                     const std::function<void()>& tick = {});
};
