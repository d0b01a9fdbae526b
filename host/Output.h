#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace korvane {

/// Where a program's output goes, piece by piece, so that it may be larger than the memory.
class Output {
 public:
  using Sink = std::function<void(std::string_view text)>;
  /// `sink` gets pieces of 64 KiB, or longer ones that came as one.
  explicit Output(Sink sink) : sink_(std::move(sink)) {}
  /// What flush() has not handed on is lost.
  ~Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  Output& operator<<(std::string_view text) {
    buffer_ += text;
    if (buffer_.size() >= kPiece) flush();
    return *this;
  }
  void flush() {
    if (!buffer_.empty()) sink_(buffer_);
    buffer_.clear();
  }

 private:
  static constexpr std::size_t kPiece = std::size_t{1} << 16;
  Sink sink_;
  std::string buffer_;
};

/// What `write` writes, as one text.
template <class Write>
std::string outputOf(const Write& write) {
  std::string text;
  Output output([&](std::string_view piece) { text += piece; });
  write(output);
  output.flush();
  return text;
}

}  // namespace korvane
