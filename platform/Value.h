#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Export.h"
#include "platform/NSData.h"
#include "platform/NSDate.h"
#include "platform/NSObject.h"

namespace korvane {

class Dictionary;
class NSImage;
class NSURL;
class Value;

using List = std::vector<Value>;

namespace detail {
/// A type of numbers: characters, of which nobody knows whether they mean a text, and booleans are
/// not.
template <class T>
concept Integer = std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> &&
                  !std::same_as<T, wchar_t> && !std::same_as<T, char8_t> &&
                  !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;
}  // namespace detail

/// One property-list value or nothing: absent, text, number, boolean, date, data, list,
/// dictionary, URL or image; or an object, a record. Sixteen bytes, cheap to copy (what is large is
/// shared, and immutable but for objects); copies may be used from several threads at once, one
/// Value by one thread at a time.
///
/// Asking a value for what it is not (a key of a text, the integer of a list) raises NSException
/// (WrongKindException). An absent value converts to 0 and false, and looking up a key in it gives
/// an absent value.
///
/// Lists and dictionaries may hold one another some ten thousand levels deep: comparing, describing
/// and destroying them takes stack for each level.
class KORVANE_EXPORT Value {
 public:
  enum class Kind : std::uint8_t {
    absent,
    text,
    number,
    boolean,
    date,
    data,
    list,
    dictionary,
    url,
    image,
    object
  };

  Value() noexcept = default;
  Value(std::string_view text);  // UTF-8; taken as it stands, also when it is not
  Value(const std::string& text) : Value(std::string_view(text)) {}
  /// Up to the NUL; a null pointer gives an absent value.
  Value(const char* text) {
    if (text) *this = Value(std::string_view(text));
  }
  Value(bool boolean) noexcept : kind_(Kind::boolean) { payload_.integer = boolean ? 1 : 0; }
  /// Any integer. One beyond 64 bits with a sign becomes a fraction, the nearest there is.
  template <detail::Integer Number>
  Value(Number number) noexcept : kind_(Kind::number) {
    if (std::in_range<std::int64_t>(number)) {
      payload_.integer = static_cast<std::int64_t>(number);
    } else {
      real_ = true;
      payload_.real = static_cast<double>(number);
    }
  }
  Value(double number) noexcept : kind_(Kind::number), real_(true) { payload_.real = number; }
  Value(NSDate date) noexcept : kind_(Kind::date) { payload_.real = date.timeIntervalSince1970; }
  Value(NSData data);
  Value(List list);
  Value(Dictionary dictionary);
  Value(NSURL url);
  Value(NSImage image);
  /// An object that others may hold too; a null pointer gives an absent value.
  Value(std::shared_ptr<NSObject> object);
  template <std::derived_from<NSObject> Object>
  Value(std::shared_ptr<Object> object) : Value(std::shared_ptr<NSObject>(std::move(object))) {}
  /// What is inside; absent without.
  template <class T>
  requires std::constructible_from<Value, T> Value(std::optional<T> value) {
    if (value) *this = Value(*std::move(value));
  }
  Value(std::nullopt_t) noexcept {}
  Value(const void*) = delete;  // no pointer ever becomes a boolean

  Value(const Value& other) noexcept
      : payload_(other.payload_), kind_(other.kind_), real_(other.real_) {
    if (isShared()) payload_.node->references.fetch_add(1, std::memory_order_relaxed);
  }
  Value(Value&& other) noexcept : payload_(other.payload_), kind_(other.kind_), real_(other.real_) {
    other.kind_ = Kind::absent;
  }
  Value& operator=(Value other) noexcept {
    swap(other);
    return *this;
  }
  ~Value() {
    if (isShared() && payload_.node->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      destroy();
    }
  }
  void swap(Value& other) noexcept {
    std::swap(kind_, other.kind_);
    std::swap(real_, other.real_);
    std::swap(payload_, other.payload_);
  }

  Kind kind() const noexcept { return kind_; }
  bool isAbsent() const noexcept { return kind_ == Kind::absent; }
  bool isText() const noexcept { return kind_ == Kind::text; }
  bool isNumber() const noexcept { return kind_ == Kind::number; }
  /// Whether a number was made from a fraction type (a double) rather than from an integer.
  bool isReal() const noexcept { return kind_ == Kind::number && real_; }
  bool isBoolean() const noexcept { return kind_ == Kind::boolean; }
  bool isDate() const noexcept { return kind_ == Kind::date; }
  bool isData() const noexcept { return kind_ == Kind::data; }
  bool isList() const noexcept { return kind_ == Kind::list; }
  bool isDictionary() const noexcept { return kind_ == Kind::dictionary; }
  bool isURL() const noexcept { return kind_ == Kind::url; }
  bool isImage() const noexcept { return kind_ == Kind::image; }
  bool isObject() const noexcept { return kind_ == Kind::object; }

