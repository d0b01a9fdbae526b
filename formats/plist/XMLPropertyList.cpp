// The XML form of property lists is a small fixed language in XML's dress, and programs that write
// it are not all careful: what stands in the declaration, the document type and the attributes is
// of no consequence, white space may precede the declaration, anything may follow the root, and
// control characters may stand in texts. In return no entity can be declared, and numbers have
// exact forms. An XML parser is both stricter and laxer than that, and slower than the scanner
// here.
#include "formats/plist/XMLPropertyList.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "formats/plist/DictionaryShapes.h"
#include "formats/plist/PropertyListLimits.h"
#include "formats/plist/XMLEncoding.h"
#include "formats/plist/XMLScalars.h"
#include "platform/NSString.h"

namespace korvane {
namespace {

struct Malformed {};

enum class Tag { plist, array, dict, key, string, data, date, integer, real, isTrue, isFalse };

constexpr std::pair<std::string_view, Tag> kTags[] = {
    {"string", Tag::string},   {"key", Tag::key},     {"dict", Tag::dict},
    {"integer", Tag::integer}, {"array", Tag::array}, {"data", Tag::data},
    {"date", Tag::date},       {"real", Tag::real},   {"true", Tag::isTrue},
    {"false", Tag::isFalse},   {"plist", Tag::plist}};

constexpr bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Texts that come again and again (companies, first names, the empty text) are made once.
class TextCache {
 public:
  TextCache() : recent_(kSlots) {}

  Value text(std::string_view text) {
    if (text.size() > kMaxSize) return Value(text);
    std::uint32_t hash = static_cast<std::uint32_t>(text.size());
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
    Value& slot = recent_[(hash ^ (hash >> 15)) % kSlots];
    if (slot.isAbsent() || slot.text() != text) slot = Value(text);
    return slot;
  }

 private:
  static constexpr std::size_t kSlots = 2048;
  static constexpr std::size_t kMaxSize = 24;
  List recent_;
};

class XMLReader {
 public:
  explicit XMLReader(std::string_view text) : at_(text.data()), end_(at_ + text.size()) {}

  Value read() {
    skipProlog();
    readElement();
    while (!open_.empty()) readContent();
    return std::move(root_);
  }

 private:
  // A list, a dictionary or a plist element that has not ended yet.
  struct Container {
    Tag tag;
    std::size_t base = 0;   // of an array's elements on the stack
    bool hasKey = false;    // of a dictionary: the next element is its value
    bool hasValue = false;  // of a plist
    DictionaryInProgress dictionary;
  };

  [[noreturn]] static void refuse() { throw Malformed(); }

  char peek() const {
    if (at_ == end_) refuse();
    return *at_;
  }
  void expect(char c) {
    if (peek() != c) refuse();
    ++at_;
  }
  void skipSpace() {
    while (at_ < end_ && isSpace(*at_)) ++at_;
  }
  bool startsWith(std::string_view text) const {
    return static_cast<std::size_t>(end_ - at_) >= text.size() &&
           std::memcmp(at_, text.data(), text.size()) == 0;
  }
  void skipPast(std::string_view mark) {
    const auto found = std::string_view(at_, static_cast<std::size_t>(end_ - at_)).find(mark);
    if (found == std::string_view::npos) refuse();
    at_ += found + mark.size();
  }

  // What stands before the root: declaration, comments, document type.
  void skipProlog() {
    for (;;) {
      skipSpace();
      expect('<');
      if (startsWith("!--")) {
        at_ += 3;
        skipPast("-->");
      } else if (peek() == '!') {
        ++at_;
        skipDocumentType();
      } else if (peek() == '?') {
        skipPast("?>");
      } else {
        return;
      }
    }
  }

  // Nothing that a document type declares is used, so it need not be right either.
  void skipDocumentType() {
    if (!startsWith("DOCTYPE")) refuse();
    while (peek() != '[' && peek() != '>') ++at_;
    if (*at_++ == '>') return;
    for (;;) {
      skipSpace();
      if (startsWith("<!--")) {
        at_ += 4;
        skipPast("-->");
      } else if (startsWith("<!")) {
        skipPast(">");
      } else if (startsWith("<?")) {
        skipPast("?>");
      } else if (startsWith("%")) {
        skipPast(";");
      } else {
        expect(']');
        break;
      }
    }
    skipSpace();
    expect('>');
  }

  // One piece of what is inside the innermost open container.
  void readContent() {
    skipSpace();
    expect('<');
    if (startsWith("!--")) {
      at_ += 3;
      skipPast("-->");
    } else if (peek() == '?') {
      skipPast("?>");
    } else if (*at_ == '/') {
      --at_;
      endContainer();
    } else {
      readElement();
    }
  }

  // An element, from after its "<" to the end of it or, for a container, of its start tag.
  void readElement() {
    const char* const name = at_;
    while (peek() != '>' && !isSpace(*at_)) ++at_;
    const char* nameEnd = at_;
    while (peek() != '>') ++at_;
    const bool isEmpty = at_ > name && at_[-1] == '/';
    if (isEmpty && nameEnd == at_) --nameEnd;
    ++at_;
    startElement(tagOf({name, static_cast<std::size_t>(nameEnd - name)}), isEmpty);
  }

  static Tag tagOf(std::string_view name) {
    for (const auto& [text, tag] : kTags) {
      if (text == name) return tag;
    }
    refuse();
  }
  static std::string_view nameOf(Tag tag) {
    for (const auto& [text, known] : kTags) {
      if (known == tag) return text;
    }
    return {};
  }

