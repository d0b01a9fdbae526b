#include "platform/NSNotificationCenter.h"

#include <algorithm>
#include <utility>

namespace korvane {

NSNotificationCenter& NSNotificationCenter::defaultCenter() {
  static auto* center = new NSNotificationCenter;  // never destroyed: late threads may still post
  return *center;
}

void NSNotificationCenter::addObserver(const void* observer, std::string_view name,
                                       Callback callback) {
  std::lock_guard lock(mutex_);
  observations_.push_back(
      {observer, std::string(name), std::make_shared<Callback>(std::move(callback))});
}

void NSNotificationCenter::removeObserver(const void* observer) {
  std::vector<Observation> removed;  // outlives the lock: callbacks may hold anything
  std::lock_guard lock(mutex_);
  const auto rest = std::stable_partition(
      observations_.begin(), observations_.end(),
      [&](const Observation& observation) { return observation.observer != observer; });
  removed.assign(std::make_move_iterator(rest), std::make_move_iterator(observations_.end()));
  observations_.erase(rest, observations_.end());
}

void NSNotificationCenter::postNotificationName(std::string_view name, const void* object) {
  std::vector<std::shared_ptr<Callback>> callbacks;
  {
    std::lock_guard lock(mutex_);
    for (const Observation& observation : observations_) {
      if (observation.name == name) callbacks.push_back(observation.callback);
    }
  }
  for (const auto& callback : callbacks) (*callback)(name, object);
}

std::size_t NSNotificationCenter::observationCount(const void* observer) const {
  std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(
      std::count_if(observations_.begin(), observations_.end(),
                    [&](const Observation& o) { return o.observer == observer; }));
}

}  // namespace korvane
