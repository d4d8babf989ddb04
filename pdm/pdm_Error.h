#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace pdm {

/// What every call of this layer throws when it fails. Nothing is printed.
///
/// what() is "FILE: PATH: OPERATION: CAUSE" in one line, without the parts that are empty.
/// Threads: a value; each thread uses values of its own.
class Error : public std::runtime_error {
 public:
  /// \param file       the file as it was opened.
  /// \param path       of the object that was used, "discreteModel/mesh/nodeSets/inlet"; may be empty.
  /// \param operation  what was to be done, "read a set".
  /// \param cause      why it was not.
  Error(std::string file, std::string path, std::string operation, std::string cause)
      : std::runtime_error(join({&file, &path, &operation, &cause})),
        m_parts(std::make_shared<const Parts>(
            Parts{std::move(file), std::move(path), std::move(operation), std::move(cause)})) {}

  /// \return the file as it was opened.
  const std::string& file() const noexcept { return m_parts->file; }
  /// \return the path of the object in the file's model, "" for the file as a whole.
  const std::string& path() const noexcept { return m_parts->path; }
  /// \return what was to be done.
  const std::string& operation() const noexcept { return m_parts->operation; }
  /// \return why it was not done.
  const std::string& cause() const noexcept { return m_parts->cause; }

 private:
  struct Parts {
    std::string file, path, operation, cause;
  };
  static std::string join(std::initializer_list<const std::string*> parts) {
    std::string line;
    for (const std::string* const part : parts)
      if (!part->empty())
        line += (line.empty() ? "" : ": ") + *part;
    return line;
  }

  std::shared_ptr<const Parts> m_parts; // shared, so that copying an error never fails
};

} // namespace pdm
