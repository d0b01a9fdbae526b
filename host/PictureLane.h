#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "host/PreparedImages.h"
#include "platform/Value.h"

namespace korvane {

/// Makes the pictures of one share ready ahead, several at a time on the Platform's queue of
/// default priority, and hands them over one by one in the order given. When time is nearly over,
/// what is ready is handed over without waiting for a slower one before it.
///
/// The more is waiting, and the later it is, the quicker, and a little larger, pictures are
/// written. Any thread may call.
class PictureLane {
 public:
  /// After this much time the order no longer matters: the last second of an extension's ten.
  static constexpr std::chrono::milliseconds kInOrder{9000};
  /// More than so many pixels waiting, and pictures are written quickly.
  static constexpr std::uint64_t kManyPixels = 40'000'000;
  /// What is ready but not handed over may take so much memory, or the one whose turn it is.
  static constexpr std::size_t kMaxReadyBytes = std::size_t{512} << 20;

  explicit PictureLane(std::chrono::milliseconds inOrder = kInOrder);

  /// Gets the image data; throws where there is none.
  using Read = std::function<Value()>;
  /// Gets the picture; where it has no file (`png`), why it has none.
  using HandOver = std::function<void(PreparedPicture& picture, const std::string& why)>;
  void add(Read read, HandOver handOver);

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace korvane
