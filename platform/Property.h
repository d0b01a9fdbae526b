#pragma once

#include <atomic>
#include <utility>

namespace korvane {

/// One field of a record: indivisible get, set and update, from any thread. Small: one word beside
/// the value, or none. Copying a Property is not possible; records are shared, not copied.
template <class T>
class Property {
 public:
  Property() = default;
  explicit Property(T value) : value_(std::move(value)) {}
  Property(const Property&) = delete;
  Property& operator=(const Property&) = delete;

  /// A copy of the value.
  T get() const {
    Hold hold(state_);
    return value_;
  }

  /// Calls `use(const T&)` while nobody else can read or write the field, and gives back what it
  /// returns: for values that are too large to copy. `use` must not touch this same Property.
  template <class Use>
  decltype(auto) read(Use&& use) const {
    Hold hold(state_);
    return std::forward<Use>(use)(value_);
  }

  /// Replaces the value. The old one is destroyed outside the lock.
  void set(T value) {
    {
      Hold hold(state_);
      std::swap(value_, value);
    }
  }

  /// Sets the value without a lock: in the making of a record, before another thread can know it.
  void initialise(T value) { value_ = std::move(value); }

  /// Calls `change(T&)` while nobody else can read or write the field, and gives back what it
  /// returns. `change` must not touch this same Property.
  template <class Change>
  decltype(auto) update(Change&& change) {
    Hold hold(state_);
    return std::forward<Change>(change)(value_);
  }

 private:
  // A mutex of four bytes (free, held, held with waiters): std::mutex would make a contact's six
  // fields five times as large.
  class Hold {
   public:
    explicit Hold(std::atomic<int>& state) : state_(state) {
      int free = 0;
      if (state_.compare_exchange_strong(free, 1, std::memory_order_acquire)) return;
      while (state_.exchange(2, std::memory_order_acquire) != 0) {
        state_.wait(2, std::memory_order_relaxed);
      }
    }
    ~Hold() {
      if (state_.exchange(0, std::memory_order_release) == 2) state_.notify_one();
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

   private:
    std::atomic<int>& state_;
  };

  // The lock may stand in the bytes that a value leaves unused at its end: a Property of a Value is
  // as small as the Value.
  [[no_unique_address]] T value_{};
  mutable std::atomic<int> state_{0};
};

}  // namespace korvane
