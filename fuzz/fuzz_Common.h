#pragma once

#include <PDM_Core.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

// What the fuzzing programs share. Linking fuzz_Common.cpp brings the library up before the first input and
// sends its error stream nowhere.

/// Stops the program, which makes the input a finding, unless `good`.
/// \param what was expected.
void fuzz_Require(bool good, const char* what);

/// From here on fuzz_NothingFailed() tells whether the file module has refused anything. What HDF5 makes of a
/// damaged file differs between reading and writing, so only what was read without a failure is held against
/// anything.
void fuzz_Watch();
bool fuzz_NothingFailed();

/// A name for a file in a directory that goes away with the program. The directory is made where TMPDIR says,
/// which should be memory: one input is several files.
std::string fuzz_Path(const char* name);
/// Replaces a file by these bytes.
void fuzz_Write(const std::string& path, const std::uint8_t* bytes, std::size_t size);
/// The bytes of a file, none when there is no such file.
std::vector<std::uint8_t> fuzz_Bytes(const std::string& path);

/// Takes an input apart from the front; what is missing reads as zeros.
class fuzz_Input {
 public:
  fuzz_Input(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}

  /// The next number, least significant byte first.
  template <class Number>
  Number Take() {
    Number number = 0;
    const std::size_t n = m_size < sizeof number ? m_size : sizeof number;
    if (n > 0)
      std::memcpy(&number, m_data, n);
    Skip(n);
    return number;
  }
  void Skip(std::size_t n) {
    m_data += n;
    m_size -= n;
  }
  const std::uint8_t* Data() const { return m_data; }
  std::size_t Size() const { return m_size; }

 private:
  const std::uint8_t* m_data;
  std::size_t m_size;
};
