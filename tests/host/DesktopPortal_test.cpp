#include "host/DesktopPortal.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

// What is installed is found by korvane-portal's own test.
TEST(DesktopPortal, WhichVersionsReadPortalsConf) {
  for (const char* version :
       {"1.17.1", "1.18", "1.18.4", "1.20.3", "2.0", "10.1", "", "odd", "1"}) {
    EXPECT_TRUE(readsPortalsConf(version)) << version;
  }
  for (const char* version : {"0.11", "1.0", "1.8.1", "1.14.6", "1.16.0", "1.16"}) {
    EXPECT_FALSE(readsPortalsConf(version)) << version;
  }
}

}  // namespace
}  // namespace korvane
