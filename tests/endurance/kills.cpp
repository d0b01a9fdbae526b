// endurance_kills [SECONDS]: shares that are killed at any moment. What the client got by then is
// right, the sources are as they were, and the next share delivers everything and leaves nothing
// of the killed one.

#include "endurance/Endurance.h"

#include <random>
#include <thread>

using namespace korvane::testing;

int main(int argc, char** argv) {
  const Deadline deadline(argc, argv);
  Endurance endurance;
  Tally tally{.name = "kill"};
  if (!endurance.nextShareWorks("before any kill")) return 1;
  std::mt19937 random(std::random_device{}());
  while (!deadline.isOver()) {
    const Things things = endurance.make();
    const int microseconds = std::uniform_int_distribution<int>(0, 350'000)(random);
    const std::string what = "killed after " + std::to_string(microseconds) + " us";
    // A clean end before that is fine, too.
    std::vector<std::string> command = {"timeout", "-s", "KILL",
                                        std::to_string(microseconds / 1e6)};
    command.insert(command.end(), things.arguments.begin(), things.arguments.end());
    const Finished finished = endurance.desktop.run(command);
    ++tally.runs;
    if (finished.status != 0) ++tally.faults;
    bool good = describeFiles(things.folder) == things.sources;
    if (!good) std::fprintf(stderr, "%s: the sources were changed\n", what.c_str());
    good = good && endurance.nextShareWorks(what);
    if (const auto line = endurance.foundSoFar(things.subject)) {
      if (!endurance.foundNothingWrong(things, *line)) {
        std::fprintf(stderr, "%s: what arrived is another's: %s\n", what.c_str(), line->c_str());
        good = false;
      }
    }
    ++(good ? tally.survived : tally.lost);
  }
  Tally::printHead();
  tally.print();
  return tally.lost == 0 ? 0 : 1;
}
