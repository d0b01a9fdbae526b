#include "formats/html/CSSMath.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace korvane {
namespace {

TEST(CSSMath, Refused) {
  for (const std::string_view function : {"",
                                          "calc",
                                          "calc(",
                                          "calc()",
                                          "calc(1",
                                          "calc(1px",
                                          "calc(1px)x",
                                          "calc(1px))",
                                          "1px",
                                          "calc(1px 2px)",
                                          "calc(1px,2px)",
                                          "calc(1px + )",
                                          "calc(+)",
                                          "calc(1px+2px)",
                                          "calc(1px -2px)",
                                          "calc(1px- 2px)",
                                          "calc(1px * 2px)",
                                          "calc(1 / 2px)",
                                          "calc(1px / 0)",
                                          "calc(1em + 2px)",
                                          "calc(100% - 20px)",
                                          "calc(1 + 2px)",
                                          "calc(5px - 6px)",
                                          "calc(1e9px)",
                                          "calc(nan)",
                                          "calc(x)",
                                          "calc(var(--x))",
                                          "calc(#1)",
                                          "calc(1px;)",
                                          "min()",
                                          "min(,)",
                                          "min(1px,2em)",
                                          "clamp(1px,2px)",
                                          "url(1px)",
                                          "abs(1px)",
                                          "rgb(1,2,3)",
                                          "calc(1)calc(1)",
                                          "(1px)x",
                                          "calc(e)",
                                          "calc(1px + 2px) solid"}) {
    EXPECT_EQ(cssMathResult(function), std::nullopt) << function;
  }
  const std::string deep = std::string(17, '(') + '1' + std::string(17, ')');
  EXPECT_EQ(cssMathResult("calc" + deep), std::nullopt);
}

TEST(CSSMath, Results) {
  for (const auto& [function, result] : std::vector<std::pair<std::string_view, std::string>>{
           {"calc(1px)", "1px"},
           {"calc(0)", "0"},
           {"CALC( 1PX + 2Px )", "3px"},
           {"calc(1px + 2px - 3px)", "0px"},
           {"calc(2px + 3px * 4)", "14px"},
           {"calc((2px + 3px) * 4)", "20px"},
           {"calc(2*3px)", "6px"},
           {"calc(20px/2*3)", "30px"},
           {"calc(1px - (2px - 3px))", "2px"},
           {"calc(1px + -0.5px)", "0.5px"},
           {"calc(+1px)", "1px"},
           {"calc(1 + .5)", "1.5"},
           {"calc(10px / 3)", "3.3333px"},
           {"calc(1in / 2)", "0.5in"},
           {"calc(12pt + 1px)", "17px"},
           {"calc(1in + 2.54cm + 25.4mm + 6pc + 101.6q)", "480px"},
           {"calc(50% + 50%)", "100%"},
           {"calc(1em + 1EM)", "2em"},
           {"calc(1px + calc(2px * 2))", "5px"},
           {"-webkit-calc(1px + 2px)", "3px"},
           {"min(3px, 2px,4px)", "2px"},
           {"max(10px, 1in)", "96px"},
           {"max(1px, 2px, 1in, 3px)", "96px"},
           {"clamp(10px, 5px, 20px)", "10px"},
           {"clamp(10px, 15px, 20px)", "15px"},
           {"clamp(10px, 25px, 20px)", "20px"},
           {"clamp(30px, 25px, 20px)", "30px"},
           {"calc(1px + min(2px, 3px))", "3px"}}) {
    EXPECT_EQ(cssMathResult(function), result) << function;
  }
}

}  // namespace
}  // namespace korvane
