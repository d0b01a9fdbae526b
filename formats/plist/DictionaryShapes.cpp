#include "formats/plist/DictionaryShapes.h"

#include <iterator>
#include <utility>

namespace korvane {
namespace {

// What is worth sharing. The limits also keep the search for a key short, whatever the file holds.
constexpr std::size_t kMaxKeys = 32;
constexpr std::size_t kMaxBranches = 64;
constexpr std::size_t kMaxShapes = 4096;

}  // namespace

DictionaryShapes::Step DictionaryShapes::add(Shape* shape, std::string_view key) {
  auto& next = shape->next;
  if (shape->latest < next.size() && next[shape->latest]->key.text() == key) {
    return {next[shape->latest], shape->size};
  }
  for (std::size_t i = 0; i < next.size(); ++i) {
    if (next[i]->key.text() == key) {
      shape->latest = i;
      return {next[i], shape->size};
    }
  }
  for (const Shape* above = shape; above->size > 0; above = above->parent) {
    if (above->key.text() == key) return {shape, above->size - 1};
  }
  if (shape->size == kMaxKeys || next.size() == kMaxBranches || shapes_.size() == kMaxShapes) {
    return {};
  }
  Shape& added = shapes_.emplace_back();
  added.parent = shape;
  added.size = shape->size + 1;
  added.key = Value(key);
  shape->latest = next.size();
  next.push_back(&added);
  return {&added, shape->size};
}

const Dictionary::Keys& DictionaryShapes::keys(Shape* shape) {
  if (shape->keys.size() != shape->size) {
    List keys(shape->size);
    for (const Shape* at = shape; at->size > 0; at = at->parent) keys[at->size - 1] = at->key;
    shape->keys = Dictionary::Keys(std::move(keys));
  }
  return shape->keys;
}

void DictionaryInProgress::setKey(DictionaryShapes& shapes, List& stack, std::string_view key) {
  if (!large_) {
    const auto step = shapes.add(shape_, key);
    if (step.shape) {
      shape_ = step.shape;
      position_ = base_ + step.position;
      return;
    }
    large_ = std::make_unique<Dictionary>(DictionaryShapes::keys(shape_), takeFrom(stack, base_));
  }
  largeKey_ = Value(key);
}

void DictionaryInProgress::setValue(List& stack, Value value) {
  if (large_) {
    large_->setSharingKey(std::move(largeKey_), std::move(value));
  } else if (position_ < stack.size()) {
    stack[position_] = std::move(value);
  } else {
    stack.push_back(std::move(value));
  }
}

Value DictionaryInProgress::finish(List& stack) {
  if (large_) return std::move(*large_);
  Value value = Dictionary::valueOf(DictionaryShapes::keys(shape_), stack.data() + base_);
  stack.resize(base_);
  return value;
}

List takeFrom(List& stack, std::size_t base) {
  const auto first = stack.begin() + static_cast<std::ptrdiff_t>(base);
  List taken(std::make_move_iterator(first), std::make_move_iterator(stack.end()));
  stack.erase(first, stack.end());
  return taken;
}

}  // namespace korvane
