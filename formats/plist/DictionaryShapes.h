#pragma once

// Internal to the reader of the XML form.

#include <cstddef>
#include <deque>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/Value.h"

namespace korvane {

/// The key lists of the dictionaries of one file. Most of them are alike, so each list is kept
/// once: as a path in a tree that branches at every key, which also finds a key that was seen
/// before without making a text of it.
class DictionaryShapes {
 public:
  struct Shape {
    const Shape* parent = nullptr;
    std::size_t size = 0;   // keys up to here
    Value key;              // the last of them
    Dictionary::Keys keys;  // made when the first dictionary ends here
    std::vector<Shape*> next;
    std::size_t latest = 0;  // of `next`
  };

  /// Where a key leads: the shape with it, and the position of its value. No shape where the
  /// dictionary has too many keys, or the file too many shapes, to be worth sharing.
  struct Step {
    Shape* shape = nullptr;
    std::size_t position = 0;
  };

  DictionaryShapes() : shapes_(1) {}
  Shape* empty() { return &shapes_.front(); }
  Step add(Shape* shape, std::string_view key);
  static const Dictionary::Keys& keys(Shape* shape);

 private:
  std::deque<Shape> shapes_;  // stable addresses
};

/// One dictionary in the making. The values of its keys stand at the end of a stack that the reader
/// shares between all open lists and dictionaries.
class DictionaryInProgress {
 public:
  DictionaryInProgress(DictionaryShapes& shapes, List& stack)
      : shape_(shapes.empty()), base_(stack.size()) {}

  /// Names the key of the value that comes next. A key that comes again keeps its place and gets
  /// the later value.
  void setKey(DictionaryShapes& shapes, List& stack, std::string_view key);
  /// The value of the key.
  void setValue(List& stack, Value value);
  /// The dictionary; its values are taken off the stack.
  Value finish(List& stack);

 private:
  DictionaryShapes::Shape* shape_;
  std::size_t base_;
  std::size_t position_ = 0;
  std::unique_ptr<Dictionary> large_;  // once it shares no shape
  Value largeKey_;
};

/// The topmost values of the stack, from `base` on, taken off it.
List takeFrom(List& stack, std::size_t base);

}  // namespace korvane
