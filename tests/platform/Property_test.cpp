#include "platform/Property.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/Value.h"

namespace korvane {
namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 5000;

/// Runs the job on several threads at once and waits for them.
template <class Job>
void together(Job job) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) threads.emplace_back(job, thread);
  for (std::thread& thread : threads) thread.join();
}

TEST(Property, HoldsAValue) {
  const Property<int> zero;
  EXPECT_EQ(zero.get(), 0);
  const Property<Value> absent;
  EXPECT_TRUE(absent.get().isAbsent());
  Property<std::string> text("first");
  EXPECT_EQ(text.get(), "first");
  text.set("second");
  EXPECT_EQ(text.get(), "second");
}

TEST(Property, UpdateAndReadGiveBackWhatTheirFunctionsDo) {
  Property<std::string> text("ab");
  EXPECT_EQ(text.update([](std::string& value) { return (value += 'c').size(); }), 3U);
  EXPECT_EQ(text.read([](const std::string& value) { return value.back(); }), 'c');
  text.update([](std::string& value) { value.clear(); });
  EXPECT_EQ(text.get(), "");
}

TEST(Property, ReadDoesNotCopy) {
  const Property<std::unique_ptr<int>> pointer(std::make_unique<int>(5));
  EXPECT_EQ(pointer.read([](const std::unique_ptr<int>& value) { return *value; }), 5);
}

TEST(Property, FieldIsFreeAgainAfterAFunctionThrew) {
  Property<int> number(1);
  EXPECT_THROW(number.update([](int& value) {
    value = 2;
    throw std::string("failed");
  }),
               std::string);
  EXPECT_EQ(number.get(), 2);
  number.set(3);
  EXPECT_EQ(number.get(), 3);
}

// The old value may look at the field while it goes: that must not wait for itself.
TEST(Property, OldValueIsDestroyedOutsideTheLock) {
  struct Looker {
    Property<std::shared_ptr<Looker>>* field = nullptr;
    bool* looked = nullptr;
    ~Looker() {
      if (field) *looked = field->get() == nullptr;
    }
  };
  bool looked = false;
  Property<std::shared_ptr<Looker>> field;
  auto looker = std::make_shared<Looker>();
  looker->field = &field;
  looker->looked = &looked;
  field.set(std::move(looker));
  field.set(nullptr);
  EXPECT_TRUE(looked);
}

TEST(Property, IsSmall) {
  EXPECT_LE(sizeof(Property<Value>), sizeof(Value) + sizeof(void*));
  EXPECT_LE(sizeof(Property<int>), 2 * sizeof(int));
}

TEST(Property, UpdatesFromManyThreadsAreNotLost) {
  Property<std::int64_t> count;
  together([&](int) {
    for (int i = 0; i < kRounds; ++i) count.update([](std::int64_t& value) { ++value; });
  });
  EXPECT_EQ(count.get(), std::int64_t{kThreads} * kRounds);
}

TEST(Property, ReadersSeeOnlyWholeValues) {
  const auto text = [](int thread) {
    return std::string(static_cast<std::size_t>(100 + thread), static_cast<char>('a' + thread));
  };
  const auto isWhole = [&](const std::string& seen) {
    return !seen.empty() && seen == text(seen[0] - 'a');
  };
  Property<std::string> field(text(0));
  std::atomic<int> torn = 0;
  together([&](int thread) {
    for (int i = 0; i < kRounds; ++i) {
      if (thread % 2 == 0) field.set(text(thread));
      if (!isWhole(field.get()) || !field.read(isWhole)) ++torn;
    }
  });
  EXPECT_EQ(torn, 0);
}

TEST(Property, ValuesMayBeReplacedWhileTheyAreCopied) {
  Property<Value> field("start");
  std::atomic<std::int64_t> bytes = 0;
  together([&](int thread) {
    for (int i = 0; i < kRounds; ++i) {
      field.set(Value(std::to_string(thread)));
      bytes += static_cast<std::int64_t>(field.get().length());
    }
  });
  EXPECT_EQ(bytes, std::int64_t{kThreads} * kRounds);
}

}  // namespace
}  // namespace korvane
