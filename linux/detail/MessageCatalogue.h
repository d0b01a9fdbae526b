#pragma once

#include <locale.h>

#include <filesystem>
#include <string>

#include "platform/Export.h"

namespace korvane {

/// The translations of this package's texts, from the catalogues `locale/…/korvane.mo` below a data
/// folder. Without a catalogue every text is its own translation.
///
/// The user's language is that of LC_ALL, else LC_MESSAGES, else LANG, with LANGUAGE before it;
/// the locale need not be installed. Any thread may call.
class KORVANE_EXPORT MessageCatalogue {
 public:
  /// Make it before the first thread starts: it may have to put LANGUAGE into the environment. The
  /// folder of the one made last counts for all.
  explicit MessageCatalogue(const std::filesystem::path& dataFolder);
  ~MessageCatalogue();
  MessageCatalogue(const MessageCatalogue&) = delete;
  MessageCatalogue& operator=(const MessageCatalogue&) = delete;

  /// The translation, or the text itself; it stays. With `many`: of the form for `count` things.
  const char* translationOf(const char* one, const char* many = nullptr,
                            unsigned long count = 1) const noexcept;

 private:
  locale_t messages_;
};

/// Has every text of this process that goes through platform/detail/Translation.h translated by the
/// catalogues beside the program, in programDataFolder(). The first call counts; call it before the
/// first thread starts.
KORVANE_EXPORT void useMessageCatalogue(const std::string& resources = {});

/// The folder `resources` in `../share` of the folder that holds the running program, or of the
/// folder above it where the package's files are found there alone. Empty: `../share` itself.
KORVANE_EXPORT std::filesystem::path programDataFolder(const std::string& resources = {});

}  // namespace korvane
