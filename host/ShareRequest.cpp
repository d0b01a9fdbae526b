#include "host/ShareRequest.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/InputError.h"
#include "host/JSONWriter.h"
#include "host/LoneSurrogates.h"
#include "platform/detail/Translation.h"
#include "text/ASCII.h"
#include "text/Base64.h"

namespace korvane {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kMaxElements = 100'000;
constexpr std::size_t kMaxDepth = 32;

// What a value may be.
constexpr const char* kAnObject = translatable("an object");
constexpr const char* kAList = translatable("a list");
constexpr const char* kAText = translatable("a text");

// What came from outside, as part of a one-line message.
std::string inQuotes(const std::string& text) {
  constexpr std::size_t kShown = 60;
  std::string shown = text.substr(0, kShown);
  if (text.size() > kShown) shown += "...";
  return jsonString(shown);
}

std::string unknownKeys(std::size_t count, const std::string& names) {
  return translatedCount("unknown key {1}", "unknown keys {1}", count, names);
}

bool isWebPage(std::string_view url) {
  const std::string start = lowercase(url.substr(0, 8));
  return (start.starts_with("http://") && url.size() > 7) ||
         (start == "https://" && url.size() > 8);
}

// Takes the events of the JSON reader and builds the request on the way, so that nothing but the
// request itself is ever held. Values of unknown keys are skipped, so that all such keys can be
// named.
class RequestBuilder final : public nlohmann::json_sax<Json> {
 public:
  explicit RequestBuilder(std::string_view json) : json_(json) {}

  ShareRequest take() {
    if (!unknown_.empty()) {
      throw InputError(unknownKeys(unknownCount_, unknown_));
    }
    return std::move(request_);
  }

  bool null() override { return scalar("null"); }
  bool boolean(bool) override { return scalar(translatable("a boolean")); }
  bool number_integer(number_integer_t) override { return scalar(translatable("a number")); }
  bool number_unsigned(number_unsigned_t) override { return scalar(translatable("a number")); }
  bool number_float(number_float_t, const string_t&) override {
    return scalar(translatable("a number"));
  }
  bool binary(binary_t&) override { return scalar(translatable("binary data")); }

  bool string(string_t& value) override {
    if (skipping_ || !wantsText()) return scalar(kAText);
    if (at_ == Place::item) {
      if (key_ == "title") {
        item().title = std::move(value);
      } else {
        if (key_ == "baseUrl" && !isWebPage(value)) {
          throw InputError(translated("{0} must be an http or https URL", place() + "baseUrl"));
        }
        (key_ == "text" ? text_ : key_ == "html" ? html_ : baseUrl_) = std::move(value);
      }
    } else {
      fields_[fieldIndex(key_)] = std::move(value);
    }
    return true;
  }

  bool start_object(std::size_t) override {
    if (skipping_) return deeper();
    keys_.clear();
    switch (at_) {
      case Place::start:
        at_ = Place::root;
        return true;
      case Place::items:
        if (request_.items.size() == kMaxElements) tooMany(translatable("more than {0} items"));
        request_.items.emplace_back();
        text_.reset();
        html_.reset();
        baseUrl_.reset();
        at_ = Place::item;
        return true;
      case Place::attachments:
        beginAttachment();
        at_ = Place::attachment;
        return true;
      default:
        return scalar(kAnObject);
    }
  }

  bool key(string_t& name) override {
    if (skipping_) return true;
    const bool isTwice = std::find(keys_.begin(), keys_.end(), name) != keys_.end();
    if (at_ == Place::attachment && (isTwice || !isKnown(name))) {
      loseAttachment(isTwice ? translated("{0} is given twice", inQuotes(name))
                             : unknownKeys(1, inQuotes(name)));
      skipping_ = true;
      return true;
    }
    if (isTwice) throw InputError(translated("{0} is given twice", place() + inQuotes(name)));
    if (!isKnown(name)) {
      constexpr std::size_t kNamed = 10;
      if (++unknownCount_ <= kNamed)
        unknown_ += (unknown_.empty() ? "" : ", ") + place() + inQuotes(name);
      if (unknownCount_ == kNamed + 1) unknown_ = translated("{0} and others", unknown_);
      skipping_ = true;
      return true;
    }
    keys_.push_back(name);
    key_ = std::move(name);
    return true;
  }

