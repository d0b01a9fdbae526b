#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"
#include "platform/NSAttributedString.h"
#include "platform/NSError.h"
#include "platform/Value.h"

namespace korvane {

// Uniform type identifiers asked of a provider.
inline constexpr const char* kUTTypeURL = "public.url";
inline constexpr const char* kUTTypeImage = "public.image";

/// Whether the type is the other one or a kind of it: "public.file-url" conforms to "public.url",
/// "public.png" to "public.image". An unknown type conforms to itself alone.
KORVANE_EXPORT bool UTTypeConformsTo(std::string_view type, std::string_view conformsToType);

/// One shared thing that can be loaded as values of certain types. Any thread may call.
class KORVANE_EXPORT NSItemProvider {
 public:
  /// Called once for each load, on a thread of the provider's choosing, with the item or an error.
  using LoadHandler = std::function<void(const Value& item, const std::optional<NSError>& error)>;

  virtual ~NSItemProvider() = default;
  /// Whether the item can be loaded as the type: its own or one that it conforms to.
  virtual bool hasItemConformingToTypeIdentifier(std::string_view typeIdentifier) const = 0;
  /// Starts loading the item as the type and returns; the handler may be called before or after
  /// that.
  virtual void loadItemForTypeIdentifier(std::string_view typeIdentifier, LoadHandler handler) = 0;
};

/// One input item of a share: styled text, title and things attached.
struct KORVANE_EXPORT NSExtensionItem {
  std::optional<NSAttributedString> attributedTitle;
  std::optional<NSAttributedString> attributedContentText;
  /// A null one counts as none.
  std::vector<std::shared_ptr<NSItemProvider>> attachments;
};

/// The request that an extension serves; the extension host implements it. Any thread may call.
class KORVANE_EXPORT NSExtensionContext {
 public:
  virtual ~NSExtensionContext() = default;
  /// What is shared; the same list as long as the context lives.
  virtual const std::vector<NSExtensionItem>& inputItems() const = 0;
  /// Ends the request well. `completion`, which may be empty, is called once: with true where the
  /// host ran out of time, else with false.
  virtual void completeRequestReturningItems(std::vector<NSExtensionItem> items,
                                             std::function<void(bool expired)> completion) = 0;
  /// Ends the request without a result.
  virtual void cancelRequestWithError(const NSError& error) = 0;
};

}  // namespace korvane
