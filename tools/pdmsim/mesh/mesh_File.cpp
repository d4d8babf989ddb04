#include <pdmsim/mesh/mesh_File.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <unistd.h>

mesh_File::mesh_File(const std::string& path) : m_path(path) {
  std::FILE* const file = std::fopen(path.c_str(), "rb");
  if (file == nullptr)
    Fail(std::strerror(errno));
  m_file = std::shared_ptr<std::FILE>(file, [](std::FILE* open) { std::fclose(open); });
  std::error_code error;
  m_size = std::filesystem::file_size(path, error);
  if (error)
    Fail("expected a file, found none of a known size");
}

void mesh_File::Read(std::uint64_t at, void* to, std::size_t bytes) const {
  if (at > m_size || bytes > m_size - at)
    Fail("expected " + std::to_string(bytes) + " bytes at " + std::to_string(at) + ", found a file of " +
         std::to_string(m_size));
  for (auto* next = static_cast<char*>(to); bytes > 0;) {
    const ssize_t got = ::pread(fileno(m_file.get()), next, bytes, static_cast<off_t>(at));
    if (got < 0 && errno == EINTR)
      continue;
    if (got <= 0)
      Fail(got < 0 ? std::strerror(errno) : "the file became shorter while it was read");
    next += got;
    at += static_cast<std::uint64_t>(got);
    bytes -= static_cast<std::size_t>(got);
  }
}
