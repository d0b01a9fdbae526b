// endurance_concurrency [SECONDS]: twelve shares at once, again and again, with a client that is
// run by its Exec line and comes for its files when the share has long ended. Each message has its
// own files, or the share says that it was not handed over.

#include "endurance/Endurance.h"

#include <thread>

using namespace korvane::testing;

int main(int argc, char** argv) {
  const Deadline deadline(argc, argv);
  bool lost = false;
  std::vector<Tally> tallies;
  for (const int delay : {0, 50, 300}) {
    Endurance endurance(delay);
    Tally tally{.name = "at once, client after " + std::to_string(delay) + " ms"};
    do {
      constexpr std::size_t kShares = 12;
      std::vector<Things> things;
      std::vector<Finished> finished(kShares);
      for (std::size_t i = 0; i < kShares; ++i) things.push_back(endurance.make());
      {
        std::vector<std::unique_ptr<RunningProgram>> programs;
        std::vector<std::string> outputs;
        for (std::size_t i = 0; i < kShares; ++i) {
          outputs.push_back(endurance.desktop.folder / ("errors-" + std::to_string(i)));
          const int errors =
              ::open(outputs[i].c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0600);
          programs.push_back(std::make_unique<RunningProgram>(
              things[i].arguments, endurance.desktop.environment, -1, errors));
          ::close(errors);
        }
        for (std::size_t i = 0; i < kShares; ++i) {
          finished[i].status = programs[i]->wait();
          finished[i].errors = readFile(outputs[i]);
        }
      }
      for (std::size_t i = 0; i < kShares; ++i) {
        ++tally.runs;
        if (delay > 0) ++tally.faults;  // a client that comes late
        const bool good = endurance.isRight(things[i], finished[i], tally.name);
        ++(good ? tally.survived : tally.lost);
      }
    } while (!deadline.isOver() && delay == 300);
    lost = lost || tally.lost > 0;
    tallies.push_back(tally);
  }
  Tally::printHead();
  for (const Tally& tally : tallies) tally.print();
  return lost ? 1 : 0;
}
