#include "host/Diagnosis.h"

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>
#include <linux/landlock.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <set>
#include <sstream>
#include <utility>

#include "extension/ExtensionUtilities.h"
#include "host/CommandLine.h"
#include "host/Edition.h"
#include "linux/detail/ContainerRoot.h"
#include "linux/detail/GLibPointer.h"
#include "linux/detail/ImageDecoder.h"
#include "linux/detail/MessageCatalogue.h"
#include "linux/detail/ProgramOutput.h"
#include "linux/detail/SessionBus.h"
#include "platform/NSBundle.h"
#include "platform/NSWorkspace.h"
#include "platform/Platform.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;

/// What another program or the session bus is given to answer.
constexpr std::chrono::milliseconds kPatience{5'000};

/// Takes down which application is asked, and opens nothing.
class AskedWorkspace : public NSWorkspace {
 public:
  bool openURLs(const std::vector<NSURL>&, std::string_view application, unsigned) override {
    asked = application;
    return true;
  }
  std::string asked;
};

Diagnosis::Container containerAt(const std::optional<std::string>& path, std::string_view home) {
  Diagnosis::Container container;
  if (!path) return container;
  container.path = withoutHome(*path, home);
  struct stat status {};
  if (::stat(path->c_str(), &status) == 0) {
    container.exists = S_ISDIR(status.st_mode);
    container.isOwn = status.st_uid == geteuid();
    container.rights = status.st_mode & 0777U;
    container.isWritable = access(path->c_str(), W_OK | X_OK) == 0;
    return container;
  }
  // The nearest folder that is there decides whether it can be made.
  fs::path folder = fs::path(*path).parent_path();
  std::error_code error;
  while (folder.has_relative_path() && !fs::exists(folder, error)) folder = folder.parent_path();
  container.isWritable = access(folder.c_str(), W_OK | X_OK) == 0;
  return container;
}

/// The names on the session bus: those that are owned, and those that it can start.
struct BusNames {
  bool isThere = false;
  std::set<std::string> owned;
  std::set<std::string> startable;

  bool knows(const std::string& name) const {
    return owned.contains(name) || startable.contains(name);
  }
};

BusNames busNames() {
  BusNames names;
  GErrorSlot error;
  const auto bus = connectToSessionBus(kPatience, error);
  if (!bus) return names;
  names.isThere = true;
  for (const auto& [method, into] : {std::pair{"ListNames", &names.owned},
                                     std::pair{"ListActivatableNames", &names.startable}}) {
    const GPointer<GVariant> answer(g_dbus_connection_call_sync(
        bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
        nullptr, G_VARIANT_TYPE("(as)"), G_DBUS_CALL_FLAGS_NONE,
        static_cast<int>(kPatience.count()), nullptr, nullptr));
    if (!answer) continue;
    GVariantIter* list = nullptr;
    g_variant_get(answer.get(), "(as)", &list);
    const char* name = nullptr;
    while (g_variant_iter_next(list, "&s", &name)) into->insert(name);
    g_variant_iter_free(list);
  }
  return names;
}

std::string firstLine(std::string text) {
  text.resize(std::min(text.size(), text.find('\n')));
  return text;
}

Diagnosis::Client clientOf(const std::string& application, const BusNames& bus,
                           std::string_view home) {
  using Road = Diagnosis::Road;
  Diagnosis::Client client;
  const GObjectPointer<GDesktopAppInfo> entry(
      g_desktop_app_info_new((application + ".desktop").c_str()));
  if (bus.owned.contains(application)) {
    client.road = Road::running;
  } else if (bus.startable.contains(application)) {
    client.road = Road::startedByBus;
  } else if (entry) {
    client.road = Road::startedByEntry;
  }
  if (!entry) return client;
  client.entry = withoutHome(g_desktop_app_info_get_filename(entry.get()), home);
  const char* executable = g_app_info_get_executable(G_APP_INFO(entry.get()));
  if (!executable || fs::path(executable).filename() != ownName("korvane-compose")) return client;
  const ProgramOutput told =
      outputOfProgram({executable, "--which"}, kPatience).value_or(ProgramOutput());
  if (told.succeeded) {
    client.mailProgram = firstLine(told.output);
  } else {
    client.why = withoutHome(firstLine(told.errors), home);
    if (client.why.empty())
      client.why = translated("korvane-compose does not say which it would open");
  }
  return client;
}

/// The first of the folders' paths at which something is.
std::string found(const std::vector<fs::path>& folders, const fs::path& below) {
  std::error_code error;
  for (const fs::path& folder : folders) {
    if (fs::exists(folder / below, error)) return folder / below;
  }
  return {};
}

std::vector<fs::path> dataFolders() {
  std::vector<fs::path> folders{g_get_user_data_dir(), programDataFolder()};
  for (const char* const* folder = g_get_system_data_dirs(); *folder; ++folder) {
    folders.emplace_back(*folder);
  }
  return folders;
}

/// The folders of libraries below the program's prefix, and the system's.
std::vector<fs::path> libraryFolders(const fs::path& prefix) {
  std::vector<fs::path> folders;
  for (const fs::path& root : {prefix, fs::path("/usr")}) {
    for (const char* name : {"lib", "lib64"}) {
      folders.push_back(root / name);
      std::error_code error;
      for (const auto& entry : fs::directory_iterator(root / name, error)) {
        if (entry.path().filename().string().find("-linux-") != std::string::npos) {
          folders.push_back(entry.path());
        }
      }
    }
  }
  return folders;
}

std::vector<Diagnosis::Entry> entriesFor(const std::string& extension, std::string_view home) {
  const std::string own = ownName("korvane-share");
  const fs::path prefix = programDataFolder().parent_path();
  const auto data = dataFolders();
  const auto libraries = libraryFolders(prefix);
  const auto module = [](const char* manager) {
    return ownName("libkorvane-" + std::string(manager)) + ".so";
  };
  std::vector<Diagnosis::Entry> entries{
      {"application", found(data, "applications/" + own + ".desktop")},
      {"Nautilus", found(libraries, "nautilus/extensions-4/" + module("nautilus"))},
      {"Caja", found(libraries, "caja/extensions-2.0/" + module("caja"))},
      {"Nemo", found(libraries, "nemo/extensions-3.0/" + module("nemo"))},
      {"Thunar", found(libraries, "thunarx-3/" + module("thunar"))},
      {"KDE", found(data, "kio/servicemenus/" + own + ".desktop")},
      {"PCManFM", found(data, "file-manager/actions/" + own + "-action.desktop")},
      {"Chromium",
       found({prefix / "etc", "/etc"}, "chromium/native-messaging-hosts/" + extension + ".json")},
      {"Firefox", found(libraries, "mozilla/native-messaging-hosts/" + extension + ".json")},
  };
  // Without their modules, these two have entries that are files.
  if (entries[3].path.empty())
    entries[3].path = found(data, "nemo/actions/" + own + ".nemo_action");
  if (entries[4].path.empty()) entries[4].path = found(data, "Thunar/sendto/" + own + ".desktop");
  for (Diagnosis::Entry& entry : entries) entry.path = withoutHome(entry.path, home);
  return entries;
}

std::vector<std::string> pictureFormats() {
  std::istringstream told(
      outputOfProgram({ImageDecoder::installedProgram(), "formats", "0"}, kPatience)
          .value_or(ProgramOutput())
          .output);
  std::vector<std::string> formats;
  for (std::string line; std::getline(told, line);) formats.push_back(line);
  std::ranges::sort(formats);
  return formats;
}

Diagnosis::Confinement confinementOfKernel() {
  Diagnosis::Confinement confinement;
  utsname name{};
  if (uname(&name) == 0) confinement.kernel = name.release;
#ifdef SYS_landlock_create_ruleset
  const long version = syscall(SYS_landlock_create_ruleset, nullptr, 0, 1U);
  confinement.landlock = static_cast<int>(std::max(version, 0L));
#endif
  confinement.seccomp = prctl(PR_GET_SECCOMP) >= 0;
  return confinement;
}

}  // namespace

