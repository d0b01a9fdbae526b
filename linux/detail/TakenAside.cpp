#include "linux/detail/TakenAside.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>

#include <filesystem>
#include <set>
#include <system_error>
#include <utility>

#include "linux/detail/FileTree.h"
#include "linux/detail/UnfinishedNames.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;

/// Where an item lies in a folder, both without links: "" for the folder itself.
std::optional<std::string> pathInside(const fs::path& folder, const fs::path& item) {
  const std::string relative = item.lexically_relative(folder).string();
  if (relative.empty() || relative == ".." || relative.starts_with("../")) return std::nullopt;
  return relative == "." ? "" : relative;
}

}  // namespace

/// A folder of an unfinished name beside the staging folder, and in it one of that one's name.
struct TakenAside::Aside {
  explicit Aside(const fs::path& folder)
      : parent(folder.parent_path()),
        holder(::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
        name(unfinishedName()) {
    if (::mkdirat(holder.get(), name.c_str(), S_IRWXU) != 0) return;
    held = std::make_unique<HeldFolder>(holder.get(), name);
    (void)::mkdir((parent / name / folder.filename()).c_str(), S_IRWXU);
  }
  ~Aside() {
    try {
      removeEntry(holder.get(), name, parent / name);
    } catch (...) {  // NOLINT(bugprone-empty-catch): the next share tries again
    }
  }
  Aside(const Aside&) = delete;
  Aside& operator=(const Aside&) = delete;

  const fs::path parent;
  const FileDescriptor holder;
  const std::string name;
  std::unique_ptr<HeldFolder> held;
};

TakenAside::TakenAside(std::string folder) : folder_(std::move(folder)) {}

TakenAside::~TakenAside() = default;

void TakenAside::take(const std::vector<std::string>& paths) {
  std::error_code error;
  const fs::path folder = fs::canonical(folder_, error);
  if (error) return;
  std::map<std::string, std::string> inside;  // the items, as they were given
  std::set<std::string> moving;
  for (const std::string& path : paths) {
    const fs::path item = fs::canonical(path, error);
    const auto relative = error ? std::nullopt : pathInside(folder, item);
    if (!relative) continue;
    inside[path] = *relative;
    if (!relative->empty()) {
      moving.insert(relative->substr(0, relative->find('/')));
      continue;
    }
    for (const auto& entry : fs::directory_iterator(folder, error)) {
      moving.insert(entry.path().filename());
    }
  }
  if (inside.empty()) return;
  aside_ = std::make_unique<Aside>(folder);
  const fs::path place = aside_->parent / aside_->name / folder.filename();
  for (const std::string& name : moving) fs::rename(folder / name, place / name, error);
  for (const auto& [path, relative] : inside) {
    const fs::path now = relative.empty() ? place : place / relative;
    if (fs::exists(now, error)) places_[path] = now;
  }
}

std::string TakenAside::placeOf(const std::string& path) const {
  const auto found = places_.find(path);
  return found == places_.end() ? path : found->second;
}

}  // namespace korvane
