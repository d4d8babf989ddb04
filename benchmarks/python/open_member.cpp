// Opens a file, reads one member and closes it: prints the median of the microseconds that it takes.
#include <pdm/pdm.hpp>

#include <chrono>
#include <cstdio>
#include <cstdlib>

int main(int count, char** arguments) {
  if (count != 3)
    return 2;
  std::vector<double> times;
  for (int i = 0; i < std::atoi(arguments[2]); ++i) {
    const auto start = std::chrono::steady_clock::now();
    const auto sim = pdm::open(arguments[1]);
    const int nodes = sim.model().mesh().node_count();
    times.push_back(
        std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
    if (nodes < 0)
      return 1;
  }
  std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2), times.end());
  std::printf("%.2f\n", times[times.size() / 2]);
}
