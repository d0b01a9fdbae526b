// endurance_faults [SECONDS]: shares in which a call of a file operation fails. Every operation is
// tried with its first call failing, its second and so on, alone and from then on every n-th, until
// there are no more calls of it or the time is over.

#include "endurance/Endurance.h"

#include <cerrno>
#include <cstring>

#include "support/Places.h"

using namespace korvane::testing;

int main(int argc, char** argv) {
  const Deadline deadline(argc, argv);
  const std::vector<std::string> calls = {"open",   "create", "read", "write",  "copy", "rename",
                                          "remove", "stat",   "list", "folder", "lock", "truncate",
                                          "mode",   "seek",   "link", "time",   "any"};
  const std::vector<int> codes = {EIO, ENOSPC, EACCES, EINVAL};
  Endurance endurance;
  const std::filesystem::path log = endurance.desktop.folder / "faults";
  std::map<std::string, Tally> tallies;
  std::set<std::string> exhausted;
  if (!endurance.nextShareWorks("before any fault")) return 1;

  for (long nth = 1; exhausted.size() < 2 * calls.size() && !deadline.isOver(); ++nth) {
    for (const std::string& call : calls) {
      for (const bool every : {false, true}) {
        const std::string name = call + (every ? ", every n-th" : ", the n-th");
        if (exhausted.contains(name) || deadline.isOver()) continue;
        const int code = codes[static_cast<std::size_t>(nth) % codes.size()];
        const std::string what = name + ", n = " + std::to_string(nth) + ", " + std::strerror(code);
        Things things = endurance.make();
        writeFile(log, "");
        const std::string root = std::filesystem::canonical(endurance.desktop.folder);
        std::vector<std::string> command = {
            "env",
            "LD_PRELOAD=" KORVANE_BINARY_DIR "/tests/libendurance_injector.so",
            "KORVANE_FAULT_ROOTS=" + root + "/things:" + root + "/data/Q7K4",
            "KORVANE_FAULT_CALL=" + call,
            "KORVANE_FAULT_NTH=" + std::to_string(nth),
            "KORVANE_FAULT_EVERY=" + std::string(every ? "1" : "0"),
            "KORVANE_FAULT_ERRNO=" + std::to_string(code),
            "KORVANE_FAULT_LOG=" + log.string()};
        command.insert(command.end(), things.arguments.begin(), things.arguments.end());
        const Finished finished = endurance.desktop.run(command);
        const std::size_t hits = readFile(log).size();
        if (std::getenv("ENDURANCE_VERBOSE")) {
          std::fprintf(stderr, "== %s: %zu hits, exit %d\n%s", what.c_str(), hits, finished.status,
                       finished.errors.c_str());
        }
        if (hits == 0) exhausted.insert(name);
        if (finished.status != 0) describeFiles(endurance.staging());  // nobody else comes for them
        Tally& tally = tallies[call];
        tally.name = "fault: " + call;
        ++tally.runs;
        tally.faults += hits;
        const bool good = endurance.isRight(things, finished, what) &&
                          (tally.runs % 8 != 0 || endurance.nextShareWorks(what));
        ++(good ? tally.survived : tally.lost);
      }
    }
  }
  Tally::printHead();
  std::size_t lost = 0;
  std::size_t faults = 0;
  for (const auto& [call, tally] : tallies) {
    tally.print();
    lost += tally.lost;
    faults += tally.faults;
  }
  if (faults == 0) std::fprintf(stderr, "no call failed: the injector was not loaded\n");
  return lost == 0 && faults > 0 ? 0 : 1;
}
