#pragma once

// Reading HTML documents in tests.

#include <gtest/gtest.h>

#include <string_view>

#include "formats/html/HTML.h"

namespace korvane::testing {

inline NSData bytes(std::string_view text) { return {text.begin(), text.end()}; }

/// What a document reads as; one that cannot be read fails the test.
inline HTMLText read(std::string_view html, std::string_view baseURL = {}) {
  auto result = HTML().read(bytes(html), baseURL);
  EXPECT_TRUE(result);
  return result.value_or(HTMLText{});
}

}  // namespace korvane::testing
