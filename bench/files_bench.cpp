// Staging files beside cp: one gigabyte, a folder of 1,000 small files, and the same files one by
// one. Both ways read files that are in memory and write to the same disk; what was written before
// is removed outside of the measured time. cp's time has its process's start in it.
// TMPDIR chooses the disk; it must have 3 GB free.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "extension/ExtensionUtilities.h"
#include "linux/LinuxPlatform.h"
#include "platform/Platform.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace korvane;

constexpr int kSmallFiles = 1'000;

struct Files {
  testing::TemporaryFolder folder;
  std::string small = folder.folder("small");
  std::vector<std::string> smallFiles;

  Files() {
    ::setenv("XDG_DATA_HOME", folder.folder("data").c_str(), 1);
    Platform::install(linuxPlatform({.bundleIdentifier = "it.drelk.korvane.share"}));
    for (int i = 0; i < kSmallFiles; ++i) {
      smallFiles.push_back(folder.file("small/" + std::to_string(i), std::string(3'000, 'x')));
    }
  }
};

const Files& files() {
  static const Files made;
  return made;
}

const std::string& largeFilePath() {
  static const std::string made = [] {
    std::string path = files().folder.path("large");
    std::ofstream stream(path, std::ios::binary);
    const std::string block(std::size_t{1} << 20, 'x');
    for (int i = 0; i < 1024; ++i) stream << block;
    return path;
  }();
  return made;
}

void shareFiles(benchmark::State& state, const std::vector<std::string>& paths) {
  for (auto _ : state) {
    state.PauseTiming();
    ExtensionUtilities::ShareInit("Share");
    state.ResumeTiming();
    if (ExtensionUtilities::ShareFiles("Share", paths).size() != paths.size()) {
      state.SkipWithError("not all of the files were staged");
      return;
    }
  }
}

void cp(benchmark::State& state, const std::string& source) {
  const std::string target = files().folder.path("copy");
  const std::string command = "cp -r '" + source + "' '" + target + "'";
  for (auto _ : state) {
    state.PauseTiming();
    std::filesystem::remove_all(target);
    state.ResumeTiming();
    if (std::system(command.c_str()) != 0) {
      state.SkipWithError("cp failed");
      return;
    }
  }
  std::filesystem::remove_all(target);
}

void largeFile(benchmark::State& state) { shareFiles(state, {largeFilePath()}); }
void largeFileByCp(benchmark::State& state) { cp(state, largeFilePath()); }
void folderOfSmallFiles(benchmark::State& state) { shareFiles(state, {files().small}); }
void smallFilesOneByOne(benchmark::State& state) { shareFiles(state, files().smallFiles); }
void smallFilesByCp(benchmark::State& state) { cp(state, files().small); }

BENCHMARK(largeFile)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
BENCHMARK(largeFileByCp)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
BENCHMARK(folderOfSmallFiles)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(30);
BENCHMARK(smallFilesOneByOne)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(30);
BENCHMARK(smallFilesByCp)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(30);

}  // namespace