  bool end_object() override {
    if (skipping_) return shallower();
    switch (at_) {
      case Place::root:
        if (keys_.empty() && unknown_.empty())
          throw InputError(translated("\"{0}\" is missing", "items"));
        at_ = Place::start;
        break;
      case Place::item:
        finishItem();
        break;
      default:
        finishAttachment();
        break;
    }
    return true;
  }

  bool start_array(std::size_t) override {
    if (skipping_) return deeper();
    if (at_ == Place::root) {
      at_ = Place::items;
    } else if (at_ == Place::item && key_ == "attachments") {
      itemKeys_ = std::move(keys_);
      at_ = Place::attachments;
      attachmentIndex_ = 0;
    } else {
      return scalar(kAList);
    }
    return true;
  }

  bool end_array() override {
    if (skipping_) return shallower();
    if (at_ == Place::items) {
      keys_ = {"items"};
      at_ = Place::root;
    } else {
      keys_ = std::move(itemKeys_);
      at_ = Place::item;
    }
    return true;
  }

  bool parse_error(std::size_t position, const std::string&,
                   const nlohmann::detail::exception&) override {
    if (position > json_.size()) throw InputError(translated("the JSON text ends too early"));
    const std::string_view before = json_.substr(0, position == 0 ? 0 : position - 1);
    const std::size_t lineStart = before.rfind('\n') + 1;  // npos + 1 is 0
    throw InputError(translated("no JSON at line {0}, byte {1}",
                                std::to_string(1 + std::count(before.begin(), before.end(), '\n')),
                                std::to_string(before.size() - lineStart + 1)));
  }

 private:
  // Where the next value stands.
  enum class Place { start, root, items, item, attachments, attachment };

  static constexpr std::array<std::string_view, 6> kFields{"url",       "file", "image",
                                                           "imageData", "type", "text"};
  enum Field : std::size_t { kUrl, kFile, kImage, kImageData, kType, kText };

  static std::size_t fieldIndex(std::string_view name) {
    return static_cast<std::size_t>(std::find(kFields.begin(), kFields.end(), name) -
                                    kFields.begin());
  }

  bool isKnown(std::string_view name) const {
    switch (at_) {
      case Place::root:
        return name == "items";
      case Place::item:
        return name == "title" || name == "text" || name == "html" || name == "baseUrl" ||
               name == "attachments";
      default:
        return fieldIndex(name) < kFields.size();
    }
  }

  bool wantsText() const {
    return at_ == Place::attachment || (at_ == Place::item && key_ != "attachments");
  }

  ShareRequest::Item& item() { return request_.items.back(); }

  // "items[0].attachments[1]." for the keys of that object.
  std::string place() const {
    if (at_ == Place::start || at_ == Place::root) return {};
    std::string text = "items[" + std::to_string(request_.items.size() - 1) + "].";
    if (at_ == Place::attachment) {
      text += "attachments[" + std::to_string(attachmentIndex_ - 1) + "].";
    }
    return text;
  }

  void beginAttachment() {
    if (attachmentCount_ == kMaxElements) tooMany(translatable("more than {0} attachments"));
    ++attachmentCount_;
    ++attachmentIndex_;
    fields_ = {};
    wrong_.clear();
  }

  // What is wrong with the attachment at hand; the first thing counts.
  void loseAttachment(std::string why) {
    if (wrong_.empty()) wrong_ = std::move(why);
  }

  [[noreturn]] static void tooMany(const char* text) {
    throw InputError(translated(text, std::to_string(kMaxElements)));
  }

  // A value that is not what its place asks for, unless it belongs to an unknown key.
  bool scalar(const char* got) {
    if (skipping_) {
      if (skipDepth_ == 0) skipping_ = false;
      return true;
    }
    if (at_ == Place::attachments || at_ == Place::attachment) {
      const bool isWhole = at_ == Place::attachments;
      if (isWhole) beginAttachment();
      loseAttachment(
          isWhole ? translated("it must be an object, not {0}", translated(got))
                  : translated("{0} must be a text, not {1}", inQuotes(key_), translated(got)));
      if (got == kAnObject || got == kAList) {
        skipping_ = true;
        skipDepth_ = 1;
      }
      if (isWhole) finishAttachment();
      return true;
    }
    std::string where;
    const char* wanted = kAnObject;
    switch (at_) {
      case Place::start:
        where = translated("the request");
        break;
      case Place::root:
        where = "items";
        wanted = kAList;
        break;
      case Place::items:
        where = "items[" + std::to_string(request_.items.size()) + ']';
        break;
      default:
        where = place() + key_;
        wanted = wantsText() ? kAText : kAList;
        break;
    }
    throw InputError(
        translated("{0} must be {1}, not {2}", where, translated(wanted), translated(got)));
  }

