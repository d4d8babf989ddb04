#include <campaign/camp_Campaigns.h>

#include <cstdlib>
#include <cstring>

namespace {

void setLimit(const char* variable, int bytes) {
  if (bytes != 0)
    ::setenv(variable, std::to_string(bytes).c_str(), 1);
}

// Makes a file, so that what is set up once is set up before the children branch off.
void warmUp() {
  const camp_Directory directory;
  camp_Session session(directory.File(), 1);
  session.Create();
}

} // namespace

std::vector<camp_Row> camp_ForEachConfig(const char* campaign, std::span<const camp_Config> configs,
                                         const camp_Options& options,
                                         const std::function<void(const camp_Config&, camp_Row&)>& body) {
  std::vector<camp_Row> rows;
  for (const camp_Config& config : configs) {
    if ((!options.config.empty() && options.config != config.name) ||
        (config.breakable() && options.library.empty()))
      continue;
    camp_Board& board = camp_Board::New();
    camp_Row& row = rows.emplace_back(camp_Row{campaign, config.name});
    camp_Child child(
        [&] {
          setLimit("PDM_TEST_JOURNAL_LIMIT", config.journal);
          setLimit("PDM_TEST_SPILL_LIMIT", config.spill);
          warmUp();
          body(config, row);
          board.counter[0] = row.runs;
          board.counter[1] = row.bad;
          board.Say(row.note);
        },
        0);
    const int status = child.Wait();
    row.runs = board.counter[0];
    row.bad = board.counter[1];
    row.note = board.message;
    if (status != 0)
      row.Bad("the campaign itself ended with " + std::to_string(status));
    if (options.untilBad && row.bad > 0)
      break;
  }
  return rows;
}
