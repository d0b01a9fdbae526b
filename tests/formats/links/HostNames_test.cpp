#include "formats/links/HostNames.h"

#include <gtest/gtest.h>

#include <utility>

namespace korvane {
namespace {

TEST(HostNames, InTheFormOfDNS) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"münchen.example", "xn--mnchen-3ya.example"},
      {"MÜNCHEN.Example", "xn--mnchen-3ya.example"},
      {"faß.example", "xn--fa-hia.example"},  // not "fass"
      {"例え。テスト", "xn--r8jz45g.xn--zckzah"},
      {"ü.example.", "xn--tda.example."},
      {"ü_b.example", "xn--_b-wka.example"},                    // such hosts exist
      {"ｅｘａｍｐｌｅ.example", "example.example"},            // wide letters
      {"نامه\u200Cای.example", "xn--mgba3gch31f060k.example"},  // a joiner where Persian needs it
  };
  for (const auto& [host, name] : rows) EXPECT_EQ(punycodeHost(host), name) << host;
}

TEST(HostNames, WithoutSuchAForm) {
  for (const std::string& host : {
           std::string(""),
           std::string("ü..example"),
           std::string("-ü.example"),
           std::string("ab--ü.example"),
           std::string("ü^.example"),
           std::string("ü b.example"),
           std::string("ü%41.example"),
           std::string("\u00A0.example"),    // becomes a space
           std::string("\u2100.example"),    // becomes "a/c"
           std::string("a\u200Cb.example"),  // a joiner between letters that are never joined
           std::string("אa1.example"),       // from right to left and back
           std::string("\xC3.example"),
           "ü" + std::string(70, 'a') + ".example",
           std::string(2000, 'a'),
       }) {
    EXPECT_EQ(punycodeHost(host), std::nullopt) << host;
  }
}

}  // namespace
}  // namespace korvane
