// Loading an address book of 100,000 contacts and 1,000 groups of 100 members, records included,
// beside libplist and Python's plistlib, which only make their own trees of the same files. The
// peers get the bytes; our figures contain the reading of the files and the coordination too.
// "peak" is what a fresh process holds of memory at the most, "records" what it has asked for at
// the end; "beyond" is the difference, in sizes of the binary files.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <malloc.h>
#include <plist/plist.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>

#include "extension/ExtensionUtilities.h"
#include "formats/plist/PropertyListBytes.h"
#include "linux/detail/FileCoordinator.h"
#include "linux/detail/FileManager.h"
#include "linux/detail/PropertyLists.h"
#include "model/ExtensionAccount.h"
#include "model/ExtensionGroup.h"
#include "platform/Platform.h"
#include "support/PropertyListWriter.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace korvane;
using testing::BinaryWriter;
using testing::XMLWriter;

constexpr int kContacts = 100'000;
constexpr int kGroups = 1'000;
constexpr int kMembers = 100;

class AddressBook {
 public:
  Value contacts() {
    List list;
    for (int i = 0; i < kContacts; ++i) list.push_back(contact(i));
    return list;
  }
  Value groups() {
    List list;
    for (int i = 0; i < kGroups; ++i) {
      List members;
      for (int k = 0; k < kMembers; ++k) members.push_back(contact(pick(kContacts)));
      list.push_back(Dictionary{{"idx", "group-" + std::to_string(i)},
                                {"name", "Group " + std::to_string(i)},
                                {"addresses", members}});
    }
    return list;
  }

 private:
  int pick(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }
  static Value contact(int number) {
    static constexpr std::array<const char*, 12> kFirst = {"Anna", "José",  "Zoë",   "Mikhail",
                                                           "Lin",  "Grace", "Björn", "Fatima",
                                                           "Sean", "Iris",  "Otto",  "Yuki"};
    static constexpr std::array<const char*, 10> kLast = {
        "Almeida", "Brown",  "Chandra", "Dubois",  "Eriksson",
        "Fischer", "García", "Hayashi", "Ivanova", "Jansen"};
    const auto n = static_cast<std::size_t>(number);
    const std::string first = kFirst[n % kFirst.size()];
    const std::string last =
        std::string(kLast[n / 7 % kLast.size()]) + (n % 3 ? "" : "-" + std::to_string(n % 997));
    return Dictionary{{"mail", "person." + std::to_string(number) + "@mail" +
                                   std::to_string(n % 50) + ".example"},
                      {"firstName", first},
                      {"lastName", last},
                      {"company", n % 4 ? "" : "Company " + std::to_string(n % 500)},
                      {"nickname", n % 9 ? "" : "nick" + std::to_string(number)},
                      {"rank", number % 1000}};
  }
  std::mt19937 random_{1};
};

enum class Form { xml, binary };

// Both address books on disk, each in a data home of its own.
struct Files {
  testing::TemporaryFolder folder;
  std::string contacts[2];
  std::string groups[2];

  Files() {
    AddressBook book;
    const Value all = book.contacts();
    const Value groupList = book.groups();
    for (const Form form : {Form::xml, Form::binary}) {
      const auto write = form == Form::xml ? XMLWriter::write
                                           : [](const Value& v) { return BinaryWriter::write(v); };
      contacts[index(form)] = folder.file(path(form, "Addresses"), write(all));
      groups[index(form)] = folder.file(path(form, "Groups"), write(groupList));
    }
  }
  static std::size_t index(Form form) { return form == Form::xml ? 0 : 1; }
  static std::string path(Form form, const std::string& name) {
    return std::string(form == Form::xml ? "xml" : "binary") +
           "/Q7K4M2XW9P.korvane/SharedData/Contacts/" + name + ".plist";
  }
  std::string dataHome(Form form) const {
    return folder.path(form == Form::xml ? "xml" : "binary");
  }
  std::size_t size(Form form) const {
    return std::filesystem::file_size(contacts[index(form)]) +
           std::filesystem::file_size(groups[index(form)]);
  }
};

const Files& files() {
  static const Files files;
  return files;
}

void install(Form form) {
  ::setenv("XDG_DATA_HOME", files().dataHome(form).c_str(), 1);
  Platform services;
  services.fileManager = std::make_shared<FileManager>();
  services.fileCoordinator = std::make_shared<FileCoordinator>();
  services.propertyLists = std::make_shared<PropertyLists>();
  Platform::install(std::move(services));
}

void checkLoaded(const ExtensionDirectory& directory) {
  if (directory.addresses.size() != kContacts || directory.groups.size() != kGroups ||
      directory.groups.back()->addresses()->size() != kMembers) {
    std::fprintf(stderr, "the address book was not loaded\n");
    std::abort();
  }
}

