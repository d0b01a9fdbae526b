// The binary form: a header, objects, a table of where each object begins, and a trailer. Lists and
// dictionaries name their members by number, so the same object can be a member many times. It is
// read once and its value shared; what it would cost if it were not shared is bounded too, because
// whoever makes records of the values pays for every occurrence.
#include "formats/plist/BinaryPropertyList.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "formats/plist/PropertyListLimits.h"
#include "text/UTF8.h"

namespace korvane {
namespace {

struct Malformed {};

constexpr std::string_view kHeader = "bplist0";  // and one more byte, the version
constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;
constexpr double kSecondsTo2001 = 978307200;  // dates count from 2001

// A number of any width, its most significant byte first. Of a wider one than 64 bits the lower.
std::uint64_t bigEndian(const unsigned char* bytes, std::size_t width) {
  // Without a loop for the widths that nearly all files have.
  switch (width) {
    case 1:
      return bytes[0];
    case 2:
      return static_cast<std::uint64_t>(bytes[0] << 8 | bytes[1]);
    case 3:
      return static_cast<std::uint64_t>(bytes[0] << 16 | bytes[1] << 8 | bytes[2]);
    case 4: {
      std::uint32_t number = 0;
      std::memcpy(&number, bytes, sizeof number);
      if constexpr (std::endian::native == std::endian::little) number = __builtin_bswap32(number);
      return number;
    }
    default: {
      std::uint64_t number = 0;
      for (std::size_t i = 0; i < width; ++i) number = number << 8 | bytes[i];
      return number;
    }
  }
}

// What an object costs where each of its occurrences is paid for, in units of 16 bytes, and how
// many lists and dictionaries are inside one another.
struct Cost {
  std::uint32_t units = 0;
  std::uint16_t depth = 0;
  bool isOpen = false;  // being read: to meet it again means that it contains itself
  bool isKey = false;   // a text that is one of the key texts; here, where there is room for it
};
constexpr Cost kScalarCost{.units = 1};

// What is known of an object: the value of a text, data, list or dictionary that was read.
struct Known {
  StockedValue value;
  Cost cost;  // of a list or dictionary
};

class BinaryReader {
 public:
  explicit BinaryReader(std::string_view bytes)
      : begin_(reinterpret_cast<const unsigned char*>(bytes.data())), size_(bytes.size()) {
    readTrailer();
    known_ = std::vector<Known>(objects_);
    bytesLeft_ = 4 * size_ + 65536;
    greatestCost_ = std::min<std::uint64_t>(10 * size_ + (std::uint64_t{4} << 20),
                                            std::numeric_limits<std::uint32_t>::max());
  }

  Value read() {
    readObject(root_);
    while (!open_.empty()) readMembers();
    return std::move(result_);
  }

 private:
  // The keys of a dictionary as its references name them. Some have no place of their own and their
  // values are left out: keys that are not texts, and those that come again, of which the first
  // value counts.
  struct KeyList {
    Dictionary::Keys keys;
    std::vector<bool> isLeftOut;  // empty where none is
  };

  struct Container {
    std::uint64_t object;
    const KeyList* keys;           // of a dictionary; none for a list
    const unsigned char* members;  // what they refer to: elements, or values
    std::uint64_t count;
    List elements;         // of a list
    std::size_t base = 0;  // of a dictionary's values on the stack
    std::uint64_t next = 0;
    std::uint64_t units;
    std::uint16_t depth = 1;
  };

  // An object's bytes after its marker and count.
  struct Content {
    const unsigned char* bytes;
    std::uint64_t count;
  };

  [[noreturn]] static void refuse() { throw Malformed(); }

