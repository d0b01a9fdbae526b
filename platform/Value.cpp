#include "platform/Value.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "platform/NSException.h"
#include "platform/NSImage.h"
#include "platform/NSString.h"
#include "platform/NSURL.h"

namespace korvane {

// The bytes follow the node in the same allocation.
struct Value::TextNode : Node {
  std::size_t size = 0;
  char* bytes() { return reinterpret_cast<char*>(this + 1); }
};

template <class T>
struct Value::Box : Node {
  explicit Box(T&& value) : content(std::move(value)) {}
  T content;
};

Value::Value(std::string_view text) : kind_(Kind::text) {
  void* memory = ::operator new(sizeof(TextNode) + text.size());
  auto* node = new (memory) TextNode;
  node->size = text.size();
  if (!text.empty()) std::memcpy(node->bytes(), text.data(), text.size());
  payload_.node = node;
}

Value::Value(NSData data) : Value(Kind::data, new Box<NSData>(std::move(data))) {}
Value::Value(List list) : Value(Kind::list, new Box<List>(std::move(list))) {}
Value::Value(Dictionary dictionary)
    : Value(Dictionary::valueOf(std::move(dictionary.keys_), dictionary.values_.data())) {}
Value::Value(NSURL url) : Value(Kind::url, new Box<NSURL>(std::move(url))) {}
Value::Value(NSImage image) : Value(Kind::image, new Box<NSImage>(std::move(image))) {}
Value::Value(std::shared_ptr<NSObject> object) {
  using Object = std::shared_ptr<NSObject>;
  if (object) *this = Value(Kind::object, new Box<Object>(std::move(object)));
}

bool NSObject::isEqual(const Value& other) const {
  return other.isObject() && isEqual(other.object().get());
}

// The values follow the node in the same allocation, as the bytes of a text do.
Value Dictionary::valueOf(Keys keys, Value* first) {
  using Box = Value::Box<Dictionary>;
  static_assert(sizeof(Box) % alignof(Value) == 0);
  const std::size_t count = keys.size();
  auto* memory = static_cast<unsigned char*>(::operator new(sizeof(Box) + count * sizeof(Value)));
  auto* box = new (memory) Box(Dictionary());
  box->content.keys_ = std::move(keys);
  box->content.values_.moveInto(reinterpret_cast<Value*>(memory + sizeof(Box)), first, count);
  return Value(Value::Kind::dictionary, box);
}

void Value::destroy() noexcept {
  Node* node = payload_.node;
  switch (kind_) {
    case Kind::text: {
      static_assert(std::is_trivially_destructible_v<TextNode>);
      ::operator delete(node);
      break;
    }
    case Kind::data:
      delete static_cast<Box<NSData>*>(node);
      break;
    case Kind::list:
      delete static_cast<Box<List>*>(node);
      break;
    case Kind::dictionary: {
      auto* box = static_cast<Box<Dictionary>*>(node);
      box->~Box();
      ::operator delete(box);
      break;
    }
    case Kind::url:
      delete static_cast<Box<NSURL>*>(node);
      break;
    case Kind::image:
      delete static_cast<Box<NSImage>*>(node);
      break;
    case Kind::object:
      delete static_cast<Box<std::shared_ptr<NSObject>>*>(node);
      break;
    case Kind::absent:
    case Kind::number:
    case Kind::boolean:
    case Kind::date:
      break;
  }
}

void Value::raise(std::string_view wanted) const {
  static constexpr const char* kNames[] = {"nothing", "a text",   "a number", "a boolean",
                                           "a date",  "data",     "a list",   "a dictionary",
                                           "a URL",   "an image", "an object"};
  std::string reason = kNames[static_cast<std::size_t>(kind_)];
  reason.append(" has no ").append(wanted);
  throw NSException(WrongKindException, std::move(reason));
}

template <class T>
const T& Value::unbox(Kind kind, std::string_view wanted) const {
  if (kind_ != kind) raise(wanted);
  return static_cast<const Box<T>*>(payload_.node)->content;
}

std::string_view Value::text() const {
  if (kind_ != Kind::text) raise("characters");
  auto* node = static_cast<TextNode*>(payload_.node);
  return {node->bytes(), node->size};
}

NSDate Value::date() const {
  if (kind_ != Kind::date) raise("point in time");
  return {payload_.real};
}

const NSData& Value::data() const { return unbox<NSData>(Kind::data, "bytes"); }
const List& Value::list() const { return unbox<List>(Kind::list, "elements"); }
const Dictionary& Value::dictionary() const { return unbox<Dictionary>(Kind::dictionary, "keys"); }
List Value::takeList() && {
  List elements;
  if (kind_ == Kind::list && isUnshared()) {
    elements.swap(static_cast<Box<List>*>(payload_.node)->content);
  } else {
    elements = list();
  }
  *this = Value();
  return elements;
}

const NSURL& Value::url() const { return unbox<NSURL>(Kind::url, "address"); }
const NSImage& Value::image() const { return unbox<NSImage>(Kind::image, "pixels"); }
const std::shared_ptr<NSObject>& Value::object() const {
  return unbox<std::shared_ptr<NSObject>>(Kind::object, "object");
}

std::size_t Value::length() const {
  if (kind_ == Kind::absent) return 0;
  if (kind_ != Kind::text) raise("length");
  return text().size();
}

Value Value::objectForKey(std::string_view key) const {
  if (kind_ == Kind::absent) return {};
  if (kind_ != Kind::dictionary) raise("key \"" + std::string(key) + '"');
  return dictionary().objectForKey(key);
}

Value Value::takeObjectForKey(std::string_view key) {
  if (kind_ != Kind::dictionary || !isUnshared()) return objectForKey(key);
  auto& own = static_cast<Box<Dictionary>*>(payload_.node)->content;
  const std::size_t at = own.keys_.position(key);
  return at == own.values_.size() ? Value() : std::exchange(own.values_[at], Value());
}

std::int64_t Value::integerValue() const {
  switch (kind_) {
    case Kind::absent:
      return 0;
    case Kind::text:
      return korvane::integerValue(text());
    case Kind::boolean:
      return payload_.integer;
    case Kind::number: {
      if (!real_) return payload_.integer;
      if (std::isnan(payload_.real)) return 0;
      if (payload_.real >= 9223372036854775808.0) return std::numeric_limits<std::int64_t>::max();
      if (payload_.real <= -9223372036854775808.0) return std::numeric_limits<std::int64_t>::min();
      return static_cast<std::int64_t>(payload_.real);
    }
    default:
      raise("integer value");
  }
}

float Value::floatValue() const {
  switch (kind_) {
    case Kind::absent:
      return 0;
    case Kind::text:
      return korvane::floatValue(text());
    case Kind::boolean:
      return static_cast<float>(payload_.integer);
    case Kind::number:
      return real_ ? static_cast<float>(payload_.real) : static_cast<float>(payload_.integer);
    default:
      raise("floating-point value");
  }
}

double Value::doubleValue() const {
  switch (kind_) {
    case Kind::absent:
      return 0;
    case Kind::text:
      return korvane::doubleValue(text());
    case Kind::boolean:
      return static_cast<double>(payload_.integer);
    case Kind::number:
      return real_ ? payload_.real : static_cast<double>(payload_.integer);
    default:
      raise("floating-point value");
  }
}

bool Value::boolValue() const {
  switch (kind_) {
    case Kind::absent:
      return false;
    case Kind::text:
      return korvane::boolValue(text());
    case Kind::boolean:
      return payload_.integer != 0;
    case Kind::number:
      return real_ ? payload_.real != 0 : payload_.integer != 0;
    default:
      raise("boolean value");
  }
}

namespace {

// Integers beyond 2^53 are not all fractions too: two that differ must not equal the same fraction.
bool isSameNumber(const Value& integer, const Value& fraction) {
  const double real = fraction.doubleValue();
  return integer.doubleValue() == real && real < 0x1p63 &&
         static_cast<std::int64_t>(real) == integer.integerValue();
}

}  // namespace

bool operator==(const Value& a, const Value& b) {
  if (a.kind_ != b.kind_) return false;
  switch (a.kind_) {
    case Value::Kind::absent:
      return true;
    case Value::Kind::text:
      return a.text() == b.text();
    case Value::Kind::boolean:
      return a.payload_.integer == b.payload_.integer;
    case Value::Kind::number:
      if (a.real_ != b.real_) return isSameNumber(a.real_ ? b : a, a.real_ ? a : b);
      return a.real_ ? a.payload_.real == b.payload_.real
                     : a.payload_.integer == b.payload_.integer;
    case Value::Kind::date:
      return a.payload_.real == b.payload_.real;
    case Value::Kind::data:
      return a.data() == b.data();
    case Value::Kind::list:
      return a.list() == b.list();
    case Value::Kind::dictionary:
      return a.dictionary() == b.dictionary();
    case Value::Kind::url:
      return a.url() == b.url();
    case Value::Kind::image:
      return a.image() == b.image();
    case Value::Kind::object:
      return a.object()->isEqual(b.object().get());
  }
  return false;
}

}  // namespace korvane
