#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/Export.h"

namespace korvane {

/// The time in which one share has the staging folder to itself. Each share empties the folder and
/// fills it anew, under the names that were free; of two at once, one would attach the other's
/// files. The turn ends with this object or with the process, however that ends.
class KORVANE_EXPORT ShareTurn {
 public:
  /// Longer than several shares take; who has not ended by then waits for the mail client's answer
  /// and has staged what it stages.
  static constexpr std::chrono::milliseconds kLongestWait{60'000};

  /// Waits until no other share with this container has its turn, but not longer than
  /// `longestWait`: the share goes on then, as it does where there is no container and where the
  /// lock file beside it cannot be had. Makes the folder that holds the container; the Platform,
  /// on whose clock it waits, must be installed.
  explicit ShareTurn(const std::optional<std::string>& container,
                     std::chrono::milliseconds longestWait = kLongestWait);
  ~ShareTurn();
  ShareTurn(const ShareTurn&) = delete;
  ShareTurn& operator=(const ShareTurn&) = delete;

  /// Whether other shares are kept waiting.
  bool isOurs() const { return isOurs_; }

 private:
  int file_ = -1;
  bool isOurs_ = false;
};

}  // namespace korvane
