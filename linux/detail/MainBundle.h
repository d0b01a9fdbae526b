#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "linux/detail/MessageCatalogue.h"
#include "platform/Export.h"
#include "platform/NSBundle.h"

namespace korvane {

/// The running program's resources: the info dictionary `korvane/Info.plist` and the message
/// catalogues `locale/…/korvane.mo` below a data folder, which is `../share` beside the program's
/// own folder unless another is given. What is missing there is absent, not an error.
///
/// The user's language is that of MessageCatalogue. Any thread may call.
class KORVANE_EXPORT MainBundle : public NSBundle {
 public:
  /// `bundleIdentifier` replaces that of the info dictionary unless it is empty. Make it before the
  /// first thread starts: it may have to put LANGUAGE into the environment.
  explicit MainBundle(std::string_view bundleIdentifier = {},
                      const std::filesystem::path& dataFolder = programDataFolder());

  Value objectForInfoDictionaryKey(std::string_view key) override;
  /// Texts of other tables than the default one are not translated.
  std::string localizedStringForKey(std::string_view key, std::string_view value = {},
                                    std::string_view table = {}) override;
  /// True for "ShareViewController" alone, whose interface is empty.
  bool loadNibNamed(std::string_view name) override;

 private:
  Value info_;
  const MessageCatalogue catalogue_;
};

}  // namespace korvane
