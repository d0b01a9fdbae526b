#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <new>

#include "platform/NSException.h"
#include "platform/Value.h"

namespace korvane {
namespace {

// Above this many keys a dictionary that grows key by key has an index of them. It is an ordered
// one: keys come from outside, and those of a hash table could be chosen to collide.
constexpr std::size_t kManyKeys = 16;
using Index = std::map<std::string_view, std::size_t>;

}  // namespace

struct Dictionary::Keys::Node {
  std::atomic<std::uint32_t> references{1};
  List keys;
  std::vector<std::string_view> texts;  // the keys' own bytes
  std::unique_ptr<Index> index;

  // Without an index: a list that came whole is searched a few times, but a file can hold very many
  // lists of the same long keys, and an index compares all of them with one another.
  explicit Node(List list) : keys(std::move(list)) {
    texts.reserve(keys.size());
    for (const Value& key : keys) texts.push_back(key.text());
  }

  void makeIndex() {
    index.reset();
    if (keys.size() <= kManyKeys) return;
    index = std::make_unique<Index>();
    for (std::size_t i = 0; i < texts.size(); ++i) index->emplace(texts[i], i);
  }

  void append(Value key) {
    keys.push_back(std::move(key));
    texts.push_back(keys.back().text());
    if (index) {
      index->emplace(texts.back(), keys.size() - 1);
    } else {
      makeIndex();
    }
  }

  void remove(std::size_t position) {
    keys.erase(keys.begin() + static_cast<std::ptrdiff_t>(position));
    texts.erase(texts.begin() + static_cast<std::ptrdiff_t>(position));
    makeIndex();
  }
};

Dictionary::Keys::Keys(List keys) {
  if (!keys.empty()) node_ = new Node(std::move(keys));
}

Dictionary::Keys::Keys(const Keys& other) noexcept : node_(other.node_) {
  if (node_) node_->references.fetch_add(1, std::memory_order_relaxed);
}

Dictionary::Keys::~Keys() {
  if (node_ && node_->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete node_;
}

std::size_t Dictionary::Keys::size() const noexcept { return node_ ? node_->keys.size() : 0; }

std::string_view Dictionary::Keys::at(std::size_t position) const { return node_->texts[position]; }

std::size_t Dictionary::Keys::position(std::string_view key) const {
  if (!node_) return 0;
  if (node_->index) {
    const auto found = node_->index->find(key);
    return found == node_->index->end() ? node_->keys.size() : found->second;
  }
  const auto& texts = node_->texts;
  return static_cast<std::size_t>(std::find(texts.begin(), texts.end(), key) - texts.begin());
}

Dictionary::Keys::Node& Dictionary::Keys::own() {
  if (!node_) {
    node_ = new Node({});
  } else if (node_->references.load(std::memory_order_acquire) != 1) {
    Keys copy;
    copy.node_ = new Node(node_->keys);
    *this = std::move(copy);
  }
  return *node_;
}

Dictionary::Values::Values(const Values& other) {
  reserve(other.size_);
  for (; size_ < other.size_; ++size_) new (data_ + size_) Value(other.data_[size_]);
}

Dictionary::Values::~Values() {
  std::destroy_n(data_, size_);
  if (capacity_ > 0) ::operator delete(data_);
}

void Dictionary::Values::reserve(std::size_t capacity) {
  if (capacity == 0) return;
  auto* memory = static_cast<Value*>(::operator new(capacity * sizeof(Value)));
  std::uninitialized_move_n(data_, size_, memory);
  std::destroy_n(data_, size_);
  if (capacity_ > 0) ::operator delete(data_);
  data_ = memory;
  capacity_ = capacity;
}

void Dictionary::Values::append(Value value) {
  if (size_ >= capacity_) reserve(std::max<std::size_t>(4, 2 * size_));
  new (data_ + size_) Value(std::move(value));
  ++size_;
}

void Dictionary::Values::remove(std::size_t position) {
  std::move(data_ + position + 1, data_ + size_, data_ + position);
  data_[--size_].~Value();
}

void Dictionary::Values::moveInto(Value* memory, Value* first, std::size_t count) noexcept {
  data_ = memory;
  size_ = count;
  std::uninitialized_move_n(first, count, memory);
}

Dictionary::Dictionary(std::initializer_list<std::pair<std::string_view, Value>> entries) {
  for (const auto& [key, value] : entries) set(key, value);
}

Dictionary::Dictionary(Keys keys, List values) : keys_(std::move(keys)) {
  if (keys_.size() != values.size()) {
    throw NSException(NSInvalidArgumentException, "a dictionary needs a value for each key");
  }
  for (Value& value : values) values_.append(std::move(value));
}

const Value* Dictionary::find(std::string_view key) const {
  const std::size_t at = keys_.position(key);
  return at == values_.size() ? nullptr : &values_[at];
}

Value Dictionary::objectForKey(std::string_view key) const {
  const Value* value = find(key);
  return value ? *value : Value();
}

void Dictionary::set(std::string_view key, Value value) {
  const std::size_t at = keys_.position(key);
  if (at < values_.size()) {
    values_[at] = std::move(value);
    return;
  }
  values_.append(std::move(value));
  keys_.own().append(Value(key));
}

void Dictionary::setSharingKey(Value key, Value value) {
  const std::size_t at = keys_.position(key.text());
  if (at < values_.size()) {
    values_[at] = std::move(value);
    return;
  }
  values_.append(std::move(value));
  keys_.own().append(std::move(key));
}

void Dictionary::remove(std::string_view key) {
  const std::size_t at = keys_.position(key);
  if (at == values_.size()) return;
  keys_.own().remove(at);
  values_.remove(at);
}

bool operator==(const Dictionary& a, const Dictionary& b) {
  if (a.size() != b.size()) return false;
  // Looking up each key of many would take the square of their number.
  std::map<std::string_view, const Value*> many;
  if (b.size() > kManyKeys) {
    for (const auto [key, value] : b) many.emplace(key, &value);
  }
  for (const auto [key, value] : a) {
    const Value* other = nullptr;
    if (many.empty()) {
      other = b.find(key);
    } else if (const auto found = many.find(key); found != many.end()) {
      other = found->second;
    }
    if (!other || !(*other == value)) return false;
  }
  return true;
}

}  // namespace korvane
