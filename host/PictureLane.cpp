#include "host/PictureLane.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

#include "platform/Dispatch.h"
#include "platform/NSImage.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

struct Entry {
  enum class Stage { waiting, working, ready, handedOver };
  PictureLane::Read read;
  PictureLane::HandOver handOver;
  Stage stage = Stage::waiting;
  PreparedPicture picture{};
  std::string why{};

  std::size_t bytes() const { return picture.png ? picture.png->size() : 0; }
};

// One that only tells the sides of the picture.
std::shared_ptr<const Bitmap> withoutPixels(const Bitmap& bitmap) {
  auto sides = std::make_shared<Bitmap>();
  sides->width = bitmap.width;
  sides->height = bitmap.height;
  sides->channels = bitmap.channels;
  sides->stride = bitmap.stride;
  return sides;
}

}  // namespace

struct PictureLane::State : std::enable_shared_from_this<PictureLane::State> {
  using Clock = std::chrono::steady_clock;
  using Lock = std::unique_lock<std::mutex>;

  explicit State(std::chrono::milliseconds time) : inOrder(time) {}

  const std::chrono::milliseconds inOrder;
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<std::shared_ptr<Entry>> entries;  // those that were not handed over
  Clock::time_point late{};
  std::size_t working = 0;
  std::size_t readyBytes = 0;
  std::uint64_t pixelsSeen = 0;
  std::uint64_t picturesSeen = 0;
  bool handing = false;
  bool watched = false;

  // Starts as many as may work at a time.
  void start(Lock& lock) {
    static const std::size_t atOnce = std::max(2U, std::thread::hardware_concurrency());
    for (std::size_t i = 0; i < entries.size() && working < atOnce; ++i) {
      const auto entry = entries[i];
      if (entry->stage != Entry::Stage::waiting) continue;
      if (i > 0 && readyBytes > kMaxReadyBytes) return;
      entry->stage = Entry::Stage::working;
      ++working;
      lock.unlock();
      dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0),
                     [state = shared_from_this(), entry] { state->work(*entry); });
      lock.lock();
    }
  }

  void work(Entry& entry) {
    try {
      prepare(entry);
    } catch (const std::bad_alloc&) {
      entry.why = translated("there is not enough memory");
    } catch (const std::exception& failure) {
      entry.why = failure.what();
    }
    Lock lock(mutex);
    entry.stage = Entry::Stage::ready;
    readyBytes += entry.bytes();
    --working;
    start(lock);
    handOver(lock);
  }

  void prepare(Entry& entry) {
    const auto images = ImageCodec::installed();
    entry.picture.data = entry.read();
    const auto bitmap = images->decode(entry.picture.data.data(), &entry.why);
    if (!bitmap) return;
    auto png = images->encode(*bitmap, NSBitmapImageFileType::PNG, effortFor(*bitmap));
    if (!png) {
      entry.why = translated("it could not be written as PNG");
      return;
    }
    entry.picture.bitmap = withoutPixels(*bitmap);
    entry.picture.png = std::move(png);
  }

  // How many pixels wait is told from those seen so far. Where half of the time is over there are
  // too many, also when few are left.
  EncodingEffort effortFor(const Bitmap& bitmap) {
    Lock lock(mutex);
    if (Clock::now() + inOrder / 2 >= late) return EncodingEffort::quick;
    pixelsSeen += std::uint64_t{bitmap.width} * bitmap.height;
    ++picturesSeen;
    const auto waiting = static_cast<std::uint64_t>(std::ranges::count_if(
        entries, [](const auto& entry) { return entry->stage < Entry::Stage::ready; }));
    return pixelsSeen / picturesSeen * waiting > kManyPixels ? EncodingEffort::quick
                                                             : EncodingEffort::thorough;
  }

  // The one whose turn it is; later on, any that is ready.
  std::shared_ptr<Entry> next() const {
    for (const auto& entry : entries) {
      if (entry->stage == Entry::Stage::ready) return entry;
      if (Clock::now() < late) break;
    }
    return nullptr;
  }

  // By one thread at a time.
  void handOver(Lock& lock) {
    if (handing) return;
    handing = true;
    while (const auto entry = next()) {
      entry->stage = Entry::Stage::handedOver;
      std::erase(entries, entry);
      readyBytes -= entry->bytes();
      lock.unlock();
      try {
        entry->handOver(entry->picture, entry->why);
      } catch (...) {  // no memory, say: the next one may fit
      }
      entry->picture = {};
      lock.lock();
    }
    handing = false;
    start(lock);
    changed.notify_all();
  }

  // Hands over what is ready when the time for order is over.
  void watch() {
    Lock lock(mutex);
    changed.wait_until(lock, late, [&] { return entries.empty(); });
    watched = false;
    handOver(lock);
  }
};

PictureLane::PictureLane(std::chrono::milliseconds inOrder)
    : state_(std::make_shared<State>(inOrder)) {}

void PictureLane::add(Read read, HandOver handOver) {
  auto entry = std::make_shared<Entry>();
  entry->read = std::move(read);
  entry->handOver = std::move(handOver);
  State::Lock lock(state_->mutex);
  if (state_->late == State::Clock::time_point())
    state_->late = State::Clock::now() + state_->inOrder;
  state_->entries.push_back(std::move(entry));
  const bool watch = state_->entries.size() > 1 && !std::exchange(state_->watched, true);
  state_->start(lock);
  lock.unlock();
  if (!watch) return;
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_LOW, 0),
                 [state = state_] { state->watch(); });
}

}  // namespace korvane