  void startElement(Tag tag, bool isEmpty) {
    switch (tag) {
      case Tag::plist:
      case Tag::array:
      case Tag::dict:
        return startContainer(tag, isEmpty);
      case Tag::key:
      case Tag::string: {
        const std::string_view text = isEmpty ? std::string_view() : readText();
        if (!isEmpty) expectEnd(tag);
        return tag == Tag::key && wantsKey() ? addKey(text) : add(texts_.text(text));
      }
      case Tag::isTrue:
      case Tag::isFalse:
        if (!isEmpty) expectEnd(tag);
        return add(tag == Tag::isTrue);
      default:
        break;
    }
    // The others have a content that cannot be empty.
    if (isEmpty) refuse();
    std::optional<Value> value;
    switch (tag) {
      case Tag::integer:
        value = integerOfXML(readPlain());
        break;
      case Tag::real:
        value = realOfXML(readText());
        break;
      case Tag::date:
        value = dateOfXML(readPlain());
        break;
      default:
        value = dataOfXML(readPlain());
        break;
    }
    if (!value) refuse();
    expectEnd(tag);
    add(*std::move(value));
  }

  void startContainer(Tag tag, bool isEmpty) {
    if (tag == Tag::plist && isEmpty) refuse();
    if (wantsKey()) refuse();
    if (depth() == kMaxPropertyListDepth) refuse();
    if (isEmpty) return add(tag == Tag::array ? Value(List()) : Value(Dictionary()));
    open_.push_back(
        {.tag = tag, .base = stack_.size(), .dictionary = DictionaryInProgress(shapes_, stack_)});
  }

  void endContainer() {
    Container& last = open_.back();
    expectEnd(last.tag);
    Value value;
    switch (last.tag) {
      case Tag::array:
        value = takeFrom(stack_, last.base);
        break;
      case Tag::dict:
        if (last.hasKey) refuse();  // a key without a value
        value = last.dictionary.finish(stack_);
        break;
      default:
        if (!last.hasValue) refuse();
        value = std::move(stack_.back());
        stack_.pop_back();
        break;
    }
    open_.pop_back();
    add(std::move(value));
  }

  // How many containers are open; the plist element around an ordinary file does not count.
  std::size_t depth() const {
    return open_.size() - (!open_.empty() && open_.front().tag == Tag::plist ? 1 : 0);
  }

  bool wantsKey() const {
    return !open_.empty() && open_.back().tag == Tag::dict && !open_.back().hasKey;
  }

  void addKey(std::string_view key) {
    Container& dictionary = open_.back();
    dictionary.dictionary.setKey(shapes_, stack_, key);
    dictionary.hasKey = true;
  }

  void add(Value value) {
    if (open_.empty()) {
      root_ = std::move(value);
      return;
    }
    if (wantsKey()) refuse();
    Container& last = open_.back();
    if (last.tag == Tag::dict) {
      last.dictionary.setValue(stack_, std::move(value));
      last.hasKey = false;
      return;
    }
    if (last.tag == Tag::plist && std::exchange(last.hasValue, true)) refuse();
    stack_.push_back(std::move(value));
  }

  // "</", the name, white space, ">".
  void expectEnd(Tag tag) {
    expect('<');
    expect('/');
    const std::string_view name = nameOf(tag);
    if (!startsWith(name)) refuse();
    at_ += name.size();
    skipSpace();
    expect('>');
  }

  // What stands up to the next "<", as it is.
  std::string_view readPlain() {
    const char* const begin = at_;
    while (peek() != '<') ++at_;
    return {begin, static_cast<std::size_t>(at_ - begin)};
  }

  // The text up to the end tag, references and CDATA sections resolved. Valid until the next call.
  std::string_view readText() {
    const char* begin = at_;
    bool isPlain = true;
    unsigned char seen = 0;
    for (;;) {
      while (at_ < end_ && *at_ != '<' && *at_ != '&') seen |= static_cast<unsigned char>(*at_++);
      const bool isEnd = peek() == '<' && !(at_ + 1 < end_ && at_[1] == '!');
      if (isEnd && isPlain) break;
      if (isPlain) text_.clear();
      isPlain = false;
      text_.append(begin, at_);
      if (isEnd) break;
      if (*at_ == '&') {
        if (!appendReference(at_, end_, text_)) refuse();
      } else {
        readCDATA();
      }
      begin = at_;
    }
    const std::string_view text =
        isPlain ? std::string_view(begin, static_cast<std::size_t>(at_ - begin)) : text_;
    if ((seen >= 0x80 || !isPlain) && !isUTF8(text)) refuse();
    return text;
  }

  void readCDATA() {
    constexpr std::string_view kStart = "<![CDATA[";
    constexpr std::string_view kEnd = "]]>";
    if (!startsWith(kStart)) refuse();
    at_ += kStart.size();
    const char* const begin = at_;
    skipPast(kEnd);
    text_.append(begin, at_ - kEnd.size());
  }

  const char* at_;
  const char* end_;
  Value root_;
  std::vector<Container> open_;
  List stack_;  // the values in the open containers
  DictionaryShapes shapes_;
  TextCache texts_;
  std::string text_;
};

}  // namespace

std::optional<Value> readXMLPropertyList(std::string_view bytes) {
  const auto text = utf8OfXML(bytes);
  if (!text) return std::nullopt;
  try {
    return XMLReader(text->view()).read();
  } catch (const Malformed&) {
    return std::nullopt;
  }
}

}  // namespace korvane
