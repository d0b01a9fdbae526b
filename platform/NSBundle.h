#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/Value.h"

namespace korvane {

/// The running program's own resources; a service of the Platform. Any thread may call.
class KORVANE_EXPORT NSBundle {
 public:
  virtual ~NSBundle() = default;

  /// The bundle of the installed Platform.
  static std::shared_ptr<NSBundle> mainBundle();

  /// A value of the info dictionary, such as "CFBundleIdentifier"; absent when there is none.
  virtual Value objectForInfoDictionaryKey(std::string_view key) = 0;

  /// The translation of a text in the user's language. Without one: `value` where that is not
  /// empty, else the key itself. The empty key gives the empty text. An empty `table` is the
  /// default table.
  virtual std::string localizedStringForKey(std::string_view key, std::string_view value = {},
                                            std::string_view table = {}) = 0;

  /// Loads the named interface description; false when the program has none of that name.
  virtual bool loadNibNamed(std::string_view name) = 0;
};

/// A bundle without resources: no info dictionary, every text its own translation, and an empty
/// interface under every name. What a process has that installs nothing else.
class KORVANE_EXPORT EmptyBundle : public NSBundle {
 public:
  Value objectForInfoDictionaryKey(std::string_view key) override;
  std::string localizedStringForKey(std::string_view key, std::string_view value = {},
                                    std::string_view table = {}) override;
  bool loadNibNamed(std::string_view name) override;
};

}  // namespace korvane