  bool deeper() {
    if (++skipDepth_ > kMaxDepth) throw InputError(translated("nested too deeply"));
    return true;
  }

  bool shallower() {
    if (--skipDepth_ == 0) skipping_ = false;
    return true;
  }

  void finishItem() {
    using Kind = ShareRequest::Content::Kind;
    if (text_) item().contents.push_back({Kind::text, std::move(*text_)});
    if (html_) {
      item().contents.push_back({Kind::html, std::move(*html_), baseUrl_.value_or("")});
    }
    at_ = Place::items;
  }

  void finishAttachment() {
    at_ = Place::attachment;
    const auto given = static_cast<std::size_t>(
        std::count_if(fields_.begin(), fields_.end(), [](const auto& field) { return !!field; }));
    const bool typed = fields_[kType] && fields_[kText];
    if (given != (typed ? 2 : 1) || (!typed && (fields_[kType] || fields_[kText]))) {
      loseAttachment(translated(
          "it must have exactly one of \"url\", \"file\", \"image\", \"imageData\", or \"type\" "
          "with \"text\""));
    }
    if (wrong_.empty()) {
      ShareRequest::Attachment made = attachment();
      if (wrong_.empty()) item().attachments.push_back(std::move(made));
    }
    if (!wrong_.empty()) {
      std::string where = place();
      where.pop_back();
      request_.unread.push_back({std::move(where), wrong_});
    }
    at_ = Place::attachments;
  }

  ShareRequest::Attachment attachment() {
    const auto notEmpty = [&](Field field) {
      std::string& value = *fields_[field];
      if (value.empty()) loseAttachment(translated("\"{0}\" is empty", kFields[field]));
      return std::move(value);
    };
    const auto path = [&](Field field) {
      std::string value = notEmpty(field);
      if (value.find('\0') != std::string::npos) {
        loseAttachment(
            translated("\"{0}\" is not a path: it holds a NUL character", kFields[field]));
      }
      return value;
    };
    if (fields_[kUrl]) return ShareRequest::Link{notEmpty(kUrl)};
    if (fields_[kFile]) return ShareRequest::File{path(kFile)};
    if (fields_[kImage]) return ShareRequest::ImageFile{path(kImage)};
    if (fields_[kImageData]) {
      std::optional<NSData> data =
          decodedBase64<NSData>(notEmpty(kImageData), Base64Leniency::whiteSpace);
      if (!data || data->empty()) loseAttachment(translated("\"{0}\" is not base64", "imageData"));
      return ShareRequest::ImageData{std::move(data).value_or(NSData())};
    }
    return ShareRequest::TypedText{notEmpty(kType), std::move(*fields_[kText])};
  }

  std::string_view json_;
  ShareRequest request_;
  Place at_ = Place::start;
  std::string key_;                    // the key whose value comes next
  std::vector<std::string> keys_;      // the keys of the object at hand
  std::vector<std::string> itemKeys_;  // those of its item, while an attachment is read
  std::optional<std::string> text_, html_, baseUrl_;               // of the item at hand
  std::array<std::optional<std::string>, kFields.size()> fields_;  // of the attachment at hand
  std::size_t attachmentCount_ = 0;
  std::size_t attachmentIndex_ = 0;  // in the list at hand, of the next attachment
  std::string wrong_;                // why the attachment at hand is lost; empty where it is not
  bool skipping_ = false;
  std::size_t skipDepth_ = 0;
  std::string unknown_;
  std::size_t unknownCount_ = 0;
};

}  // namespace

ShareRequest readShareRequest(std::string_view json) {
  if (json.size() > kMaxInput) throw InputError(translated("larger than 256 MiB"));
  const std::optional<std::string> repaired = withoutLoneSurrogates(json);
  if (repaired) json = *repaired;
  RequestBuilder builder(json);
  Json::sax_parse(json.begin(), json.end(), &builder);
  return builder.take();
}

}  // namespace korvane
