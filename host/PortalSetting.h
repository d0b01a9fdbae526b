#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "host/PortalsConf.h"

namespace korvane {

/// Why a setting could not be changed: one line for people.
class SettingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Whether other programs' mails come to this package's portal: a line of the portals.conf of the
/// user's own that counts for this desktop. What was there before is noted in a file beside, before
/// anything is changed, so that it can be put back byte by byte; each file is replaced in one step,
/// so that whoever is killed leaves the old or the new one.
class PortalSetting {
 public:
  /// `notes` is the file for what was there before, an absolute path; `portal` the name of this
  /// package's .portal file.
  PortalSetting(PortalsFolders folders, std::filesystem::path notes, std::string portal)
      : folders_(std::move(folders)), notes_(std::move(notes)), portal_(std::move(portal)) {}

  /// Where mails come to this portal already, changes nothing and gives nothing. Else changes the
  /// user's own file, or begins one with what the file in force says, and gives its path. Throws
  /// SettingError.
  std::optional<std::filesystem::path> enable() const;

  /// Puts back what was there before every enable(): the same bytes, or no file. Of a file that was
  /// changed meanwhile, only what it says about mails. Gives the paths of the files that were
  /// changed. Throws SettingError.
  std::vector<std::filesystem::path> disable() const;

 private:
  struct Note;
  std::vector<Note> readNotes() const;
  void writeNotes(const std::vector<Note>& notes) const;
  /// Whether the first of the portals is this one.
  bool isOurs(const std::optional<std::string>& portals) const;

  PortalsFolders folders_;
  std::filesystem::path notes_;
  std::string portal_;
};

/// "$XDG_STATE_HOME/NAME/portals.json".
std::filesystem::path portalNotes(const std::string& name);

}  // namespace korvane
