#pragma once

#include <stdexcept>

namespace korvane {

/// What was handed in cannot be used: a wrong command line, an unreadable request. The text is one
/// line for people, without the program's name.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace korvane
