#include "compose/InstalledClient.h"

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include <algorithm>
#include <memory>

#include "linux/detail/GLibPointer.h"

namespace korvane {
namespace {

constexpr const char* kScheme = "mailto";
constexpr const char* kType = "x-scheme-handler/mailto";
constexpr std::string_view kSuffix = ".desktop";

struct Free {
  void operator()(GList* list) const { g_list_free_full(list, g_object_unref); }
  void operator()(char** texts) const { g_strfreev(texts); }
};
using AppList = std::unique_ptr<GList, Free>;
using TextList = std::unique_ptr<char*, Free>;

std::string textOf(const char* text) { return text ? text : ""; }

std::string idOf(GAppInfo* app) {
  std::string id = textOf(g_app_info_get_id(app));
  if (id.ends_with(kSuffix)) id.resize(id.size() - kSuffix.size());
  return id;
}

std::string keyOf(GAppInfo* app, const char* key) {
  const GPointer<char> value(g_desktop_app_info_get_string(G_DESKTOP_APP_INFO(app), key));
  return textOf(value.get());
}

std::string baseName(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == path.npos ? path : path.substr(slash + 1);
}

/// The program of a client as its entry starts it, else as the search path has it; empty where
/// neither does.
std::vector<std::string> programOf(const std::vector<std::string>& exec, std::string_view program) {
  const auto found = std::ranges::find(exec, program, baseName);
  if (found != exec.end()) return {exec.begin(), std::next(found)};
  const GPointer<char> path(g_find_program_in_path(std::string(program).c_str()));
  if (path) return {path.get()};
  return {};
}

std::string snapOf(GAppInfo* app, const std::vector<std::string>& exec) {
  if (std::string snap = keyOf(app, "X-SnapInstanceName"); !snap.empty()) return snap;
  const auto found = std::ranges::find_if(
      exec, [](const std::string& word) { return word.find("/snap/bin/") != word.npos; });
  const std::string id = idOf(app);
  const bool known = found != exec.end() || id == "thunderbird_thunderbird";
  return known && id.find('_') != id.npos ? id.substr(0, id.find('_')) : "";
}

const MailClient* knownClientOf(GAppInfo* app) {
  if (const MailClient* known = knownMailClient(idOf(app))) return known;
  const std::string flatpak = keyOf(app, "X-Flatpak");
  return flatpak.empty() ? nullptr : knownMailClient(flatpak);
}

std::optional<InstalledClient> clientOf(GAppInfo* app) {
  if (!app || !G_IS_DESKTOP_APP_INFO(app)) return std::nullopt;
  InstalledClient client;
  int count = 0;
  char** words = nullptr;
  const char* line = g_app_info_get_commandline(app);
  if (!line || !g_shell_parse_argv(line, &count, &words, nullptr)) return std::nullopt;
  const TextList owned(words);
  client.exec.assign(words, words + count);

  client.id = idOf(app);
  client.name = textOf(g_app_info_get_display_name(app));
  client.entryPath = textOf(g_desktop_app_info_get_filename(G_DESKTOP_APP_INFO(app)));
  client.icon = keyOf(app, G_KEY_FILE_DESKTOP_KEY_ICON);
  client.terminal =
      g_desktop_app_info_get_boolean(G_DESKTOP_APP_INFO(app), G_KEY_FILE_DESKTOP_KEY_TERMINAL);
  client.flatpak = keyOf(app, "X-Flatpak");
  client.snap = snapOf(app, client.exec);

  if (const MailClient* known = knownClientOf(app)) {
    client.road = known->road;
    if (!known->program.empty()) {
      // A client in a sandbox has no program here, and does not see our files.
      if (client.flatpak.empty() && client.snap.empty()) {
        client.program = programOf(client.exec, known->program);
      }
      if (client.program.empty()) client.road = MailRoad::mailto;
    }
  }
  return client;
}

std::vector<std::string> lowerDesktops() {
  std::vector<std::string> names;
  std::string text = textOf(g_getenv("XDG_CURRENT_DESKTOP"));
  std::ranges::transform(text, text.begin(), g_ascii_tolower);
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(':', begin), text.size());
    if (end > begin) names.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return names;
}

/// The folders with lists of what somebody chose: the user's, the administrator's, the system's.
std::vector<std::string> folders() {
  std::vector<std::string> all{g_get_user_config_dir()};
  for (const char* const* dir = g_get_system_config_dirs(); *dir; ++dir) all.emplace_back(*dir);
  all.push_back(std::string(g_get_user_data_dir()) + "/applications");
  for (const char* const* dir = g_get_system_data_dirs(); *dir; ++dir) {
    all.push_back(std::string(*dir) + "/applications");
  }
  return all;
}

/// Whether a list of default applications names the application for mailto: links.
bool isChosen(const std::string& id) {
  std::vector<std::string> names;
  for (const std::string& desktop : lowerDesktops()) names.push_back(desktop + "-mimeapps.list");
  names.emplace_back("mimeapps.list");
  for (const std::string& folder : folders()) {
    for (const std::string& name : names) {
      const GPointer<GKeyFile> file(g_key_file_new());
      const GPointer<char> path(g_build_filename(folder.c_str(), name.c_str(), nullptr));
      if (!g_key_file_load_from_file(file.get(), path.get(), G_KEY_FILE_NONE, nullptr)) {
        continue;
      }
      const TextList chosen(
          g_key_file_get_string_list(file.get(), "Default Applications", kType, nullptr, nullptr));
      for (char** entry = chosen.get(); entry && *entry; ++entry) {
        if (id + std::string(kSuffix) == *entry) return true;
      }
    }
  }
  return false;
}

}  // namespace

std::optional<InstalledClient> defaultMailClient() {
  const GObjectPointer<GAppInfo> app(g_app_info_get_default_for_uri_scheme(kScheme));
  auto client = clientOf(app.get());
  if (client && (!client->terminal || isChosen(client->id))) return client;

  const AppList candidates(g_app_info_get_recommended_for_type(kType));
  for (const GList* at = candidates.get(); at; at = at->next) {
    GAppInfo* const candidate = G_APP_INFO(at->data);
    auto known = knownClientOf(candidate) ? clientOf(candidate) : std::nullopt;
    if (known && !known->terminal) return known;
  }
  return client;
}

std::optional<InstalledClient> installedMailClient(std::string_view id) {
  std::string wanted(id);
  if (!wanted.ends_with(kSuffix)) wanted += kSuffix;
  const GObjectPointer<GDesktopAppInfo> app(g_desktop_app_info_new(wanted.c_str()));
  if (app) return clientOf(G_APP_INFO(app.get()));
  const AppList all(g_app_info_get_all());
  for (const GList* at = all.get(); at; at = at->next) {
    GAppInfo* const candidate = G_APP_INFO(at->data);
    if (g_ascii_strcasecmp(textOf(g_app_info_get_id(candidate)).c_str(), wanted.c_str()) == 0) {
      return clientOf(candidate);
    }
  }
  return std::nullopt;
}

}  // namespace korvane
