#pragma once

#include <string>

#include "platform/Export.h"
#include "platform/NSViewController.h"

namespace korvane {

/// The extension's principal controller: one share from the request for its view to the launch of
/// the mail client. Main thread only.
class KORVANE_EXPORT ShareViewController : public NSViewController {
 public:
  /// "ShareViewController".
  std::string nibName() const override;

  /// Runs the share: empties the staging folder, loads the base view, cancels the request, so that
  /// the share sheet goes before any item has been read, and starts the extraction, whose message
  /// is handed to the mail client on a background queue. Without a context there is nothing to
  /// cancel and nothing shared; the mail client is opened all the same. Failures are logged.
  void loadView() override;
  /// The base's, which does nothing.
  void viewDidLoad() override;

  // Without a context neither does anything.

  /// Completes the request with one empty item. `sender` is ignored.
  void send(const void* sender);
  /// Cancels the request with NSCocoaErrorDomain's code 3072. `sender` is ignored.
  void cancel(const void* sender);
};

}  // namespace korvane