void addressesAndGroups(benchmark::State& state, Form form) {
  install(form);
  for (auto _ : state) {
    ExtensionDirectory directory = ExtensionUtilities::AddressesAndGroups();
    state.PauseTiming();
    checkLoaded(directory);
    directory = {};
    state.ResumeTiming();
  }
  state.counters["MB"] = static_cast<double>(files().size(form)) / 1e6;
}

void parsingAlone(benchmark::State& state, Form form) {
  const std::string contacts = testing::contentOf(files().contacts[Files::index(form)]);
  const std::string groups = testing::contentOf(files().groups[Files::index(form)]);
  for (auto _ : state) {
    auto first = propertyListFromBytes(contacts);
    auto second = propertyListFromBytes(groups);
    state.PauseTiming();
    if (!first || !second) std::abort();
    first.reset();
    second.reset();
    state.ResumeTiming();
  }
}

void libplist(benchmark::State& state, Form form) {
  const std::string contacts = testing::contentOf(files().contacts[Files::index(form)]);
  const std::string groups = testing::contentOf(files().groups[Files::index(form)]);
  const auto parse = [form](const std::string& bytes) {
    plist_t tree = nullptr;
    (form == Form::xml ? plist_from_xml : plist_from_bin)(
        bytes.data(), static_cast<std::uint32_t>(bytes.size()), &tree);
    return tree;
  };
  for (auto _ : state) {
    plist_t first = parse(contacts);
    plist_t second = parse(groups);
    state.PauseTiming();
    if (plist_array_get_size(first) != kContacts || plist_array_get_size(second) != kGroups) {
      std::abort();
    }
    plist_free(first);
    plist_free(second);
    state.ResumeTiming();
  }
}

void plistlib(benchmark::State& state, Form form) {
  const std::string command =
      "python3 -c 'import plistlib, sys, time\n"
      "files = [open(p, \"rb\").read() for p in sys.argv[1:]]\n"
      "start = time.perf_counter()\n"
      "trees = [plistlib.loads(f) for f in files]\n"
      "print(time.perf_counter() - start)\n"
      "assert len(trees[0]) == 100000' " +
      files().contacts[Files::index(form)] + " " + files().groups[Files::index(form)];
  for (auto _ : state) {
    FILE* output = ::popen(command.c_str(), "r");
    double seconds = 0;
    const bool read = output && std::fscanf(output, "%lf", &seconds) == 1;
    if (!output || ::pclose(output) != 0 || !read) return state.SkipWithError("no python3");
    state.SetIterationTime(seconds);
  }
}

// A figure of /proc/self/status, in bytes.
double status(const std::string& name) {
  std::ifstream file("/proc/self/status");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(name + ":"))
      return std::strtod(line.c_str() + name.size() + 1, nullptr) * 1024;
  }
  return 0;
}

// What the heap has given out.
double inUse() {
  const auto info = ::mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

void memory(benchmark::State& state, Form form) {
  files();
  std::array<double, 2> figures{};  // at the most and at the end
  for (auto _ : state) {
    int ends[2];
    if (::pipe(ends) != 0) return state.SkipWithError("no pipe");
    const pid_t child = ::fork();
    if (child == 0) {
      install(form);
      ::malloc_trim(0);
      std::ofstream("/proc/self/clear_refs") << "5";  // forget the peak
      const double before = status("VmRSS");
      const double used = inUse();
      const ExtensionDirectory directory = ExtensionUtilities::AddressesAndGroups();
      const std::array<double, 2> told{status("VmHWM") - before, inUse() - used};
      checkLoaded(directory);
      ::_exit(::write(ends[1], told.data(), sizeof told) == sizeof told ? 0 : 1);
    }
    ::close(ends[1]);
    const bool read = ::read(ends[0], figures.data(), sizeof figures) == sizeof figures;
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    if (!read) return state.SkipWithError("no figures");
  }
  state.counters["peakMB"] = figures[0] / 1e6;
  state.counters["recordsMB"] = figures[1] / 1e6;
  state.counters["beyond"] =
      (figures[0] - figures[1]) / static_cast<double>(files().size(Form::binary));
}

// In this order: what a process frees, the next measurement may get more cheaply.
BENCHMARK_CAPTURE(memory, xml, Form::xml)->Iterations(1);
BENCHMARK_CAPTURE(memory, binary, Form::binary)->Iterations(1);
BENCHMARK_CAPTURE(addressesAndGroups, xml, Form::xml)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(libplist, xml, Form::xml)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(addressesAndGroups, binary, Form::binary)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(libplist, binary, Form::binary)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(parsingAlone, xml, Form::xml)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(parsingAlone, binary, Form::binary)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(plistlib, xml, Form::xml)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK_CAPTURE(plistlib, binary, Form::binary)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(1);

}  // namespace
