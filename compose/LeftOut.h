#pragma once

#include <string>
#include <vector>

namespace korvane {

/// Something of a message that does not arrive in the compose window, and why.
struct LeftOut {
  /// What it is: a path, a name, an address. UTF-8, from outside.
  std::string item;
  /// The rest of a sentence about it: "is not attached: it is a link".
  std::string reason;

  friend bool operator==(const LeftOut&, const LeftOut&) = default;
};

using LeftOutList = std::vector<LeftOut>;

}  // namespace korvane
