#include <atomic>
#include <exception>
#include <string>
#include <string_view>
#include <utility>

#include "extension/ExtensionUtilities.h"
#include "platform/Clock.h"
#include "platform/Dispatch.h"
#include "platform/NSImage.h"
#include "platform/NSLog.h"
#include "platform/NSString.h"

namespace korvane {
namespace {

/// Single precision, widened: 0.10000000149011612 s.
constexpr double kPassInterval = 0.1F;
constexpr int kPassBudget = 100;

/// What the job and the load handlers have in common. Handlers hold it too, so one that runs after
/// the message was delivered does no harm.
struct Share {
  explicit Share(std::string name) : service(std::move(name)) {}

  const std::string service;
  const std::shared_ptr<ExtensionMessage> message = std::make_shared<ExtensionMessage>();
  /// Attachments whose load has not finished.
  std::atomic<std::size_t> pending{0};
};

/// Runs one step of a share. Whatever it raises ends in the log, so that the rest is still shared.
template <class Step>
void guarded(std::string_view name, const Step& step) noexcept {
  const auto log = [&](std::string_view reason) noexcept {
    try {
      NSLog("[%@] GetItemForExtension %@ %@", kErrorMark, name, reason);
    } catch (...) {  // no memory for the line
      static constexpr std::string_view kLine =
          "[***ERROR***] GetItemForExtension not enough memory";
      LogSink::installed()->write(kLine);
    }
  };
  try {
    step();
  } catch (const std::exception& exception) {
    log(exception.what());
  } catch (...) {
    log("unknown exception");
  }
}

void addText(Share& share, const NSAttributedString& text) {
  const auto html = text.dataFromRange(0, text.length(), NSDocumentType::html);
  const std::string_view document =
      html ? std::string_view(reinterpret_cast<const char*>(html->data()), html->size())
           : std::string_view();
  if (!html || !isUTF8(document)) {
    NSLog("[%@] GetItemForExtension text cannot be converted to HTML", kErrorMark);
    return;
  }
  share.message->appendToHtmlBody(stringWithFormat("%@<br/>", document));
}

/// The URL of a loaded item; a text or data that holds one will do.
std::optional<NSURL> urlOfItem(const Value& item) {
  if (item.isURL()) return item.url();
  if (item.isText()) return NSURL::URLWithString(item.text());
  if (item.isData()) {
    return NSURL::URLWithString(std::string(item.data().begin(), item.data().end()));
  }
  return std::nullopt;
}

void addUrl(Share& share, const Value& title, const Value& item,
            const std::optional<NSError>& error) {
  if (error) {
    NSLog("[%@] GetItemForExtension kUTTypeURL %@", kErrorMark, *error);
    return;
  }
  const auto url = urlOfItem(item);
  if (!url) {
    NSLog("[%@] GetItemForExtension kUTTypeURL %@", kErrorMark, "the item is not a URL");
    return;
  }
  if (url->isFileURL()) {
    share.message->addAttachments(
        ExtensionUtilities::ShareFiles(share.service, {url->fileSystemRepresentation()}));
    return;
  }
  share.message->setSubject(title);
  // A URL holds no quotation mark, "<" or ">", so it cannot leave the attribute.
  share.message->appendToHtmlBody(
      stringWithFormat("<a href=\"%@\">%@</a>", url->absoluteString(), url->absoluteString()));
}

std::optional<NSData> pngOfItem(const Value& item) {
  std::optional<NSData> tiff;
  if (item.isImage()) tiff = item.image().TIFFRepresentation();
  if (!tiff && !item.isData()) return std::nullopt;
  const auto bitmap = NSBitmapImageRep::imageRepWithData(tiff ? *tiff : item.data());
  if (!bitmap) return std::nullopt;
  return bitmap->representationUsingType(NSBitmapImageFileType::PNG);
}

void addImage(Share& share, const Value& item, const std::optional<NSError>& error) {
  if (error) {
    NSLog("[%@] GetItemForExtension kUTTypeImage %@", kErrorMark, *error);
    return;
  }
  // An image that cannot be encoded goes on as an absent blob, which ShareDatas logs. The list is
  // not written between braces: those would copy the file.
  std::vector<std::optional<NSData>> datas;
  datas.push_back(pngOfItem(item));
  share.message->addAttachments(ExtensionUtilities::ShareDatas(share.service, datas));
}

/// Starts a load whose item goes to `add`. However the load ends, and also where it cannot even be
/// started, it counts as finished exactly once.
template <class Add>
void load(const std::shared_ptr<Share>& share, NSItemProvider& provider, const char* type,
          std::string_view typeName, Add add) {
  struct Load {
    std::shared_ptr<Share> share;
    std::atomic<bool> handled{false};
  };
  const auto state = std::make_shared<Load>();
  state->share = share;
  const auto finish = [typeName](Load& load, const auto& step) {
    if (load.handled.exchange(true)) return;
    guarded(typeName, step);
    load.share->pending.fetch_sub(1, std::memory_order_release);
  };
  try {
    provider.loadItemForTypeIdentifier(
        type, [state, finish, add = std::move(add)](const Value& item,
                                                    const std::optional<NSError>& error) {
          finish(*state, [&] { add(*state->share, item, error); });
        });
  } catch (...) {
    finish(*state, [] { throw; });
  }
}

void startLoad(const std::shared_ptr<Share>& share, NSItemProvider& provider, const Value& title) {
  if (provider.hasItemConformingToTypeIdentifier(kUTTypeURL)) {
    load(share, provider, kUTTypeURL, "kUTTypeURL",
         [title](Share& to, const Value& item, const std::optional<NSError>& error) {
           addUrl(to, title, item, error);
         });
  } else if (provider.hasItemConformingToTypeIdentifier(kUTTypeImage)) {
    load(share, provider, kUTTypeImage, "kUTTypeImage", addImage);
  }
  // Anything else stays pending: such a share waits the whole budget.
}

void extract(const std::shared_ptr<Share>& share, const std::vector<NSExtensionItem>& items) {
  for (const NSExtensionItem& item : items) {
    for (const auto& provider : item.attachments) share->pending += provider ? 1 : 0;
  }

  for (const NSExtensionItem& item : items) {
    if (item.attributedContentText && item.attributedContentText->length() > 0) {
      guarded("text", [&] { addText(*share, *item.attributedContentText); });
    }
    const Value title = item.attributedTitle ? Value(item.attributedTitle->string()) : Value();
    for (const auto& provider : item.attachments) {
      if (provider) guarded("attachment", [&] { startLoad(share, *provider, title); });
    }
  }

  for (int budget = kPassBudget;; --budget) {
    sleepForTimeInterval(kPassInterval);
    if (share->pending.load(std::memory_order_acquire) == 0 || budget == 0) return;
  }
}

}  // namespace

void ExtensionUtilities::GetItemForExtension(std::shared_ptr<NSExtensionContext> context,
                                             std::string_view service, Completion completion) {
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_BACKGROUND, 0),
                 [context = std::move(context), service = std::string(service),
                  completion = std::move(completion)] {
                   const auto share = std::make_shared<Share>(service);
                   guarded("job", [&] {
                     static const std::vector<NSExtensionItem> kNone;
                     extract(share, context ? context->inputItems() : kNone);
                   });
                   if (completion) completion(share->message, std::nullopt);
                 });
}

}  // namespace korvane
