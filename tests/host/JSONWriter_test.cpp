#include "host/JSONWriter.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

namespace korvane {
namespace {

using nlohmann::json;

TEST(JSONString, AllOfUnicode) {
  std::string all;
  for (unsigned scalar = 0; scalar <= 0x10FFFF; ++scalar) {
    if (scalar >= 0xD800 && scalar <= 0xDFFF) continue;
    const auto append = [&](unsigned byte) { all += static_cast<char>(byte); };
    if (scalar < 0x80) {
      append(scalar);
    } else if (scalar < 0x800) {
      append(0xC0 | (scalar >> 6)), append(0x80 | (scalar & 0x3F));
    } else if (scalar < 0x10000) {
      append(0xE0 | (scalar >> 12)), append(0x80 | ((scalar >> 6) & 0x3F));
      append(0x80 | (scalar & 0x3F));
    } else {
      append(0xF0 | (scalar >> 18)), append(0x80 | ((scalar >> 12) & 0x3F));
      append(0x80 | ((scalar >> 6) & 0x3F)), append(0x80 | (scalar & 0x3F));
    }
  }
  EXPECT_TRUE(json::parse(jsonString(all)) == all);
  EXPECT_EQ(json::parse(jsonString("\xFF"
                                   "a\xC3")),
            "\uFFFD"
            "a\uFFFD");
}

TEST(JSONWriter, PartsMembersAndElements) {
  const std::string text = outputOf([](Output& output) {
    JSONWriter writer(output);
    writer.beginObject().key("a").beginList().endList();
    writer.key("b\"").beginList().number(-1).text("x").null().beginObject().endObject();
    writer.beginList().boolean(true).endList().endList();
    writer.key("c").beginObject().key("d").literal("1.5").endObject();
    writer.key("e").textOrNull("y").key("f").textOrNull(std::nullopt).endObject();
  });
  EXPECT_EQ(text,
            "{\"a\": [], \"b\\\"\": [-1, \"x\", null, {}, [true]], \"c\": {\"d\": 1.5}, "
            "\"e\": \"y\", \"f\": null}");
  EXPECT_FALSE(json::parse(text).is_discarded());
}

}  // namespace
}  // namespace korvane
