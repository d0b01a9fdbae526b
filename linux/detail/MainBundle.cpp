#include "linux/detail/MainBundle.h"

#include <libintl.h>

#include <cstdlib>
#include <system_error>
#include <utility>

#include "linux/detail/PropertyLists.h"

namespace korvane {
namespace {

constexpr const char* kDomain = "korvane";

/// The name of the user's locale for texts.
std::string userLocale() {
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe): read only
    if (value && *value) return value;
  }
  return "C";
}

/// The user's locale as gettext takes it. gettext translates in an installed locale only, but then
/// into whatever LANGUAGE asks for: a locale that is not installed is told by that.
locale_t messagesLocale() {
  const std::string name = userLocale();
  if (const locale_t installed = newlocale(LC_MESSAGES_MASK, name.c_str(), nullptr)) {
    return installed;
  }
  const std::string language = name.substr(0, name.find_first_of(".@"));
  setenv("LANGUAGE", language.c_str(), 0);  // NOLINT(concurrency-mt-unsafe): see the constructor
  return newlocale(LC_MESSAGES_MASK, "C.UTF-8", nullptr);
}

/// Makes a locale this thread's own for a while.
class UseLocale {
 public:
  explicit UseLocale(locale_t locale) : before_(uselocale(locale)) {}
  ~UseLocale() { uselocale(before_); }
  UseLocale(const UseLocale&) = delete;
  UseLocale& operator=(const UseLocale&) = delete;

 private:
  locale_t before_;
};

}  // namespace

MainBundle::MainBundle(std::string_view bundleIdentifier, const std::filesystem::path& dataFolder)
    : messages_(messagesLocale()) {
  Dictionary info;
  const auto read = readPropertyList((dataFolder / "korvane" / "Info.plist").string());
  if (read && read->isDictionary()) info = read->dictionary();
  if (!bundleIdentifier.empty()) info.set("CFBundleIdentifier", bundleIdentifier);
  info_ = std::move(info);
  bindtextdomain(kDomain, (dataFolder / "locale").c_str());
  bind_textdomain_codeset(kDomain, "UTF-8");
}

MainBundle::~MainBundle() {
  if (messages_) freelocale(messages_);
}

Value MainBundle::objectForInfoDictionaryKey(std::string_view key) {
  return info_.objectForKey(key);
}

std::string MainBundle::localizedStringForKey(std::string_view key, std::string_view value,
                                              std::string_view table) {
  // A catalogue keeps its header under the empty key.
  if (!key.empty() && table.empty() && messages_) {
    const UseLocale locale(messages_);
    const std::string text(key);
    const char* translation = dgettext(kDomain, text.c_str());
    if (translation != text.c_str()) return translation;
  }
  return std::string(value.empty() || key.empty() ? key : value);
}

bool MainBundle::loadNibNamed(std::string_view name) { return name == "ShareViewController"; }

std::filesystem::path MainBundle::programDataFolder() {
  std::error_code failure;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", failure);
  return program.parent_path().parent_path() / "share";
}

}  // namespace korvane
