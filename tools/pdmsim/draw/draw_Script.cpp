#include <pdmsim/draw/draw_Script.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_NewFile.h>
#include <pdmsim/cli/cli_Program.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace {

constexpr int kNothingToDrawWith = 3; // the script's exit code

std::string FindScript() {
  std::error_code ignored;
  const fs::path here = fs::read_symlink("/proc/self/exe", ignored).parent_path();
  const fs::path script = here / ".." / PDM_SCRIPT_FOLDER / "pdmsim_draw.py";
  if (fs::exists(script, ignored))
    return script.lexically_normal().string();
  throw cli_Failure(cli_Exit::kUnusable, "pdmsim_draw.py: expected beside the program in " PDM_SCRIPT_FOLDER
                                         ", found none; the installation is not whole");
}

} // namespace

nlohmann::json draw_Run(const nlohmann::json& job, bool force) {
  const std::string out = job["out"], script = FindScript();
  const cli_Scratch scratch;
  nlohmann::json told = job;
  told["out"] = scratch.At("picture.png");
  told["result"] = scratch.At("result.json");
  std::ofstream(scratch.At("job.json")) << told;
  cli_Ended ended{kNothingToDrawWith, {}};
  const char* const wanted = std::getenv("PDM_PYTHON");
  for (const char* python : {wanted, "python3", "/usr/bin/python3"})
    if (python != nullptr && (ended.code == kNothingToDrawWith || ended.code < 0))
      ended = cli_Run({python, "-B", script, scratch.At("job.json")});
  if (ended.code == kNothingToDrawWith || ended.code < 0)
    throw cli_Failure(
        cli_Exit::kUnusable,
        out + ": expected Python with VTK, or with Matplotlib and h5py, to draw with, found none; "
              "PDM_PYTHON names another Python");
  if (ended.code != 0)
    throw cli_Failure(cli_Exit::kUnusable, out + ": " + ended.said);
  std::ifstream picture(scratch.At("picture.png"), std::ios::binary);
  cli_WriteNewFile(out, std::string(std::istreambuf_iterator<char>(picture), {}), force, draw_kPicture);
  std::ifstream result(scratch.At("result.json"));
  return nlohmann::json::parse(result, nullptr, false);
}
