#include "compose/Recipients.h"

#include <algorithm>
#include <optional>

#include "compose/GMimeLibrary.h"
#include "compose/MailText.h"
#include "linux/detail/GLibPointer.h"
#include "platform/NSString.h"
#include "platform/detail/Translation.h"
#include "text/ASCII.h"

namespace korvane {
namespace {

// What the way to a mailbox may be, by RFC 5321.
constexpr std::size_t kMaxAddress = 254;
constexpr std::size_t kMaxName = 500;

/// What of a text stands outside quotes; a quoted part leaves one `"`. Nothing where a quote does
/// not end.
std::optional<std::string> withoutQuoted(std::string_view text) {
  std::string result;
  bool quoted = false;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (quoted && text[at] == '\\') {
      ++at;
    } else if (text[at] == '"') {
      quoted = !quoted;
      if (quoted) result += '"';
    } else if (!quoted) {
      result += text[at];
    }
  }
  return quoted ? std::nullopt : std::optional(result);
}

std::vector<std::string_view> pieces(std::string_view text) {
  std::vector<std::string_view> found;
  bool quoted = false;
  std::size_t begin = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (quoted && text[at] == '\\') {
      ++at;
    } else if (text[at] == '"') {
      quoted = !quoted;
    } else if (text[at] == ';' && !quoted) {
      found.push_back(text.substr(begin, at - begin));
      begin = at + 1;
    }
  }
  found.push_back(text.substr(begin));
  return found;
}

bool isWord(std::string_view text, std::string_view marks) {
  return !text.empty() && std::ranges::all_of(text, [&](char c) {
    return isAlphanumeric(c) || marks.find(c) != marks.npos;
  });
}

/// Words of the kind with a single "." between each.
bool isDotted(std::string_view text, std::string_view marks) {
  for (;;) {
    const auto dot = text.find('.');
    if (!isWord(text.substr(0, dot), marks)) return false;
    if (dot == text.npos) return true;
    text.remove_prefix(dot + 1);
  }
}

bool isAddress(std::string_view address) {
  const auto at = address.rfind('@');
  if (at == address.npos || address.size() > kMaxAddress) return false;
  const std::string_view local = address.substr(0, at);
  const std::string_view domain = address.substr(at + 1);
  const bool quoted = local.size() > 2 && local.starts_with('"') && local.ends_with('"') &&
                      withoutQuoted(local) == "\"" &&
                      std::ranges::all_of(local, [](char c) { return c >= ' ' && c < 0x7F; });
  if (!quoted && !isDotted(local, "!#$%&'*+-/=?^_`{|}~")) return false;
  if (domain.starts_with('[') && domain.ends_with(']')) {
    return isWord(domain.substr(1, domain.size() - 2), ".:-");
  }
  return isDotted(domain, "-_");
}

/// A name on one line. Readers see one space where several are.
std::string withSingleSpaces(std::string_view name) {
  std::string text = oneLine(name);
  const auto end =
      std::unique(text.begin(), text.end(), [](char a, char b) { return a == ' ' && b == ' '; });
  text.erase(end, text.end());
  return text;
}

/// Nothing where the piece is anything but one mailbox.
std::optional<Mailbox> mailboxOf(std::string_view piece) {
  if (!isPlainPath(piece)) return std::nullopt;  // a line feed could begin another header
  const auto bare = withoutQuoted(piece);
  if (!bare) return std::nullopt;
  const auto count = [&](char c) { return std::ranges::count(*bare, c); };
  if (count('@') != 1 || count('<') > 1 || count('<') != count('>')) return std::nullopt;

  const std::string text(piece);
  const GObjectPointer<InternetAddressList> list(
      internet_address_list_parse(nullptr, text.c_str()));
  if (!list || internet_address_list_length(list.get()) != 1) return std::nullopt;
  InternetAddress* const first = internet_address_list_get_address(list.get(), 0);
  if (!INTERNET_ADDRESS_IS_MAILBOX(first)) return std::nullopt;
  const char* address = internet_address_mailbox_get_idn_addr(INTERNET_ADDRESS_MAILBOX(first));
  const char* name = internet_address_get_name(first);
  if (!address || !isAddress(address)) return std::nullopt;
  return Mailbox{std::string(truncated(withSingleSpaces(name ? name : ""), kMaxName)), address};
}

}  // namespace

std::vector<Mailbox> mailboxesOf(std::string_view text, LeftOutList& leftOut) {
  startGMime();
  std::vector<Mailbox> mailboxes;
  for (const std::string_view piece : pieces(text)) {
    const std::string trimmed = stringByTrimmingWhitespaceAndNewlines(piece);
    if (trimmed.empty()) continue;
    if (auto mailbox = mailboxOf(trimmed)) {
      mailboxes.push_back(*std::move(mailbox));
    } else {
      leftOut.push_back({oneLine(truncated(trimmed, kMaxSubject)),
                         translated("is not a recipient: it is not one mail address")});
    }
  }
  return mailboxes;
}

std::string mailboxText(const Mailbox& mailbox) {
  if (mailbox.name.empty()) {
    return isWord(mailbox.address.substr(0, 1), "")
               ? mailbox.address
               : std::string("<").append(mailbox.address).append(">");
  }
  std::string text = "\"";
  for (const char c : mailbox.name) {
    if (c == '"' || c == '\\') text += '\\';
    text += c;
  }
  return text + "\" <" + mailbox.address + ">";
}

std::string mailboxesText(const std::vector<Mailbox>& mailboxes) {
  std::string text;
  for (const Mailbox& mailbox : mailboxes) {
    if (!text.empty()) text += ", ";
    text += mailboxText(mailbox);
  }
  return text;
}

}  // namespace korvane
