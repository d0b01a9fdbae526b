// A platform of one's own: the services of the Linux desktop with one replaced, and a whole share
// run against it.
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "linux/LinuxPlatform.h"
#include "model/ExtensionMessage.h"
#include "share/ShareViewController.h"

using namespace korvane;

// Opens nothing, and remembers what it was asked to open. It is asked from a background queue.
class RememberingWorkspace : public NSWorkspace {
 public:
  bool openURLs(const std::vector<NSURL>& urls, std::string_view, unsigned) override {
    opened = urls;
    return true;
  }
  std::vector<NSURL> opened;
};

// One shared web link.
class LinkProvider : public NSItemProvider {
 public:
  bool hasItemConformingToTypeIdentifier(std::string_view type) const override {
    return UTTypeConformsTo("public.url", type);
  }
  void loadItemForTypeIdentifier(std::string_view, LoadHandler handler) override {
    handler(NSURL::URLWithString("https://tea.example/menu"), std::nullopt);
  }
};

// The request of a host that shows nothing.
class LinkRequest : public NSExtensionContext {
 public:
  LinkRequest() {
    NSExtensionItem item;
    item.attributedTitle = NSAttributedString("The menu");
    item.attachments.push_back(std::make_shared<LinkProvider>());
    items_.push_back(item);
  }
  const std::vector<NSExtensionItem>& inputItems() const override { return items_; }
  void completeRequestReturningItems(std::vector<NSExtensionItem>,
                                     std::function<void(bool)>) override {}
  void cancelRequestWithError(const NSError&) override {}

 private:
  std::vector<NSExtensionItem> items_;
};

int main() {
  const std::string container =
      (std::filesystem::temp_directory_path() / "korvane-tour-platform").string();
  const auto workspace = std::make_shared<RememberingWorkspace>();
  const auto queue = std::make_shared<ThreadPool>();

  // The desktop's services, with a container and a workspace of our own.
  Platform services = linuxPlatform({.container = container});
  services.workspace = workspace;
  services.queue = queue;
  Platform::install(std::move(services));

  // The controller starts the share when it is asked for its view; a queue finishes it.
  ShareViewController controller;
  controller.setExtensionContext(std::make_shared<LinkRequest>());
  controller.loadViewIfNeeded();
  queue->waitUntilIdle();

  std::filesystem::remove_all(container);
  if (workspace->opened.size() != 1) return 1;
  const auto message = ExtensionMessage::ExtensionMessageWithUrl(workspace->opened[0]);
  std::printf("%s\n%s\n", message->subject().description().c_str(),
              message->htmlBody().value_or("").c_str());
  return message->subject() == Value("The menu") &&
                 message->htmlBody() ==
                     "<a href=\"https://tea.example/menu\">https://tea.example/menu</a>"
             ? 0
             : 1;
}
