#include "host/MessageReport.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace korvane {
namespace {

using nlohmann::json;

TEST(MessageReport, ValuesOfAnyKind) {
  ExtensionMessage message;
  message.setSubject(7);
  message.setPlainBody(std::nullopt);
  message.setAttachments(List{NSURL::fileURLWithPath("/no such/file"), 5});
  const json shown = json::parse(messageJSON(message));
  EXPECT_EQ(shown["subject"], "7");
  EXPECT_EQ(shown["plainBody"], nullptr);
  EXPECT_EQ(shown["attachments"][0]["path"], "/no such/file");
  EXPECT_EQ(shown["attachments"][1]["exists"], false);
  message.setAttachments(std::nullopt);
  EXPECT_EQ(json::parse(messageJSON(message))["attachments"], json::array());
  EXPECT_NE(messageText(message).find("Attachments: -\n"), std::string::npos);
}

}  // namespace
}  // namespace korvane