  // What the value is; each raises NSException when it is something else. The references live as
  // long as any copy of the value.
  std::string_view text() const;
  NSDate date() const;
  const NSData& data() const;
  const List& list() const;
  const Dictionary& dictionary() const;
  /// The elements of a list, moved out of it where no copy of this value shares them. Leaves this
  /// value absent.
  List takeList() &&;
  const NSURL& url() const;
  const NSImage& image() const;
  const std::shared_ptr<NSObject>& object() const;
  /// The object as one of a class; raises also where it is of another.
  template <std::derived_from<NSObject> Class>
  std::shared_ptr<Class> objectOf() const {
    auto found = std::dynamic_pointer_cast<Class>(object());
    if (!found) raise("such class");
    return found;
  }

  /// Number of bytes of a text. Raises for anything else that is present; an absent value has 0.
  std::size_t length() const;

  /// The value under a key of a dictionary, absent when the key is missing or this value is absent.
  /// Raises for any other kind.
  Value objectForKey(std::string_view key) const;
  /// The same; moves the value out of the dictionary, which then has an absent one there, where no
  /// copy of this value shares it.
  Value takeObjectForKey(std::string_view key);

  // Conversions of texts, numbers and booleans; the others raise. A text converts as the functions
  // of NSString.h tell. A fraction truncates to an integer, and is true unless it is 0; out of
  // range gives the nearest limit, what is not a number at all (NaN) the integer 0.
  std::int64_t integerValue() const;
  float floatValue() const;
  double doubleValue() const;
  bool boolValue() const;

  /// The text that "%@" shows: a text as it stands, "(null)" for nothing, a readable form of the
  /// rest.
  std::string description() const;

  /// Same kind and same content. Numbers compare by value, whether made from integers or fractions,
  /// objects as their class has it.
  friend KORVANE_EXPORT bool operator==(const Value& a, const Value& b);

 private:
  friend class Dictionary;
  friend class StockedValue;

  struct Node {
    std::atomic<std::uint32_t> references{1};
  };
  struct TextNode;
  template <class T>
  struct Box;
  union Payload {
    std::int64_t integer;
    double real;
    Node* node;
  };

  Value(Kind kind, Node* node) noexcept : kind_(kind) { payload_.node = node; }
  bool isShared() const noexcept {
    return kind_ != Kind::absent && kind_ != Kind::number && kind_ != Kind::boolean &&
           kind_ != Kind::date;
  }
  void destroy() noexcept;
  /// Whether no copy shares what this value has; only for kinds that can be shared.
  bool isUnshared() const noexcept {
    return payload_.node->references.load(std::memory_order_acquire) == 1;
  }
  template <class T>
  const T& unbox(Kind kind, std::string_view wanted) const;
  [[noreturn]] void raise(std::string_view wanted) const;

  // The payload first: what is left behind the kind has room for the lock of a Property.
  Payload payload_{};
  Kind kind_ = Kind::absent;
  bool real_ = false;
};

/// A value that one thread copies many times. References are taken in advance, so that most copies
/// need no atomic operation; they are values like any other.
class KORVANE_EXPORT StockedValue {
 public:
  StockedValue() noexcept = default;
  StockedValue(const StockedValue&) = delete;
  StockedValue& operator=(const StockedValue&) = delete;
  ~StockedValue() { clear(); }

  const Value& value() const noexcept { return value_; }
  void set(Value value) noexcept {
    clear();
    value_ = std::move(value);
    if (!value_.isShared() || !value_.isUnshared()) return;
    stock_ = kStock;
    value_.payload_.node->references.store(1 + kStock, std::memory_order_relaxed);
  }
  Value copy() noexcept {
    if (!value_.isShared()) return value_;
    if (stock_ == 0) {
      stock_ = kStock;
      value_.payload_.node->references.fetch_add(kStock, std::memory_order_relaxed);
    }
    --stock_;
    return Value(value_.kind_, value_.payload_.node);
  }

 private:
  static constexpr std::uint32_t kStock = 64;

  // Gives back the stock together with the value's own reference.
  void clear() noexcept {
    if (stock_ > 0) {
      const std::uint32_t all = std::exchange(stock_, 0) + 1;
      if (value_.payload_.node->references.fetch_sub(all, std::memory_order_acq_rel) == all) {
        value_.destroy();
      }
      value_.kind_ = Value::Kind::absent;
    }
    value_ = Value();
  }

