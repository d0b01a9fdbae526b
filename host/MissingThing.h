#pragma once

#include <string>

#include "platform/detail/Translation.h"

namespace korvane {

/// A thing that is not in the message, and why: both one line of text for people, from outside as
/// they may be.
struct MissingThing {
  std::string item;
  std::string reason;
  /// Whether the person was told while the run went on.
  bool told = false;
  /// Where the thing is a file: its absolute path, which may lead nowhere.
  std::string path{};
  friend bool operator==(const MissingThing& a, const MissingThing& b) {
    return a.item == b.item && a.reason == b.reason;
  }
};

/// "ITEM is not in the message: REASON", in the person's language.
inline std::string lineOf(const MissingThing& missing) {
  return translated("{0} is not in the message: {1}", missing.item, missing.reason);
}

}  // namespace korvane
