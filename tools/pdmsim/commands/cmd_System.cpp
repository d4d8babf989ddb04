#include <pdmsim/commands/cmd_System.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/show/show_Text.h>

#include <algorithm>
#include <vector>

namespace {

/// What systems there are, as "0 'statics', 1 'modal analysis'".
std::string Listed(const std::vector<std::string>& names, int count) {
  constexpr std::size_t kMost = 8;
  std::string text;
  for (std::size_t i = 0; i < std::min(names.size(), kMost); ++i)
    text += (text.empty() ? "" : ", ") + std::to_string(i) + " '" + names[i] + "'";
  const int left = count - static_cast<int>(std::min(names.size(), kMost));
  return left > 0 ? text + " " + show_More(left) : text;
}

} // namespace

fesD_FESystem cmd_FindSystem(const std::string& file, const std::string& name, const msfD_Mesh& mesh) {
  const auto systems = mesh.systems();
  const int count = systems.count();
  const auto refuse = [&](const std::string& expected, const std::string& found) {
    throw cli_Failure(cli_Exit::kNotThere, file + ": expected " + expected + ", found " + found);
  };
  if (count == 0)
    refuse("a system in the mesh", "none; a mesh has systems when a solver has put them there");
  if (name.empty() && count == 1)
    return systems.get(0);
  const int number = std::atoi(name.c_str());
  const bool isNumber = std::to_string(number) == name;
  constexpr int kMost = 1000; // of which names are looked at for a list
  std::vector<std::string> names;
  for (int i = 0; i < count && (!isNumber || i < kMost); ++i) {
    names.emplace_back(systems.get(i).systemName().cStr());
    if (!name.empty() && name == names.back())
      return systems.get(i);
  }
  if (isNumber && number >= 0 && number < count)
    return systems.get(number);
  const std::string there = Listed(names, count);
  if (name.empty())
    refuse("SYSTEM", "none, and several systems: " + there);
  refuse("a system '" + name + "'",
         std::string("none of that name or number: there ") + (count == 1 ? "is " : "are ") + there);
  return {};
}
