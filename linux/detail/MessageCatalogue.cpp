#include "linux/detail/MessageCatalogue.h"

#include <libintl.h>

#include <cstdlib>
#include <string>
#include <system_error>

#include "platform/detail/Translation.h"

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

const MessageCatalogue& programCatalogue(const std::string& resources = {}) {
  // Never destroyed: threads may still tell something while the process ends.
  static const auto* const catalogue = new MessageCatalogue(programDataFolder(resources));
  return *catalogue;
}

}  // namespace

MessageCatalogue::MessageCatalogue(const std::filesystem::path& dataFolder)
    : messages_(messagesLocale()) {
  bindtextdomain(kDomain, (dataFolder / "locale").c_str());
  bind_textdomain_codeset(kDomain, "UTF-8");
}

MessageCatalogue::~MessageCatalogue() {
  if (messages_) freelocale(messages_);
}

const char* MessageCatalogue::translationOf(const char* one, const char* many,
                                            unsigned long count) const noexcept {
  if (!messages_) return many && count != 1 ? many : one;
  const UseLocale locale(messages_);
  return many ? dngettext(kDomain, one, many, count) : dgettext(kDomain, one);
}

void useMessageCatalogue(const std::string& resources) {
  programCatalogue(resources);
  setTranslator([](const char* one, const char* many, unsigned long count) {
    return programCatalogue().translationOf(one, many, count);
  });
}

std::filesystem::path programDataFolder(const std::string& resources) {
  std::error_code failure;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", failure);
  const auto prefix = program.parent_path().parent_path();
  const auto beside = [&](const std::filesystem::path& place) {
    return resources.empty() ? place / "share" : place / "share" / resources;
  };
  for (const auto& folder : {beside(prefix), beside(prefix.parent_path())}) {
    if (std::filesystem::exists(folder / "korvane", failure)) return folder;
  }
  return beside(prefix);
}

}  // namespace korvane
