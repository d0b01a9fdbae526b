#pragma once

#include <string>

#include "platform/Export.h"

namespace korvane {

class Value;

/// What records have in common, so that a Value can hold one. Held by std::shared_ptr. Any thread
/// may call what is here.
class KORVANE_EXPORT NSObject {
 public:
  virtual ~NSObject() = default;

  /// Whether the two are equal as the class has it: the very same object, where it says nothing
  /// else. Nothing equals nullptr.
  virtual bool isEqual(const NSObject* other) const { return this == other; }
  /// The same with anything that a Value holds; what is not an object equals no object.
  bool isEqual(const Value& other) const;

  /// The text that "%@" shows, in UTF-8.
  virtual std::string description() const = 0;

 protected:
  NSObject() = default;
  NSObject(const NSObject&) = default;
  NSObject& operator=(const NSObject&) = default;
};

}  // namespace korvane
