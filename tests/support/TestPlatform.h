#pragma once

// Services for tests: a log that can be read, a clock that does not wait, a bundle with a chosen
// identifier. A test takes Platform() or the real adapters for the rest.

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/Platform.h"

namespace korvane::testing {

class RecordingLog : public LogSink {
 public:
  void write(std::string_view line) noexcept override {
    std::lock_guard lock(mutex_);
    lines_.emplace_back(line);
  }
  std::vector<std::string> lines() const {
    std::lock_guard lock(mutex_);
    return lines_;
  }
  void clear() {
    std::lock_guard lock(mutex_);
    lines_.clear();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

/// A clock that stands still but for its sleeps, which take no time and are remembered.
class FakeClock : public Clock {
 public:
  explicit FakeClock(NSDate start = {1'800'000'000}) : now_(start) {}
  NSDate now() override {
    std::lock_guard lock(mutex_);
    return now_;
  }
  void sleep(double seconds) override {
    {
      std::lock_guard lock(mutex_);
      now_.timeIntervalSince1970 += seconds;
      sleeps_.push_back(seconds);
    }
    if (onSleep) onSleep();
  }
  std::vector<double> sleeps() const {
    std::lock_guard lock(mutex_);
    return sleeps_;
  }
  /// Called in every sleep, on the sleeping thread.
  std::function<void()> onSleep;

 private:
  mutable std::mutex mutex_;
  NSDate now_;
  std::vector<double> sleeps_;
};

class FakeBundle : public EmptyBundle {
 public:
  explicit FakeBundle(Value identifier = "it.drelk.korvane.share")
      : identifier_(std::move(identifier)) {}
  Value objectForInfoDictionaryKey(std::string_view key) override {
    return key == "CFBundleIdentifier" ? identifier_ : Value();
  }
  std::string localizedStringForKey(std::string_view key, std::string_view value = {},
                                    std::string_view table = {}) override {
    const auto found = translations.find(std::string(key));
    if (found != translations.end()) return found->second;
    return EmptyBundle::localizedStringForKey(key, value, table);
  }
  bool loadNibNamed(std::string_view name) override {
    if (onLoadNib) onLoadNib(name);
    return true;
  }
  std::map<std::string, std::string> translations;
  std::function<void(std::string_view)> onLoadNib;

 private:
  Value identifier_;
};

/// A platform set with the services above; installs itself, and the plain set when it goes.
struct TestPlatform {
  std::shared_ptr<RecordingLog> log = std::make_shared<RecordingLog>();
  std::shared_ptr<FakeClock> clock = std::make_shared<FakeClock>();
  std::shared_ptr<FakeBundle> bundle = std::make_shared<FakeBundle>();
  Platform services;

  TestPlatform() {
    services.log = log;
    services.clock = clock;
    services.bundle = bundle;
    install();
  }
  ~TestPlatform() { Platform::install(Platform()); }
  TestPlatform(const TestPlatform&) = delete;
  TestPlatform& operator=(const TestPlatform&) = delete;
  /// Installs `services` again after a change to it.
  void install() { Platform::install(services); }
};

}  // namespace korvane::testing
