#pragma once

#include <memory>
#include <string>
#include <utility>

#include "platform/Export.h"
#include "platform/NSExtension.h"

namespace korvane {

/// The base of controllers: owns an extension's view and knows its request. Main thread only.
class KORVANE_EXPORT NSViewController {
 public:
  virtual ~NSViewController() = default;

  /// Name of the interface description that loadView loads.
  virtual std::string nibName() const = 0;
  /// Loads the interface description named nibName() through the main bundle; a missing one is
  /// logged.
  virtual void loadView();
  /// Called once after loadView. The base's does nothing.
  virtual void viewDidLoad();
  /// What a host does to get the view: loadView and viewDidLoad, the first time.
  void loadViewIfNeeded();

  /// The request; null before a host has set it.
  std::shared_ptr<NSExtensionContext> extensionContext() const { return extensionContext_; }
  void setExtensionContext(std::shared_ptr<NSExtensionContext> context) {
    extensionContext_ = std::move(context);
  }

 private:
  std::shared_ptr<NSExtensionContext> extensionContext_;
  bool viewLoaded_ = false;
};

}  // namespace korvane
