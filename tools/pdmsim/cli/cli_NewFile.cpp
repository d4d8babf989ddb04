#include <pdmsim/cli/cli_NewFile.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_NewFiles.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>

namespace {

cli_Replaced OfKind(std::string_view begins) {
  const auto fits = [begins](const std::string& path) {
    std::string head(begins.size(), '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(head.data(), static_cast<std::streamsize>(head.size()));
    const auto same = [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); };
    return file.gcount() == 0 ||
           (file && std::equal(head.begin(), head.end(), begins.begin(), begins.end(), same));
  };
  return {"a file that begins with " + std::string(begins), fits};
}

} // namespace

void cli_CheckOutput(const std::string& path, const std::string& input) {
  if (path == "-")
    throw cli_Failure(cli_Exit::kNotThere,
                      "-: expected the name of a file to write, found '-': nothing of this "
                      "goes to standard output (./- is a file of that name)");
  cli_ExpectFolder(path);
  std::error_code ignored;
  if (std::filesystem::equivalent(path, input, ignored))
    throw cli_Failure(cli_Exit::kUnusable,
                      path + ": expected another file than the one that is read, found that");
}

void cli_CheckNewFile(const std::string& path, bool force, std::string_view begins) {
  cli_NewFiles(force).CheckName(path, OfKind(begins));
}

void cli_WriteNewFile(const std::string& path, std::string_view bytes, bool force, std::string_view begins) {
  cli_NewFiles files(force);
  files.Write(path, bytes, OfKind(begins));
  files.Commit();
}
