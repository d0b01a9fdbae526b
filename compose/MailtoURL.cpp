#include "compose/MailtoURL.h"

#include <glib.h>

#include <algorithm>
#include <string_view>

#include "compose/MailText.h"
#include "linux/detail/GLibPointer.h"
#include "platform/detail/Translation.h"
#include "urlutils/RequestUtils.h"

namespace korvane {
namespace {

// Recipients may take this much, so that something is left for the rest.
constexpr std::size_t kMaxRecipients = 40'000;
// What a long text keeps where there are many attachments.
constexpr std::size_t kTextReserve = 8'000;

class Writer {
 public:
  explicit Writer(LeftOutList& leftOut) : leftOut_(leftOut) {}

  void addRecipients(const char* key, const std::vector<Mailbox>& mailboxes) {
    bool first = true;
    for (const Mailbox& mailbox : mailboxes) {
      const std::string value = RequestUtils::URLEncodedString(mailboxText(mailbox));
      if (url_.size() + value.size() > kMaxRecipients) {
        leftOut_.push_back(
            {mailboxText(mailbox),
             translated("is not a recipient: the mail client takes no more at once")});
        continue;
      }
      if (!first) {
        url_ += ',';
      } else if (*key) {
        beginValue(key);
      }
      url_ += value;
      first = false;
    }
  }

  void add(const char* key, std::string_view value) {
    if (value.empty()) return;
    beginValue(key);
    url_ += value;
  }

  std::size_t room() const { return kMaxArgument - std::min(kMaxArgument, url_.size() + 16); }
  std::string take() { return std::move(url_); }

 private:
  void beginValue(const char* key) {
    url_ += hasQuery_ ? '&' : '?';
    url_ += key;
    url_ += '=';
    hasQuery_ = true;
  }

  LeftOutList& leftOut_;
  std::string url_ = "mailto:";
  bool hasQuery_ = false;
};

/// The text with CR LF between its lines, as the URLs have it.
std::string withReturns(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '\n') result += '\r';
    result += c;
  }
  return result;
}

/// The longest beginning of a text whose encoded form fits, encoded.
std::string encodedBeginning(const std::string& text, std::size_t room, bool& whole) {
  std::string encoded = RequestUtils::URLEncodedString(withReturns(text));
  whole = encoded.size() <= room;
  if (whole) return encoded;
  // A line feed is written as six bytes, any other byte as one or three: what is added always fits.
  std::string_view part = truncated(text, room / 6);
  for (;;) {
    encoded = RequestUtils::URLEncodedString(withReturns(part));
    const std::string_view longer = truncated(text, part.size() + (room - encoded.size()) / 6);
    if (longer.size() == part.size()) return encoded;
    part = longer;
  }
}

}  // namespace

std::string fileURI(const std::string& path) {
  const GPointer<char> uri(g_filename_to_uri(path.c_str(), nullptr, nullptr));
  return uri ? uri.get() : std::string();
}

std::string mailtoURL(const MailDraft& draft, const MailtoForm& form, LeftOutList& leftOut) {
  Writer url(leftOut);
  url.addRecipients("", draft.to);
  url.addRecipients("cc", draft.cc);
  if (form.bcc) url.addRecipients("bcc", draft.bcc);
  url.add("subject", RequestUtils::URLEncodedString(draft.subject));

  const std::size_t reserve = std::min(kTextReserve, draft.body.plain.size() * 3);
  std::vector<std::string> attached;
  for (const std::string& path : form.attachments) {
    attached.push_back(RequestUtils::URLEncodedString(fileURI(path)));
  }
  std::size_t needed = 0;
  std::size_t fitting = 0;
  while (fitting < attached.size() &&
         needed + attached[fitting].size() + 8 + reserve <= url.room()) {
    needed += attached[fitting++].size() + 8;
  }
  for (std::size_t i = fitting; i < attached.size(); ++i) {
    leftOut.push_back({mailFileName(form.attachments[i]),
                       translated("is not attached: the mail client takes no more at once")});
  }

  bool whole = true;
  const std::string text =
      encodedBeginning(draft.body.plain, url.room() - std::min(url.room(), needed), whole);
  url.add("body", text);
  if (!whole)
    leftOut.push_back(
        {translated("the text"), translated("is cut: the mail client takes no more at once")});
  for (std::size_t i = 0; i < fitting; ++i) url.add("attach", attached[i]);
  return url.take();
}

}  // namespace korvane
