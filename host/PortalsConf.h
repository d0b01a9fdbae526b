#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// portals.conf(5), in which xdg-desktop-portal from 1.18 on looks up which program answers for the
// desktop: lines "INTERFACE=NAME;NAME" in the group "preferred". Of the places where it may stand,
// the first file counts, alone and whole.
namespace korvane {

/// The interface for mails.
inline constexpr std::string_view kEmailInterface = "org.freedesktop.impl.portal.Email";

/// Where a portals.conf may lie.
struct PortalsFolders {
  /// The folder of the user's own files.
  std::filesystem::path own{};
  /// The others, the first to be looked into first.
  std::vector<std::filesystem::path> others{};
  /// The desktop's names, in lower case: "gnome". A file "gnome-portals.conf" comes before a
  /// "portals.conf" of the same folder.
  std::vector<std::string> desktops{};
};

/// The folders of this process's environment. Relative paths in it count for nothing.
PortalsFolders portalsFolders();

/// The file that counts; absent where there is none. What cannot be read as a key file does not
/// count. Any thread may call, here and below.
std::optional<std::filesystem::path> portalsConfInForce(const PortalsFolders& folders);

/// What the content of a portals.conf says about mails: the last of such lines counts. Absent where
/// it says nothing.
std::optional<std::string> emailPortals(std::string_view content);
/// The content, but that mails are given to this name; absent: such that it says nothing about
/// them. Everything else stays as it is, byte for byte: comments, order, blanks and line ends.
std::string withEmailPortals(std::string_view content, const std::optional<std::string>& portals);

}  // namespace korvane
