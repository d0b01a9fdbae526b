#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/ExtensionMessage.h"
#include "platform/Export.h"
#include "platform/NSError.h"
#include "platform/NSExtension.h"
#include "platform/NSURL.h"
#include "platform/Value.h"

namespace korvane {

class ExtensionAccount;
class ExtensionGroup;

/// What AddressesAndGroups gives: the entries "addresses" and "groups".
struct KORVANE_EXPORT ExtensionDirectory {
  std::vector<std::shared_ptr<ExtensionAddress>> addresses;
  std::vector<std::shared_ptr<ExtensionGroup>> groups;

  /// The same as a dictionary: two lists of objects, which are these records.
  Dictionary dictionary() const;
};

/// The extension's own operations. Class operations only; all state is in the file system and in
/// the installed Platform. Failures are logged, not returned.
class KORVANE_EXPORT ExtensionUtilities {
 public:
  ExtensionUtilities() = delete;

  // The shared container. Any thread; nothing is cached and no folder is created.

  /// "SharedDataBeta" where this program's bundle identifier begins with "it.drelk.korvane.beta",
  /// else (an absent identifier included) "SharedData".
  static std::string GroupFolderName();
  /// The container of the application group; absent when this program has none.
  static std::optional<NSURL> GroupPath();
  /// GroupPath with GroupFolderName appended; absent when GroupPath is.
  static std::optional<NSURL> GroupDataPath();

  // The staging folder: GroupDataPath / service. Any thread; each operation returns when its file
  // work is done, and coordinates it with every other process. Where the coordination fails,
  // nothing is done but one log line written: without a container, in one whose path is not UTF-8,
  // and for a service that names no folder of its own inside the data folder ("", "..", "a//b").

  /// Empties the staging folder: removes it and creates it again. A failed removal, as on the very
  /// first share, is logged twice, as "shareInit delete" and as "shareInit create".
  static void ShareInit(std::string_view service);
  /// Copies the files (absolute paths, bytes as the file system has them) into the staging folder
  /// under names that are free there. Gives the paths of the copies that succeeded, in the order of
  /// the input, as texts in UTF-8; a file that cannot be copied is logged and left out, and so is
  /// the root, which has no name. A name that is not UTF-8 is read as windows-1252; "." and ".."
  /// are named as the folder that they lead to. An NSException of the file manager ends the
  /// copying, is logged, and what was copied is the result; any other exception passes on.
  static List ShareFiles(std::string_view service, const std::vector<std::string>& paths);
  /// Writes each blob as "image.png", "image_1.png" and so on; otherwise as ShareFiles. An absent
  /// blob, an image that could not be encoded, is logged and left out.
  static List ShareDatas(std::string_view service, const std::vector<std::optional<NSData>>& datas);

  // The extraction.

  using Completion = std::function<void(std::shared_ptr<ExtensionMessage> message,
                                        const std::optional<NSError>& error)>;
  /// Turns the context's input items into one message on a background queue; returns at once.
  /// `completion` is called exactly once, on that queue, always with a message and no error, after
  /// 0.1 s at least and 101 such passes at most, whether or not every item has been loaded by then;
  /// what is loaded later still changes the message. A null context has no items. An item loaded as
  /// a URL may be a URL, or a text or data that holds one; what is not a URL is logged. Nothing
  /// that a provider throws gets out: it is logged, and its load counts as finished.
  static void GetItemForExtension(std::shared_ptr<NSExtensionContext> context,
                                  std::string_view service, Completion completion);

  // Opening the mail client. Any thread.

  /// Opens all URLs in one request with the edition of the mail client that belongs to this
  /// program's bundle identifier; in the background it is not brought to the front. False for an
  /// empty list and when the desktop refuses.
  static bool LaunchCommands(const std::vector<NSURL>& urls, bool background);
  /// Opens a command URL for each message. For every message whose URL is valid, the notification
  /// "ACTION_CALLED_EXTENSION" is posted first, with the dictionary of "message" (the message, an
  /// object) and "command" (the word, a text) as its object; the others are skipped, and so is
  /// a null message. Of the parts of a URL only the account is encoded; what is absent shows as
  /// "(null)". The result is that of LaunchCommands. Raises NSException for an account that is
  /// present but no text.
  static bool LaunchCommandForMessages(
      const std::vector<std::shared_ptr<ExtensionMessage>>& messages, std::string_view commandName,
      bool background);

  // The mail client's directory. Any thread; reads the files afresh, coordinated with the client.

  /// The accounts of Accounts.plist, in the file's order; empty when there is no such list.
  static std::vector<std::shared_ptr<ExtensionAccount>> Accounts();
  /// The contacts of Contacts/Addresses.plist and the groups of Contacts/Groups.plist, each in its
  /// file's order; a list that is missing is empty. Creates the folder "Contacts" when nothing is
  /// there.
  static ExtensionDirectory AddressesAndGroups();
};

/// Name of the notification that LaunchCommandForMessages posts.
inline constexpr const char* ACTION_CALLED_EXTENSION = "ACTION_CALLED_EXTENSION";

}  // namespace korvane
