#include "host/DirectoryReport.h"

#include <cmath>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "host/JSONWriter.h"
#include "model/ExtensionAddress.h"
#include "model/ExtensionAlias.h"
#include "model/ExtensionGroup.h"
#include "platform/Value.h"
#include "platform/detail/Translation.h"
#include "text/PrintableText.h"
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

void writeValue(JSONWriter& json, const Value& value) {
  switch (value.kind()) {
    case Value::Kind::absent:
      json.null();
      break;
    case Value::Kind::number:
      json.literal(std::isfinite(value.doubleValue()) ? value.description() : "null");
      break;
    case Value::Kind::boolean:
      json.boolean(value.boolValue());
      break;
    case Value::Kind::data:
      json.text(base64(value.data()));
      break;
    case Value::Kind::list:
      json.beginList();
      for (const Value& element : value.list()) writeValue(json, element);
      json.endList();
      break;
    case Value::Kind::dictionary:
      json.beginObject();
      for (const auto [key, element] : value.dictionary()) writeValue(json.key(key), element);
      json.endObject();
      break;
    default:
      json.text(value.description());
  }
}

void writeRecord(JSONWriter& json, const ExtensionAlias& alias);
void writeRecord(JSONWriter& json, const ExtensionAccount& account);
void writeRecord(JSONWriter& json, const ExtensionAddress& address);
void writeRecord(JSONWriter& json, const ExtensionGroup& group);

template <class Record>
void writeList(JSONWriter& json, const std::vector<std::shared_ptr<Record>>& records) {
  json.beginList();
  for (const auto& record : records) writeRecord(json, *record);
  json.endList();
}

/// null where it could not be read.
template <class Record>
void writeList(JSONWriter& json,
               const std::optional<std::vector<std::shared_ptr<Record>>>& records) {
  if (records) {
    writeList(json, *records);
  } else {
    json.null();
  }
}

void writeRecord(JSONWriter& json, const ExtensionAlias& alias) {
  json.beginObject();
  writeValue(json.key("mail"), alias.mail());
  writeValue(json.key("name"), alias.name());
  writeValue(json.key("account"), alias.account());
  json.endObject();
}

void writeRecord(JSONWriter& json, const ExtensionAccount& account) {
  json.beginObject();
  writeValue(json.key("mail"), account.mail());
  writeValue(json.key("name"), account.name());
  json.key("type").number(account.type());
  json.key("enabled").boolean(account.enabled());
  writeList(json.key("aliases"), account.aliases());
  json.endObject();
}

void writeRecord(JSONWriter& json, const ExtensionAddress& address) {
  json.beginObject();
  writeValue(json.key("mail"), address.mail());
  writeValue(json.key("firstName"), address.firstName());
  writeValue(json.key("lastName"), address.lastName());
  writeValue(json.key("company"), address.company());
  writeValue(json.key("nickname"), address.nickname());
  json.key("rank").number(address.rank());
  json.key("prettyprint").text(address.prettyprint());
  json.endObject();
}

void writeRecord(JSONWriter& json, const ExtensionGroup& group) {
  json.beginObject();
  writeValue(json.key("idx"), group.idx());
  writeValue(json.key("name"), group.name());
  json.key("prettyprint").text(group.prettyprint());
  writeList(json.key("addresses"), group.addresses());
  json.endObject();
}

}  // namespace

void writeAccounts(const ExtensionAccounts& accounts, Output& output) {
  for (const auto& account : accounts) {
    const std::string who = identity(account->mail(), account->name());
    const std::string type = std::to_string(account->type());
    output << (account->enabled() ? translated("{0}, type {1}", who, type)
                                  : translated("{0}, type {1}, disabled", who, type))
           << "\n";
    for (const auto& alias : account->aliases().value_or(ExtensionAccount::Aliases())) {
      output << "  " << translated("alias {0}", identity(alias->mail(), alias->name())) << "\n";
    }
  }
}

void writeContacts(const ExtensionDirectory& directory, Output& output) {
  if (!directory.addresses.empty()) output << translated("Contacts:") << "\n";
  for (const auto& contact : directory.addresses) {
    output << "  " << shown(contact->prettyprint()) << "\n";
  }
  if (!directory.groups.empty()) output << translated("Groups:") << "\n";
  for (const auto& group : directory.groups) {
    output << "  " << shown(group->prettyprint()) << "\n";
    for (const auto& member : group->addresses().value_or(ExtensionGroup::Addresses())) {
      output << "    " << shown(member->prettyprint()) << "\n";
    }
  }
}

void writeAccountsJSON(const ExtensionAccounts& accounts, Output& output) {
  JSONWriter json(output);
  writeList(json, accounts);
  output << "\n";
}

void writeContactsJSON(const ExtensionDirectory& directory, Output& output) {
  JSONWriter json(output);
  json.beginObject();
  writeList(json.key("addresses"), directory.addresses);
  writeList(json.key("groups"), directory.groups);
  json.endObject();
  output << "\n";
}

}  // namespace korvane
