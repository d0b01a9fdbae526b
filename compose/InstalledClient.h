#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "compose/MailClients.h"

namespace korvane {

/// A mail program that is installed, as its desktop entry tells it.
struct InstalledClient {
  /// Of the desktop entry, without ".desktop".
  std::string id;
  /// For people.
  std::string name;
  MailRoad road = MailRoad::mailto;
  /// The program of a road by the command line, with what stands before it in the entry ("env
  /// A=b"). Empty for the roads by the entry.
  std::vector<std::string> program;
  /// The words of the entry's Exec line, field codes not yet replaced.
  std::vector<std::string> exec;
  std::string entryPath;
  std::string icon;
  bool terminal = false;
  /// The Flatpak's identifier, the Snap's name; empty where it is none.
  std::string flatpak;
  std::string snap;
};

/// The mail program that the user chose for mailto: links. Where nobody chose and the desktop names
/// a program for terminals, the first known one with windows instead, where there is one. Nothing
/// when no program is installed. The environment and the file system are asked; any thread may
/// call.
std::optional<InstalledClient> defaultMailClient();

/// The program of a desktop entry, letters compared without case where no entry has the very name;
/// nothing where none has it. Any thread may call.
std::optional<InstalledClient> installedMailClient(std::string_view id);

}  // namespace korvane
