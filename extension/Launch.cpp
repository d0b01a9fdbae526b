#include <array>
#include <utility>

#include "extension/ConstVars.h"
#include "extension/ExtensionUtilities.h"
#include "platform/NSBundle.h"
#include "platform/NSException.h"
#include "platform/NSFormat.h"
#include "platform/NSNotificationCenter.h"
#include "platform/NSWorkspace.h"
#include "urlutils/RequestUtils.h"

namespace korvane {
namespace {

/// The edition of the mail client that a program of this identifier belongs to.
const char* editionOf(std::string_view identifier) {
  // The first prefix wins. The professional edition is not among them.
  for (const char* edition :
       {it_drelk_korvane_beta8, it_drelk_korvane_beta10, it_drelk_korvane_2}) {
    if (identifier.starts_with(edition)) return edition;
  }
  return it_drelk_korvane;
}

/// The command URL of one message; nothing when its identifier makes it no valid URL.
std::optional<NSURL> commandUrl(const ExtensionMessage& message, std::string_view command) {
  const Value account = message.account();
  // Only the account is encoded. What is absent shows as "(null)".
  const Value encoded = account.isAbsent() ? account
                                           : Value(RequestUtils::URLEncodedString(raisingFor(
                                                 "account", [&] { return account.text(); })));
  return NSURL::URLWithString(
      stringWithFormat("korvane://%@?mail=%@&messageid=%@&folderstandardid=%@", command, encoded,
                       message.messageId(), message.folderStandardId()));
}

}  // namespace

bool ExtensionUtilities::LaunchCommands(const std::vector<NSURL>& urls, bool background) {
  if (urls.empty()) return false;
  const Value identifier = NSBundle::mainBundle()->objectForInfoDictionaryKey("CFBundleIdentifier");
  return NSWorkspace::sharedWorkspace()->openURLs(
      urls, editionOf(identifier.isText() ? identifier.text() : std::string_view()),
      background ? NSWorkspaceLaunchWithoutActivation : NSWorkspaceLaunchAllowingClassicStartup);
}

bool ExtensionUtilities::LaunchCommandForMessages(
    const std::vector<std::shared_ptr<ExtensionMessage>>& messages, std::string_view commandName,
    bool background) {
  std::vector<NSURL> urls;
  for (const auto& message : messages) {
    if (!message) continue;
    auto url = commandUrl(*message, commandName);
    if (!url) continue;
    NSNotificationCenter::defaultCenter().postNotificationName(
        ACTION_CALLED_EXTENSION, Dictionary{{"message", message}, {"command", commandName}});
    urls.push_back(*std::move(url));
  }
  return LaunchCommands(urls, background);
}

}  // namespace korvane