  void readTrailer() {
    if (size_ < kHeaderSize + 1 + kTrailerSize) refuse();
    const unsigned char* const trailer = begin_ + size_ - kTrailerSize;
    offsetWidth_ = trailer[6];
    referenceWidth_ = trailer[7];
    objects_ = bigEndian(trailer + 8, 8);
    root_ = bigEndian(trailer + 16, 8);
    const std::uint64_t table = bigEndian(trailer + 24, 8);
    if (offsetWidth_ == 0 || referenceWidth_ == 0 || objects_ == 0 || root_ >= objects_) refuse();
    if (table < kHeaderSize + 1 || table >= size_ - kTrailerSize) refuse();
    // The table fills what is between the objects and the trailer.
    const std::uint64_t tableSize = size_ - kTrailerSize - table;
    if (tableSize / offsetWidth_ != objects_ || tableSize % offsetWidth_ != 0) refuse();
    // The widths must be able to hold what they are for.
    if (referenceWidth_ < 8 && objects_ >= std::uint64_t{1} << (8 * referenceWidth_)) refuse();
    if (offsetWidth_ < 8 && table >= std::uint64_t{1} << (8 * offsetWidth_)) refuse();
    table_ = begin_ + table;
    for (std::uint64_t i = 0; i < objects_; ++i) {
      if (offset(i) >= table) refuse();
    }
  }

  std::uint64_t offset(std::uint64_t object) const {
    return bigEndian(table_ + object * offsetWidth_, offsetWidth_);
  }
  std::uint64_t reference(const unsigned char* members, std::uint64_t position) const {
    const std::uint64_t object = bigEndian(members + position * referenceWidth_, referenceWidth_);
    if (object >= objects_) refuse();
    return object;
  }
  const unsigned char* begin(std::uint64_t object) const {
    const std::uint64_t at = offset(object);
    if (at < kHeaderSize) refuse();
    return begin_ + at;
  }

  // As many bytes of the objects' part from `at` on.
  void need(const unsigned char* at, std::uint64_t bytes) const {
    if (bytes > static_cast<std::uint64_t>(table_ - at)) refuse();
  }

  // Objects of a proper file do not overlap. Those that do could make a small file large.
  void pay(std::uint64_t bytes) {
    if (bytes > bytesLeft_) refuse();
    bytesLeft_ -= bytes;
  }

  // The count is in the marker or in an integer after it.
  Content content(const unsigned char* at, std::uint64_t bytesEach) {
    std::uint64_t count = *at & 0x0F;
    const unsigned char* bytes = at + 1;
    if (count == 0x0F) {
      need(bytes, 1);
      if ((*bytes & 0xF0) != 0x10) refuse();
      const std::size_t width = std::size_t{1} << (*bytes & 0x0F);
      need(bytes + 1, width);
      count = bigEndian(bytes + 1, width);
      bytes += 1 + width;
    }
    if (count > size_) refuse();
    need(bytes, count * bytesEach);
    pay(count * bytesEach + 1);
    return {bytes, count};
  }

  // Reads an object into the innermost open container, or opens it.
  void readObject(std::uint64_t object) {
    StockedValue& known = known_[object].value;
    if (known.value().isText() || known.value().isData()) return add(known.copy(), kScalarCost);
    const unsigned char* const at = begin(object);
    if ((*at & 0xF0) > 0x60) return readContainer(object, at);
    Value value = scalar(at);
    if (value.isText() || value.isData()) {
      known.set(std::move(value));
      value = known.copy();
    }
    add(std::move(value), kScalarCost);
  }

  void readContainer(std::uint64_t object, const unsigned char* at) {
    StockedValue& known = known_[object].value;
    Cost& cost = known_[object].cost;
    if (cost.isOpen) refuse();
    if (!known.value().isAbsent()) {
      if (open_.size() + cost.depth > kMaxPropertyListDepth) refuse();
      return add(known.copy(), cost);
    }
    if (open_.size() == kMaxPropertyListDepth) refuse();
    Container container{.object = object,
                        .keys = nullptr,
                        .members = nullptr,
                        .count = 0,
                        .elements = {},
                        .units = 4};
    switch (*at & 0xF0) {
      case 0x80:
        cost = {.units = 16, .depth = 1};
        known.set(uid(at));
        return add(known.copy(), cost);
      case 0xA0:
      case 0xC0: {  // a set, whose members are in some order too
        const Content members = content(at, referenceWidth_);
        container.members = members.bytes;
        container.count = members.count;
        break;
      }
      case 0xD0: {
        const Content members = content(at, 2 * referenceWidth_);
        container.members = members.bytes + members.count * referenceWidth_;
        container.count = members.count;
        container.keys = &keyList(members.bytes, members.count);
        container.units = 10;
        break;
      }
      default:
        refuse();
    }
    cost.isOpen = true;
    container.base = stack_.size();
    if (!container.keys) container.elements.reserve(container.count);
    open_.push_back(std::move(container));
  }

