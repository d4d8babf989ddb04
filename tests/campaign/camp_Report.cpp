#include <campaign/camp_Campaigns.h>

#include <algorithm>
#include <ctime>
#include <iostream>
#include <nlohmann/json.hpp>

void camp_Row::Bad(const std::string& message) {
  constexpr int kTold = 5;
  if (++bad <= kTold)
    std::cerr << campaign << ", " << config << ", run " << runs << ": " << message << '\n';
}

void camp_Row::Progress(std::int64_t of) const {
  constexpr std::time_t kPause = 5;
  static std::time_t s_last = std::time(nullptr);
  const std::time_t now = std::time(nullptr);
  if (now - s_last < kPause)
    return;
  s_last = now;
  std::cerr << campaign << ", " << config << ": " << runs << " of " << of << ", bad " << bad << '\n';
}

int camp_Print(const std::vector<camp_Row>& rows, bool json) {
  std::int64_t bad = 0;
  nlohmann::json list = nlohmann::json::array();
  for (const camp_Row& row : rows) {
    bad += row.bad;
    if (json)
      list.push_back({{"campaign", row.campaign},
                      {"configuration", row.config},
                      {"runs", row.runs},
                      {"bad", row.bad},
                      {"note", row.note}});
    else
      std::printf("%-12s %-18s %8lld runs %6lld bad  %s\n", row.campaign.c_str(), row.config.c_str(),
                  static_cast<long long>(row.runs), static_cast<long long>(row.bad), row.note.c_str());
  }
  if (json)
    std::cout << nlohmann::json{{"bad", bad}, {"campaigns", list}}.dump(2) << '\n';
  return bad == 0 ? 0 : 1;
}

camp_Rows camp_ForEachConfig(const char* campaign, std::span<const camp_Config> configs,
                             const camp_Options& options,
                             const std::function<void(const camp_Config&, camp_Row&)>& body) {
  camp_Rows rows;
  for (const camp_Config& config : configs) {
    if (!options.config.empty() && options.config != config.name)
      continue;
    camp_Board& board = camp_Board::New();
    camp_Row& row = rows.emplace_back(camp_Row{campaign, config.name});
    camp_Child child(
        [&] {
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
