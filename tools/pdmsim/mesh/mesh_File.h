#pragma once

#include <pdmsim/mesh/mesh_Error.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

/// A file that is read where one likes, open while a copy of this object lives.
class mesh_File {
 public:
  /// Throws mesh_Error.
  explicit mesh_File(const std::string& path);

  const std::string& Path() const { return m_path; }
  std::uint64_t Size() const { return m_size; }
  /// Throws mesh_Error when the file does not hold all of it.
  void Read(std::uint64_t at, void* to, std::size_t bytes) const;
  /// Throws mesh_Error.
  [[noreturn]] void Fail(const std::string& what) const { throw mesh_Error(m_path, what); }

 private:
  std::string m_path;
  std::uint64_t m_size = 0;
  std::shared_ptr<std::FILE> m_file;
};
