#include "host/DirectoryReport.h"

#include <cmath>
#include <string_view>
#include <utility>

#include "host/PrintableText.h"
#include "model/ExtensionAddress.h"
#include "model/ExtensionAlias.h"
#include "model/ExtensionGroup.h"
#include "platform/Value.h"
#include "urlutils/RequestUtils.h"

namespace korvane {
namespace {

// --- text ---

std::string shown(std::string_view text) {
  return text.empty() ? "-" : printableText(text, LineBreaks::show);
}
std::string shownField(const Value& value) {
  return shown(value.isAbsent() ? std::string() : value.description());
}

// "mail (name)"; the mail alone where there is no name.
std::string identity(const Value& mail, const Value& name) {
  const bool isNamed = !name.isAbsent() && !name.description().empty();
  return shownField(mail) + (isNamed ? " (" + shownField(name) + ")" : "");
}

// --- JSON ---

std::string base64(const NSData& data) {
  return RequestUtils::base64EncodedString(
             {reinterpret_cast<const char*>(data.data()), data.size()})
      .value_or("");
}

// Puts the parts between brackets, with commas.
class JSONParts {
 public:
  explicit JSONParts(const char* brackets) : brackets_(brackets), text_(1, brackets[0]) {}
  void add(const std::string& part) {
    if (text_.size() > 1) text_ += ", ";
    text_ += part;
  }
  void add(std::string_view key, const std::string& part) { add(jsonString(key) + ": " + part); }
  std::string finish() { return std::move(text_) + brackets_[1]; }

 private:
  const char* brackets_;
  std::string text_;
};

std::string valueJSON(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::absent:
      return "null";
    case Value::Kind::number:
      return std::isfinite(value.doubleValue()) ? value.description() : "null";
    case Value::Kind::boolean:
      return value.boolValue() ? "true" : "false";
    case Value::Kind::data:
      return jsonString(base64(value.data()));
    case Value::Kind::list: {
      JSONParts parts("[]");
      for (const Value& element : value.list()) parts.add(valueJSON(element));
      return parts.finish();
    }
    case Value::Kind::dictionary: {
      JSONParts parts("{}");
      for (const auto [key, element] : value.dictionary()) parts.add(key, valueJSON(element));
      return parts.finish();
    }
    default:
      return jsonString(value.description());
  }
}

template <class Record>
std::string listJSON(const std::vector<std::shared_ptr<Record>>& records,
                     std::string (*recordJSON)(const Record&)) {
  JSONParts parts("[]");
  for (const auto& record : records) parts.add(recordJSON(*record));
  return parts.finish();
}

std::string aliasJSON(const ExtensionAlias& alias) {
  JSONParts parts("{}");
  parts.add("mail", valueJSON(alias.mail()));
  parts.add("name", valueJSON(alias.name()));
  parts.add("account", valueJSON(alias.account()));
  return parts.finish();
}

std::string accountJSON(const ExtensionAccount& account) {
  const auto aliases = account.aliases();
  JSONParts parts("{}");
  parts.add("mail", valueJSON(account.mail()));
  parts.add("name", valueJSON(account.name()));
  parts.add("type", std::to_string(account.type()));
  parts.add("enabled", account.enabled() ? "true" : "false");
  parts.add("aliases", aliases ? listJSON(*aliases, aliasJSON) : "null");
  return parts.finish();
}

std::string addressJSON(const ExtensionAddress& address) {
  JSONParts parts("{}");
  parts.add("mail", valueJSON(address.mail()));
  parts.add("firstName", valueJSON(address.firstName()));
  parts.add("lastName", valueJSON(address.lastName()));
  parts.add("company", valueJSON(address.company()));
  parts.add("nickname", valueJSON(address.nickname()));
  parts.add("rank", std::to_string(address.rank()));
  parts.add("prettyprint", jsonString(address.prettyprint()));
  return parts.finish();
}

std::string groupJSON(const ExtensionGroup& group) {
  const auto members = group.addresses();
  JSONParts parts("{}");
  parts.add("idx", valueJSON(group.idx()));
  parts.add("name", valueJSON(group.name()));
  parts.add("prettyprint", jsonString(group.prettyprint()));
  parts.add("addresses", members ? listJSON(*members, addressJSON) : "null");
  return parts.finish();
}

}  // namespace

std::string accountsText(const ExtensionAccounts& accounts) {
  std::string text;
  for (const auto& account : accounts) {
    text += identity(account->mail(), account->name()) + ", type " +
            std::to_string(account->type()) + (account->enabled() ? "\n" : ", disabled\n");
    for (const auto& alias : account->aliases().value_or(ExtensionAccount::Aliases())) {
      text += "  alias " + identity(alias->mail(), alias->name()) + "\n";
    }
  }
  return text;
}

std::string contactsText(const ExtensionDirectory& directory) {
  std::string text;
  if (!directory.addresses.empty()) text += "Contacts:\n";
  for (const auto& contact : directory.addresses)
    text += "  " + shown(contact->prettyprint()) + "\n";
  if (!directory.groups.empty()) text += "Groups:\n";
  for (const auto& group : directory.groups) {
    text += "  " + shown(group->prettyprint()) + "\n";
    for (const auto& member : group->addresses().value_or(ExtensionGroup::Addresses())) {
      text += "    " + shown(member->prettyprint()) + "\n";
    }
  }
  return text;
}

std::string accountsJSON(const ExtensionAccounts& accounts) {
  return listJSON(accounts, accountJSON) + "\n";
}

std::string contactsJSON(const ExtensionDirectory& directory) {
  JSONParts parts("{}");
  parts.add("addresses", listJSON(directory.addresses, addressJSON));
  parts.add("groups", listJSON(directory.groups, groupJSON));
  return parts.finish() + "\n";
}

}  // namespace korvane
