#include "platform/NSNotificationCenter.h"

#include <algorithm>
#include <utility>

namespace korvane {

NSNotificationObservation& NSNotificationObservation::operator=(
    NSNotificationObservation&& other) noexcept {
  std::swap(end_, other.end_);
  if (this != &other) other.end();
  return *this;
}

void NSNotificationObservation::end() {
  if (const auto end = std::exchange(end_, nullptr)) end();
}

NSNotificationCenter& NSNotificationCenter::defaultCenter() {
  static auto* center = new NSNotificationCenter;  // never destroyed: late threads may still post
  return *center;
}

NSNotificationObservation NSNotificationCenter::addObserver(std::string_view name,
                                                            Callback callback) {
  // The identity of the observer is a place of its own.
  auto identity = std::make_shared<char>();
  addObserver(identity.get(), name, std::move(callback));
  return NSNotificationObservation([this, identity] { removeObserver(identity.get()); });
}

void NSNotificationCenter::addObserver(const void* observer, std::string_view name,
                                       Callback callback) {
  auto observation = std::make_shared<Observation>();
  observation->observer = observer;
  observation->name = name;
  observation->callback = std::move(callback);
  std::lock_guard lock(mutex_);
  observations_.push_back(std::move(observation));
}

void NSNotificationCenter::removeObserver(const void* observer) {
  // Outlives the lock: callbacks may hold anything.
  std::vector<std::shared_ptr<Observation>> removed;
  std::lock_guard lock(mutex_);
  const auto rest = std::stable_partition(
      observations_.begin(), observations_.end(),
      [&](const auto& observation) { return observation->observer != observer; });
  removed.assign(std::make_move_iterator(rest), std::make_move_iterator(observations_.end()));
  observations_.erase(rest, observations_.end());
  for (const auto& observation : removed) observation->ended = true;
}

void NSNotificationCenter::postNotificationName(std::string_view name, const Value& object) {
  std::vector<std::shared_ptr<Observation>> observations;
  {
    std::lock_guard lock(mutex_);
    for (const auto& observation : observations_) {
      if (observation->name == name) observations.push_back(observation);
    }
  }
  for (const auto& observation : observations) {
    if (!observation->ended && observation->callback) observation->callback(name, object);
  }
}

std::size_t NSNotificationCenter::observationCount(const void* observer) const {
  std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(
      std::count_if(observations_.begin(), observations_.end(),
                    [&](const auto& observation) { return observation->observer == observer; }));
}

}  // namespace korvane