std::string withoutHome(std::string_view path, std::string_view home) {
  while (home.ends_with('/')) home.remove_suffix(1);
  std::string text(path);
  if (home.empty()) return text;
  for (std::size_t at = text.find(home); at != std::string::npos; at = text.find(home, at)) {
    const std::size_t end = at + home.size();
    // Whole components only: "/home/ann" is not in "/home/anna" nor in "/old/home/ann".
    const bool begins =
        at == 0 || std::string_view(" \"'(:=").find(text[at - 1]) != std::string_view::npos;
    const bool ends = end == text.size() ||
                      std::string_view("/ \"'),:").find(text[end]) != std::string_view::npos;
    if (begins && ends) {
      text.replace(at, home.size(), "~");
      ++at;
    } else {
      at = end;
    }
  }
  return text;
}

Diagnosis diagnose(const LinuxOptions& options) {
  Platform services = linuxPlatform(options);
  const auto workspace = std::make_shared<AskedWorkspace>();
  services.workspace = workspace;
  Platform::install(std::move(services));

  const std::string home = g_get_home_dir() ? g_get_home_dir() : "";
  Diagnosis diagnosis;
  diagnosis.version = versionNumber();
  const Value extension = NSBundle::mainBundle()->objectForInfoDictionaryKey("CFBundleIdentifier");
  if (extension.isText()) diagnosis.extension = extension.text();
  ExtensionUtilities::LaunchCommands({NSURL::URLWithString("korvane://compose?").value()}, false);
  diagnosis.application = workspace->asked;
  diagnosis.container = containerAt(ContainerRoot().path(), home);
  const BusNames bus = busNames();
  diagnosis.client = clientOf(diagnosis.application, bus, home);
  diagnosis.entries = entriesFor(diagnosis.extension, home);
  const char* type = g_getenv("XDG_SESSION_TYPE");
  const char* desktop = g_getenv("XDG_CURRENT_DESKTOP");
  diagnosis.session = {type ? type : "", desktop ? desktop : "", bus.isThere,
                       bus.knows("org.freedesktop.portal.Desktop"),
                       bus.knows("org.freedesktop.Notifications")};
  diagnosis.pictureFormats = pictureFormats();
  diagnosis.confinement = confinementOfKernel();
  return diagnosis;
}

}  // namespace korvane
