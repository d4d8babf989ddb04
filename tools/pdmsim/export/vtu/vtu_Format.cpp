#include <pdmsim/export/vtu/vtu_Format.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Markup.h>
#include <pdmsim/export/out/exp_Losses.h>
#include <pdmsim/export/vtu/vtu_Writer.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

namespace {

/// The name of a step's file without the number.
std::string pieceStem(const std::string& list) {
  return std::filesystem::path(list).replace_extension().string() + "_";
}

/// The name of a step's file beside that of the list: all numbers have as many digits.
std::string pieceName(const std::string& list, std::size_t step, std::size_t end) {
  std::string number = std::to_string(step);
  number.insert(0, std::to_string(end > 0 ? end - 1 : 0).size() - number.size(), '0');
  return pieceStem(list) + number + ".vtu";
}

/// Files of an older, longer list that the new one replaces would be left beside it.
void removeOlder(const std::string& list, const std::set<std::string>& kept, exp_Files& files) {
  constexpr std::string_view kFile = "file=\"", kEnd = ".vtu\"", kDigits = "0123456789";
  std::ifstream stored(list, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(stored), {}};
  const std::string stem = pieceStem(list);
  const std::string begin = std::string(kFile) + cli_Escaped(std::filesystem::path(stem).filename().string());
  for (std::size_t at = text.find(begin); at != std::string::npos; at = text.find(begin, at + 1)) {
    const std::size_t number = at + begin.size();
    const std::size_t end = text.find_first_not_of(kDigits, number);
    if (end == number || end == std::string::npos || text.compare(end, kEnd.size(), kEnd) != 0)
      continue;
    const std::string piece = stem + text.substr(number, end - number) + ".vtu";
    std::string head(vtu_kHead.size(), '\0');
    std::ifstream(piece, std::ios::binary).read(head.data(), static_cast<std::streamsize>(head.size()));
    if (!kept.contains(piece) && head == vtu_kHead)
      files.Remove(piece);
  }
}

} // namespace

std::vector<std::string> vtu_Losses(const exp_Task& task) {
  std::vector<std::string> losses = exp_VtkLosses(task.mesh, false);
  const vtu_Arrays arrays(task.mesh);
  losses.insert(losses.end(), arrays.renamed.begin(), arrays.renamed.end());
  return losses;
}

void vtu_Write(const exp_Task& task, exp_Files& files) {
  const std::string& out = task.wanted.out;
  const std::vector<double>& times = task.mesh.Times();
  const vtu_Arrays arrays(task.mesh);
  if (std::filesystem::path(out).extension() != ".pvd") {
    if (times.size() > 1)
      throw cli_Failure(cli_Exit::kNotThere, out + ": expected --step or a name that ends with .pvd for " +
                                                 std::to_string(times.size()) + " steps, found neither");
    return vtu_Writer(task, arrays, 0, files.Add(out)).Write();
  }
  std::string list = "<?xml version=\"1.0\"?>\n<VTKFile type=\"Collection\" version=\"0.1\" "
                     "byte_order=\"LittleEndian\">\n<Collection>\n";
  std::set<std::string> pieces;
  for (std::size_t step = 0; step < std::max<std::size_t>(1, times.size()); ++step) {
    const std::string piece =
        pieceName(out, task.wanted.firstStep + step, task.wanted.firstStep + times.size());
    pieces.insert(piece);
    vtu_Writer(task, arrays, step, files.Add(piece)).Write();
    list += "<DataSet timestep=\"" + exp_Shortest(times.empty() ? 0.0 : times[step]) +
            "\" part=\"0\" file=\"" + cli_Escaped(std::filesystem::path(piece).filename().string()) +
            "\"/>\n";
  }
  removeOlder(out, pieces, files);
  exp_Stream file(files.Add(out), out);
  file << list << "</Collection>\n</VTKFile>\n";
  file.Close();
}
