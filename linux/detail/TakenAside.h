#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/Export.h"

namespace korvane {

/// What lies in the staging folder and is to be shared once more: moved out of it, since it is
/// emptied before anything is shared. By one thread at a time.
class KORVANE_EXPORT TakenAside {
 public:
  /// `folder` is the staging folder, an absolute path; there may be none.
  explicit TakenAside(std::string folder);
  /// Removes what was moved.
  ~TakenAside();
  TakenAside(const TakenAside&) = delete;
  TakenAside& operator=(const TakenAside&) = delete;

  /// Moves those of the items (absolute paths, links followed) that lie in the staging folder, with
  /// what they lie in there; the folder itself may be among them. To be called once, in a
  /// coordinated access to the folder. What cannot be moved stays where it is.
  void take(const std::vector<std::string>& paths);
  /// Where an item lies now: the path itself, where it was not moved.
  std::string placeOf(const std::string& path) const;

 private:
  struct Aside;

  const std::string folder_;
  std::map<std::string, std::string> places_;
  std::unique_ptr<Aside> aside_;
};

}  // namespace korvane
