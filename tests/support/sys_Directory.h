#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

/// A directory of its own, empty at first, removed at the end with all that is in it.
class sys_Directory {
 public:
  explicit sys_Directory(const std::filesystem::path& place = std::filesystem::temp_directory_path())
      : m_name((place / "pdm_XXXXXX").string()) {
    if (::mkdtemp(m_name.data()) == nullptr)
      throw std::filesystem::filesystem_error("no directory", place, {errno, std::generic_category()});
  }
  sys_Directory(const sys_Directory&) = delete;
  sys_Directory& operator=(const sys_Directory&) = delete;
  ~sys_Directory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_name, ignored);
  }

  const std::string& Name() const { return m_name; }
  std::string Path(const std::string& name) const { return m_name + '/' + name; }

 private:
  std::string m_name;
};

/// The bytes of a file, none when there is no such file.
inline std::string sys_Bytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}