  Value value_;
  std::uint32_t stock_ = 0;
};

/// Text keys and their values, in the order in which the keys were first set. Copying copies the
/// values; the keys are shared until one of the copies changes them. Looking up a key takes time in
/// proportion to the number of keys where they came as one list, to its logarithm where they were
/// set one by one. Copies may be used from several threads at once, one dictionary by one thread at
/// a time.
class KORVANE_EXPORT Dictionary {
 public:
  /// A key and its value, valid until the dictionary changes.
  struct Entry {
    std::string_view key;
    const Value& value;
  };

  /// The keys of dictionaries that are alike, as the records of one file are: they hold one and the
  /// same list. Immutable while it is shared.
  class KORVANE_EXPORT Keys {
   public:
    Keys() noexcept = default;
    /// The keys must be texts (NSException otherwise), each there once.
    explicit Keys(List keys);
    Keys(const Keys& other) noexcept;
    Keys(Keys&& other) noexcept : node_(std::exchange(other.node_, nullptr)) {}
    Keys& operator=(Keys other) noexcept {
      std::swap(node_, other.node_);
      return *this;
    }
    ~Keys();

    std::size_t size() const noexcept;
    std::string_view at(std::size_t position) const;
    /// Where the key stands; size() when it is missing.
    std::size_t position(std::string_view key) const;

   private:
    friend class Dictionary;
    struct Node;
    /// This list's own node, which may be changed: copied first where it is shared.
    Node& own();
    Node* node_ = nullptr;
  };

  Dictionary() = default;
  Dictionary(std::initializer_list<std::pair<std::string_view, Value>> entries);
  /// As many values as keys, in the same order (NSException otherwise).
  Dictionary(Keys keys, List values);
  /// The same as a value, made at once: the values are moved from `first` and the places after it.
  static Value valueOf(Keys keys, Value* first);

  /// The value under a key, or nullptr. The pointer is valid until the dictionary changes.
  const Value* find(std::string_view key) const;
  /// The value under a key, absent when it is missing.
  Value objectForKey(std::string_view key) const;

  /// Sets the value of a key: in place where the key exists, at the end where it is new.
  void set(std::string_view key, Value value);
  /// The same; a key that is new is shared, not copied. It must be a text (NSException otherwise).
  void setSharingKey(Value key, Value value);
  /// Removes a key; a missing one changes nothing. Linear in the number of keys.
  void remove(std::string_view key);

  std::size_t size() const noexcept { return values_.size(); }
  bool empty() const noexcept { return values_.size() == 0; }

  class Iterator {
   public:
    Entry operator*() const {
      return {dictionary_->keys_.at(position_), dictionary_->values_[position_]};
    }
    Iterator& operator++() {
      ++position_;
      return *this;
    }
    friend bool operator==(const Iterator&, const Iterator&) = default;

   private:
    friend class Dictionary;
    Iterator(const Dictionary* dictionary, std::size_t position)
        : dictionary_(dictionary), position_(position) {}
    const Dictionary* dictionary_;
    std::size_t position_;
  };
  Iterator begin() const { return {this, 0}; }
  Iterator end() const { return {this, values_.size()}; }

  /// Same keys with same values, whatever their order.
  friend KORVANE_EXPORT bool operator==(const Dictionary& a, const Dictionary& b);

 private:
  friend class Value;

  // A vector, but for one thing: once the dictionary is part of a Value and will not change, the
  // values stand behind it in the same block of memory. A file has very many dictionaries.
  class Values {
   public:
    Values() noexcept = default;
    Values(const Values& other);
    Values(Values&& other) noexcept { swap(other); }
    Values& operator=(Values other) noexcept {
      swap(other);
      return *this;
    }
    ~Values();

    std::size_t size() const noexcept { return size_; }
    Value* data() noexcept { return data_; }
    Value& operator[](std::size_t position) { return data_[position]; }
    const Value& operator[](std::size_t position) const { return data_[position]; }
    void append(Value value);
    void remove(std::size_t position);
    /// Moves as many values to this memory, which is not its own. Nothing may be here yet, and the
    /// dictionary must stay where it is.
    void moveInto(Value* memory, Value* first, std::size_t count) noexcept;

   private:
    void reserve(std::size_t capacity);
    void swap(Values& other) noexcept {
      std::swap(data_, other.data_);
      std::swap(size_, other.size_);
      std::swap(capacity_, other.capacity_);
    }

    Value* data_ = nullptr;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;  // 0 where the memory is not its own
  };

  Keys keys_;
  Values values_;
};

}  // namespace korvane