  // The members of the innermost open container, up to one that has to be opened itself.
  void readMembers() {
    const std::size_t depth = open_.size();
    Container& container = open_.back();
    const bool isPlain = !container.keys || container.keys->isLeftOut.empty();
    while (container.next < container.count) {
      const std::uint64_t object = reference(container.members, container.next++);
      // The quick way for most members: a text that was met before.
      StockedValue& known = known_[object].value;
      if (isPlain && known.value().isText()) {
        valuesOf(container).push_back(known.copy());
        container.units += kScalarCost.units;
        continue;
      }
      readObject(object);
      if (open_.size() != depth) return;
    }
    endContainer();
  }

  // Dictionaries that are alike refer to the same objects as their keys, in the same order: their
  // references are the same bytes.
  const KeyList& keyList(const unsigned char* references, std::uint64_t count) {
    const std::string_view bytes(reinterpret_cast<const char*>(references),
                                 count * referenceWidth_);
    if (latestKeys_ != keyLists_.end() && latestKeys_->first == bytes) return latestKeys_->second;
    const auto [found, isNew] = keyLists_.try_emplace(bytes);
    latestKeys_ = found;
    if (isNew) found->second = readKeys(references, count);
    return found->second;
  }

  KeyList readKeys(const unsigned char* references, std::uint64_t count) {
    List keys;
    keys.reserve(count);
    std::set<const char*> seen;  // no characters: very many lists can name the same long keys
    std::vector<bool> isLeftOut(count);
    for (std::uint64_t i = 0; i < count; ++i) {
      const Value* key = readKey(reference(references, i));
      isLeftOut[i] = !key || !seen.insert(key->text().data()).second;
      if (!isLeftOut[i]) keys.push_back(*key);
    }
    if (keys.size() == count) isLeftOut.clear();
    return {Dictionary::Keys(std::move(keys)), std::move(isLeftOut)};
  }

  // Keys of the same characters are one and the same text, told from others by where it lies. None
  // where the object is not a text; what a list or dictionary holds is not looked at then.
  const Value* readKey(std::uint64_t object) {
    Known& known = known_[object];
    if (!known.cost.isKey) {
      Value key = known.value.value();
      if (key.isAbsent()) {
        const unsigned char* const at = begin(object);
        if ((*at & 0xF0) > 0x60) return nullptr;
        key = scalar(at);
        if (key.isData()) known.value.set(key);
      }
      if (!key.isText()) return nullptr;
      known.value.set(keyTexts_.try_emplace(key.text(), key).first->second);
      known.cost.isKey = true;
    }
    return &known.value.value();
  }

  List& valuesOf(Container& container) { return container.keys ? stack_ : container.elements; }

  void endContainer() {
    Container& last = open_.back();
    if (last.units > greatestCost_) refuse();
    Value value = last.keys ? Dictionary::valueOf(last.keys->keys, stack_.data() + last.base)
                            : Value(std::move(last.elements));
    if (last.keys) stack_.resize(last.base);
    const Cost cost{.units = static_cast<std::uint32_t>(last.units), .depth = last.depth};
    Known& known = known_[last.object];
    known.cost = cost;
    known.value.set(std::move(value));
    open_.pop_back();
    add(known.value.copy(), cost);
  }

  void add(Value value, const Cost& cost) {
    if (open_.empty()) {
      result_ = std::move(value);
      return;
    }
    Container& container = open_.back();
    container.units += cost.units;
    if (container.units > greatestCost_) refuse();
    if (cost.depth >= container.depth) {
      container.depth = static_cast<std::uint16_t>(cost.depth + 1);
    }
    const bool isLeftOut = container.keys && !container.keys->isLeftOut.empty() &&
                           container.keys->isLeftOut[container.next - 1];
    if (!isLeftOut) valuesOf(container).push_back(std::move(value));
  }

