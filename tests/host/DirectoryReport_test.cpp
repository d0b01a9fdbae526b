#include "host/DirectoryReport.h"

#include <gmock/gmock.h>

#include <limits>
#include <nlohmann/json.hpp>

#include "model/ExtensionAddress.h"
#include "model/ExtensionAlias.h"
#include "model/ExtensionGroup.h"
#include "support/TestPlatform.h"

namespace korvane {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;

template <class Records>
std::string text(void (*write)(const Records&, Output&), const Records& records) {
  return outputOf([&](Output& output) { write(records, output); });
}

// A value of every kind that a property list can hold.
const List kOddValues = {"\x1b]0;title\x07 line\nbreak \xE2\x80\xAE",
                         "not UTF-8 \xFF\xC0\x80",
                         std::string_view("NUL \0 inside", 12),
                         "\"quotes\" \\ and </script>",
                         std::numeric_limits<std::int64_t>::min(),
                         1.5,
                         1e300,
                         std::numeric_limits<double>::quiet_NaN(),
                         -std::numeric_limits<double>::infinity(),
                         true,
                         NSDate{0},
                         NSDate{1e200},
                         NSData{0, 1, 255, 254},
                         List{List{"a", 1}, Dictionary{{"k\n", List{}}}},
                         Dictionary{{"", Dictionary{}}, {"\xFF", "\xFF"}}};

TEST(DirectoryReport, JSONIsValidWhateverTheFieldsHold) {
  testing::TestPlatform platform;
  for (const Value& odd : kOddValues) {
    SCOPED_TRACE(odd.description());
    const Dictionary fields{{"mail", odd},      {"name", odd},     {"account", odd},
                            {"firstName", odd}, {"lastName", odd}, {"company", odd},
                            {"nickname", odd},  {"idx", odd}};
    Dictionary account = fields;
    account.set("aliases", List{fields, odd});
    Dictionary group = fields;
    group.set("addresses", List{fields, odd});
    const ExtensionAccounts accounts{std::make_shared<ExtensionAccount>(account),
                                     std::make_shared<ExtensionAccount>(odd)};
    ExtensionDirectory directory;
    directory.addresses = {std::make_shared<ExtensionAddress>(fields),
                           std::make_shared<ExtensionAddress>(odd)};
    directory.groups = {std::make_shared<ExtensionGroup>(group),
                        std::make_shared<ExtensionGroup>(odd)};
    for (const std::string& shown :
         {text(writeAccountsJSON, accounts), text(writeContactsJSON, directory)}) {
      const json parsed = json::parse(shown, nullptr, false);
      ASSERT_FALSE(parsed.is_discarded()) << shown;
      for (const char c : shown.substr(0, shown.size() - 1))
        EXPECT_GE(static_cast<unsigned char>(c), 0x20);
    }
    for (const std::string& shown :
         {text(writeAccounts, accounts), text(writeContacts, directory)}) {
      EXPECT_THAT(shown, Not(HasSubstr("\x1b")));
      EXPECT_THAT(shown, Not(HasSubstr("\x07")));
      EXPECT_FALSE(json(shown).dump(-1, ' ', false).empty());  // throws where it is not UTF-8
    }
  }
}

TEST(DirectoryReport, JSONKeepsTheKinds) {
  testing::TestPlatform platform;
  const auto account = std::make_shared<ExtensionAccount>(Dictionary{
      {"mail", List{1, 2.5, true, NSDate{0}, NSData{1, 2, 3, 4}, Dictionary{{"k", "v"}}}},
      {"name", std::numeric_limits<std::int64_t>::min()},
      {"type", 7},
      {"enabled", "yes"}});
  EXPECT_EQ(text(writeAccountsJSON, ExtensionAccounts{account}),
            "[{\"mail\": [1, 2.5, true, \"1970-01-01 00:00:00 +0000\", \"AQIDBA==\", "
            "{\"k\": \"v\"}], \"name\": -9223372036854775808, \"type\": 7, \"enabled\": true, "
            "\"aliases\": []}]\n");
  EXPECT_EQ(text(writeAccountsJSON, ExtensionAccounts{std::make_shared<ExtensionAccount>()}),
            "[{\"mail\": null, \"name\": null, \"type\": 0, \"enabled\": false, \"aliases\": "
            "null}]\n");
}

TEST(DirectoryReport, JSONOfContacts) {
  testing::TestPlatform platform;
  ExtensionDirectory directory;
  directory.addresses = {std::make_shared<ExtensionAddress>(
      Dictionary{{"mail", "a@b.example"}, {"firstName", "A"}, {"rank", "12"}})};
  directory.groups = {
      std::make_shared<ExtensionGroup>(Dictionary{{"idx", 1}, {"addresses", List{Dictionary{}}}}),
      std::make_shared<ExtensionGroup>("no group")};
  const json parsed = json::parse(text(writeContactsJSON, directory));
  EXPECT_EQ(parsed["addresses"][0], (json{{"mail", "a@b.example"},
                                          {"firstName", "A"},
                                          {"lastName", ""},
                                          {"company", ""},
                                          {"nickname", ""},
                                          {"rank", 12},
                                          {"prettyprint", "A <a@b.example>"}}));
  EXPECT_EQ(parsed["groups"][0]["name"], "No Name");
  EXPECT_EQ(parsed["groups"][0]["prettyprint"], "No Name (1)");
  EXPECT_EQ(parsed["groups"][0]["addresses"][0]["prettyprint"], "<No Mail>");
  EXPECT_TRUE(parsed["groups"][1]["addresses"].is_null());
}

}  // namespace
}  // namespace korvane
