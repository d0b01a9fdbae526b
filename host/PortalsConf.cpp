#include "host/PortalsConf.h"

#include <glib.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>

#include "text/ASCII.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFolderName = "xdg-desktop-portal";

/// The absolute paths of a list with ":" between, or of another one where it is unset or empty.
std::vector<fs::path> pathsOf(const char* variable, const std::string& otherwise) {
  const char* value = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe): read only
  std::string_view list = value && *value ? std::string_view(value) : otherwise;
  std::vector<fs::path> paths;
  while (!list.empty()) {
    const std::string_view path = list.substr(0, list.find(':'));
    if (path.starts_with('/')) paths.emplace_back(path);
    list.remove_prefix(std::min(path.size() + 1, list.size()));
  }
  return paths;
}

bool isKeyFile(const fs::path& path) {
  const std::unique_ptr<GKeyFile, decltype(&g_key_file_unref)> file(g_key_file_new(),
                                                                    &g_key_file_unref);
  return g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_NONE, nullptr);
}

bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

std::string_view endOf(std::string_view line) {
  if (line.ends_with("\r\n")) return "\r\n";
  return line.ends_with('\n') ? "\n" : "";
}

/// One line of a key file: what it is, and the bytes that it has with its end.
struct Line {
  std::string_view bytes;
  std::string_view key{};  // empty where the line is no "KEY=VALUE" of the group
  std::string_view value{};
  bool isHead = false;  // begins the group
  bool isInside = false;
};

std::vector<Line> linesOf(std::string_view content) {
  std::vector<Line> lines;
  bool isInside = false;
  while (!content.empty()) {
    Line line{.bytes = content.substr(0, content.find('\n'))};
    line.bytes = content.substr(0, std::min(line.bytes.size() + 1, content.size()));
    content.remove_prefix(line.bytes.size());
    const std::string_view text = trimmed(line.bytes);
    if (text.starts_with('[') && text.ends_with(']')) {
      isInside = line.isHead = text == "[preferred]";
    } else if (isInside && !text.starts_with('#') && text.find('=') != std::string_view::npos) {
      line.key = trimmed(text.substr(0, text.find('=')));
      // Blanks behind a value belong to it, as key files are read: with them a portal has another
      // name.
      line.value = line.bytes.substr(line.bytes.find('=') + 1);
      line.value.remove_suffix(endOf(line.value).size());
      line.value.remove_prefix(
          std::min(line.value.find_first_not_of(" \t\v\f\r"), line.value.size()));
    }
    line.isInside = isInside;
    lines.push_back(line);
  }
  return lines;
}

bool isEmailLine(const Line& line) { return line.key == kEmailInterface; }

/// The line behind which a new one of the group goes: the last "KEY=VALUE" of the first such group,
/// else its head.
std::vector<Line>::const_iterator lastOfGroup(const std::vector<Line>& lines) {
  auto last = std::ranges::find_if(lines, &Line::isHead);
  for (auto line = last; line != lines.end() && line->isInside; ++line) {
    if (line->isHead && line != last) break;
    if (!line->key.empty()) last = line;
  }
  return last;
}

}  // namespace

PortalsFolders portalsFolders() {
  const char* homeFolder = std::getenv("HOME");  // NOLINT(concurrency-mt-unsafe): read only
  const std::string home = homeFolder ? homeFolder : "";
  const auto one = [](std::vector<fs::path> paths) {
    return paths.empty() ? fs::path() : paths.front() / kFolderName;
  };
  PortalsFolders folders{.own = one(pathsOf("XDG_CONFIG_HOME", home + "/.config"))};
  const auto add = [&](const std::vector<fs::path>& paths) {
    for (const fs::path& path : paths) folders.others.push_back(path / kFolderName);
  };
  add(pathsOf("XDG_CONFIG_DIRS", "/etc/xdg"));
  add({"/etc"});
  add(pathsOf("XDG_DATA_HOME", home + "/.local/share"));
  add(pathsOf("XDG_DATA_DIRS", "/usr/local/share:/usr/share"));
  const char* desktops = std::getenv("XDG_CURRENT_DESKTOP");  // NOLINT(concurrency-mt-unsafe)
  std::string_view rest = desktops ? desktops : "";
  while (!rest.empty()) {
    const std::string_view name = rest.substr(0, rest.find(':'));
    // A name is part of a file's name.
    if (!name.empty() && name.find('/') == std::string_view::npos) {
      folders.desktops.push_back(lowercase(name));
    }
    rest.remove_prefix(std::min(name.size() + 1, rest.size()));
  }
  return folders;
}

std::optional<fs::path> portalsConfInForce(const PortalsFolders& folders) {
  std::vector<std::string> names;
  for (const std::string& desktop : folders.desktops) names.push_back(desktop + "-portals.conf");
  names.emplace_back("portals.conf");
  std::vector<fs::path> places{folders.own};
  places.insert(places.end(), folders.others.begin(), folders.others.end());
  for (const fs::path& place : places) {
    for (const std::string& name : names) {
      if (!place.empty() && isKeyFile(place / name)) return place / name;
    }
  }
  return std::nullopt;
}

std::optional<std::string> emailPortals(std::string_view content) {
  std::optional<std::string> portals;
  for (const Line& line : linesOf(content)) {
    if (isEmailLine(line)) portals = line.value;
  }
  return portals;
}

std::string withEmailPortals(std::string_view content, const std::optional<std::string>& portals) {
  const std::vector<Line> lines = linesOf(content);
  std::string made;
  if (std::ranges::any_of(lines, isEmailLine)) {
    // The last one counts, so that all of them have to go where nothing is to be said.
    for (auto line = lines.begin(); line != lines.end(); ++line) {
      if (!isEmailLine(*line)) {
        made += line->bytes;
      } else if (portals) {
        const bool counts = std::none_of(line + 1, lines.end(), isEmailLine);
        const std::size_t value = static_cast<std::size_t>(line->value.data() - line->bytes.data());
        made += counts ? std::string(line->bytes.substr(0, value)) + *portals +
                             std::string(line->bytes.substr(value + line->value.size()))
                       : std::string(line->bytes);
      }
    }
    return made;
  }
  if (!portals) return std::string(content);

  const std::string_view firstEnd = lines.empty() ? "" : endOf(lines.front().bytes);
  const std::string lineEnd = firstEnd.empty() ? "\n" : std::string(firstEnd);
  const std::string added = std::string(kEmailInterface) + "=" + *portals;
  const auto last = lastOfGroup(lines);
  for (auto line = lines.begin(); line != lines.end(); ++line) {
    made += line->bytes;
    if (line != last) continue;
    // A file's last line may have no end, and then the new one has none.
    made += endOf(line->bytes).empty() ? lineEnd + added : added + lineEnd;
  }
  if (last == lines.end()) {
    if (!lines.empty() && endOf(lines.back().bytes).empty()) made += lineEnd;
    made += "[preferred]" + lineEnd + added + lineEnd;
  }
  return made;
}

}  // namespace korvane