  // An object that has no members.
  Value scalar(const unsigned char* at) {
    switch (*at & 0xF0) {
      case 0x00:
        if (*at == 0x00) return {};
        if (*at != 0x08 && *at != 0x09) refuse();
        return *at == 0x09;
      case 0x10:
        return integer(at);
      case 0x20:
        return real(at);
      case 0x30:
        if (*at != 0x33) refuse();
        return NSDate{fraction(at + 1) + kSecondsTo2001};
      default:
        return bytesObject(at);
    }
  }

  // One, two and four bytes are unsigned, eight and sixteen signed.
  Value integer(const unsigned char* at) const {
    const std::size_t width = std::size_t{1} << (*at & 0x0F);
    if (width > 16) refuse();
    need(at + 1, width);
    const std::uint64_t low = bigEndian(at + 1, width);
    const auto number = static_cast<std::int64_t>(low);
    if (width < 16) return number;
    const auto high = static_cast<std::int64_t>(bigEndian(at + 1, 8));
    if (high == (number < 0 ? -1 : 0)) return number;
    return static_cast<double>(high) * 0x1p64 + static_cast<double>(low);
  }

  double fraction(const unsigned char* at) const {
    need(at, 8);
    return std::bit_cast<double>(bigEndian(at, 8));
  }

  Value real(const unsigned char* at) const {
    if (*at == 0x23) return fraction(at + 1);
    if (*at != 0x22) refuse();
    need(at + 1, 4);
    return double{std::bit_cast<float>(static_cast<std::uint32_t>(bigEndian(at + 1, 4)))};
  }

  // Data or a text.
  Value bytesObject(const unsigned char* at) {
    const bool isWide = (*at & 0xF0) == 0x60;
    const Content content = this->content(at, isWide ? 2 : 1);
    if (isWide) return utf8OfUTF16(content.bytes, content.count);
    if ((*at & 0xF0) == 0x40) return NSData(content.bytes, content.bytes + content.count);
    const std::string_view text(reinterpret_cast<const char*>(content.bytes), content.count);
    unsigned char seen = 0;
    for (const char c : text) seen |= static_cast<unsigned char>(c);
    if (seen < 0x80) return text;
    std::string wider;  // from Latin-1, whose bytes are the first characters of Unicode
    wider.reserve(2 * text.size());
    for (const char c : text) appendUTF8(static_cast<unsigned char>(c), wider);
    return wider;
  }

  Value uid(const unsigned char* at) const {
    const std::size_t width = (*at & 0x0F) + 1;
    need(at + 1, width);
    const std::uint64_t number = bigEndian(at + 1, width);
    if (number > std::numeric_limits<std::uint32_t>::max()) refuse();
    return Dictionary{{"CF$UID", static_cast<std::int64_t>(number)}};
  }

  const unsigned char* begin_;
  std::uint64_t size_;
  const unsigned char* table_ = nullptr;  // of offsets; also the end of the objects
  std::size_t offsetWidth_ = 0;
  std::size_t referenceWidth_ = 0;
  std::uint64_t objects_ = 0;
  std::uint64_t root_ = 0;
  std::uint64_t bytesLeft_ = 0;
  std::uint64_t greatestCost_ = 0;

  std::vector<Known> known_;  // by object
  std::vector<Container> open_;
  List stack_;                                    // the values in open dictionaries
  std::map<std::string_view, Value> keyTexts_;    // by their characters
  std::map<std::string_view, KeyList> keyLists_;  // by the bytes of their references
  std::map<std::string_view, KeyList>::iterator latestKeys_ = keyLists_.end();
  Value result_;
};

}  // namespace

bool isBinaryPropertyList(std::string_view bytes) { return bytes.starts_with(kHeader); }

std::optional<Value> readBinaryPropertyList(std::string_view bytes) {
  try {
    return BinaryReader(bytes).read();
  } catch (const Malformed&) {
    return std::nullopt;
  }
}

}  // namespace korvane
