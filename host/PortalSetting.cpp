#include "host/PortalSetting.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>
#include <utility>

#include "linux/detail/FileDescriptor.h"
#include "platform/detail/Translation.h"
#include "text/Base64.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

[[noreturn]] void refuse(const fs::path& path, const std::string& reason) {
  throw SettingError(translated("{0}: {1}", path.string(), reason));
}

/// What a file holds; nothing where there is none.
std::optional<std::string> contentOf(const fs::path& path) {
  constexpr std::size_t kStep = 65536;
  constexpr std::size_t kMaxSize = std::size_t{16} << 20;
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file && errno == ENOENT) return std::nullopt;
  if (!file) refuse(path, std::strerror(errno));
  std::string content;
  for (;;) {
    const std::size_t had = content.size();
    content.resize(had + kStep);
    const ssize_t got = ::read(file.get(), content.data() + had, kStep);
    content.resize(had + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got == 0) return content;
    if (got < 0 && errno != EINTR) refuse(path, std::strerror(errno));
    if (content.size() > kMaxSize) refuse(path, translated("it is larger than any settings are"));
  }
}

/// What a file is called in its folder until it is complete.
std::string unfinishedName(const fs::path& path) {
  return std::string(".").append(path.filename().string()).append(".korvane");
}

/// Replaces a file in one step; it keeps its permissions. A new one gets those of the process's
/// mask.
void replaceFile(const fs::path& path, std::string_view content) {
  // Who was killed while writing has left a file of this name; nobody else writes it now.
  const FileDescriptor folder(
      ::open(path.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder || ::flock(folder.get(), LOCK_EX) != 0) refuse(path, std::strerror(errno));
  const std::string name = unfinishedName(path);
  ::unlinkat(folder.get(), name.c_str(), 0);
  const FileDescriptor file(::openat(folder.get(), name.c_str(),
                                     O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!file) refuse(path, std::strerror(errno));
  const auto fail = [&]() -> void {
    const int code = errno;
    ::unlinkat(folder.get(), name.c_str(), 0);
    refuse(path, std::strerror(code));
  };
  struct stat before = {};
  const mode_t mask = ::umask(0);
  ::umask(mask);
  constexpr mode_t kNewFile = 0666;
  constexpr mode_t kPermissions = 07777;
  const bool isNew = ::stat(path.c_str(), &before) != 0;
  if (::fchmod(file.get(), isNew ? kNewFile & ~mask : before.st_mode & kPermissions) != 0) fail();
  while (!content.empty()) {
    const ssize_t count = ::write(file.get(), content.data(), content.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail();
    content.remove_prefix(static_cast<std::size_t>(count));
  }
  if (::fsync(file.get()) != 0 ||
      ::renameat(folder.get(), name.c_str(), folder.get(), path.filename().c_str()) != 0) {
    fail();
  }
}

/// The file itself, where the path is a link to one: a link that a person made stays.
fs::path behindLinks(const fs::path& path) {
  std::error_code error;
  if (!fs::is_symlink(path, error)) return path;
  fs::path file = fs::canonical(path, error);
  if (error) refuse(path, translated("it is a link that leads nowhere"));
  return file;
}

void makeFolders(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (error) refuse(folder, error.message());
}

void removeFile(const fs::path& path) {
  std::error_code error;
  fs::remove(path, error);
  if (error) refuse(path, error.message());
}

/// Bytes of any kind in JSON; absent ones are null.
Json jsonOf(const std::optional<std::string>& bytes) {
  return bytes ? Json(encodeBase64(*bytes)) : Json(nullptr);
}

/// Throws an exception of any kind where it is not such bytes.
std::optional<std::string> bytesOf(const Json& json) {
  if (json.is_null()) return std::nullopt;
  return decodedBase64<std::string>(json.get<std::string>(), Base64Leniency::whiteSpace).value();
}

}  // namespace

bool PortalSetting::isOurs(const std::optional<std::string>& portals) const {
  return portals && portals->substr(0, portals->find(';')) == portal_;
}

/// What was there before a file was changed.
struct PortalSetting::Note {
  fs::path file;
  /// What the file held; absent where there was none.
  std::optional<std::string> before;
  /// What was in force: the same, or another file's content.
  std::string inForce;
  /// What the file was given.
  std::string after;
  /// Whether its folder was made for it.
  bool madeFolder = false;
};

std::vector<PortalSetting::Note> PortalSetting::readNotes() const {
  std::vector<Note> notes;
  const auto content = contentOf(notes_);
  if (!content) return notes;
  try {
    for (const Json& note : Json::parse(*content)) {
      notes.push_back({.file = bytesOf(note.at("file")).value(),
                       .before = bytesOf(note.at("before")),
                       .inForce = bytesOf(note.at("inForce")).value(),
                       .after = bytesOf(note.at("after")).value(),
                       .madeFolder = note.at("madeFolder").get<bool>()});
    }
  } catch (const std::exception&) {
    refuse(notes_, translated("what was there before is noted here, and the notes are damaged"));
  }
  return notes;
}

void PortalSetting::writeNotes(const std::vector<Note>& notes) const {
  if (notes.empty()) return removeFile(notes_);
  Json json = Json::array();
  for (const Note& note : notes) {
    json.push_back({{"file", jsonOf(note.file.string())},
                    {"before", jsonOf(note.before)},
                    {"inForce", jsonOf(note.inForce)},
                    {"after", jsonOf(note.after)},
                    {"madeFolder", note.madeFolder}});
  }
  makeFolders(notes_.parent_path());
  replaceFile(notes_, json.dump(1) + "\n");
}

std::optional<fs::path> PortalSetting::enable() const {
  if (folders_.own.empty())
    throw SettingError(translated("neither HOME nor XDG_CONFIG_HOME is set"));
  const auto inForce = portalsConfInForce(folders_);
  const std::string content = inForce ? contentOf(*inForce).value_or("") : "";
  const bool isOwn = inForce && inForce->parent_path() == folders_.own;
  if (isOwn && isOurs(emailPortals(content))) return std::nullopt;
  // A file for all desktops in the user's own folder would come before those of each.
  if (folders_.desktops.empty() && !isOwn) {
    throw SettingError(
        translated("XDG_CURRENT_DESKTOP is not set, so that it is not known which desktop this is "
                   "for: run it in the desktop's session"));
  }
  const std::string name =
      inForce ? inForce->filename().string() : folders_.desktops.front() + "-portals.conf";

  Note note{
      .file = behindLinks(folders_.own / name), .before = {}, .inForce = content, .after = {}};
  note.before = contentOf(note.file);
  note.after = withEmailPortals(content, portal_);
  note.madeFolder = !fs::exists(folders_.own);
  std::vector<Note> notes = readNotes();
  const std::vector<Note> oldNotes = notes;
  const auto known = std::ranges::find(notes, note.file, &Note::file);
  if (known == notes.end()) {
    notes.push_back(note);
  } else {
    // It was enabled before, and somebody changed that by hand: their file is what was there.
    note.madeFolder = known->madeFolder;
    *known = note;
  }
  writeNotes(notes);
  try {
    makeFolders(folders_.own);
    replaceFile(note.file, note.after);
  } catch (const SettingError&) {
    writeNotes(oldNotes);
    throw;
  }
  return note.file;
}

std::vector<fs::path> PortalSetting::disable() const {
  const std::vector<Note> notes = readNotes();
  std::vector<fs::path> changed;
  for (const Note& note : notes) {
    const auto now = contentOf(note.file);
    if (!now || now == note.before) continue;
    if (now == note.after) {
      if (note.before) {
        replaceFile(note.file, *note.before);
      } else {
        removeFile(note.file);
      }
    } else if (isOurs(emailPortals(*now))) {
      replaceFile(note.file, withEmailPortals(*now, emailPortals(note.inForce)));
    } else {
      continue;
    }
    changed.push_back(note.file);
  }
  for (const Note& note : notes) {
    const fs::path folder = note.file.parent_path();
    std::error_code ignored;  // the folder may hold something by now
    fs::remove(folder / unfinishedName(note.file), ignored);
    if (note.madeFolder) fs::remove(folder, ignored);
  }
  if (!notes.empty()) writeNotes({});
  if (changed.empty() && !folders_.own.empty()) {
    // Without notes it is known only that the line is to go.
    const auto inForce = portalsConfInForce(folders_);
    if (inForce && inForce->parent_path() == folders_.own) {
      const fs::path file = behindLinks(*inForce);
      const std::string content = contentOf(file).value_or("");
      if (isOurs(emailPortals(content))) {
        replaceFile(file, withEmailPortals(content, std::nullopt));
        changed.push_back(file);
      }
    }
  }
  return changed;
}

fs::path portalNotes(const std::string& name) {
  const char* state = std::getenv("XDG_STATE_HOME");  // NOLINT(concurrency-mt-unsafe): read only
  const char* home = std::getenv("HOME");             // NOLINT(concurrency-mt-unsafe)
  const fs::path folder =
      state && *state == '/' ? fs::path(state) : fs::path(home ? home : "/") / ".local/state";
  return folder / name / "portals.json";
}

}  // namespace korvane
