#include "host/ScreenshotRequest.h"

#include <array>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <utility>
#include <variant>

#include "linux/detail/FileTree.h"
#include "linux/detail/ScreenshotPortal.h"
#include "platform/NSFileManager.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

std::string taken(Cancellation& cancellation) {
  auto picture = takeScreenshot();
  if (auto* none = std::get_if<NoScreenshot>(&picture)) {
    if (none->isCancelled) cancellation.cancel();
    throw std::runtime_error(none->reason);
  }
  return std::get<std::string>(std::move(picture));
}

std::unique_ptr<const FetchFolder> folderIn(const std::string& parent) {
  try {
    return std::make_unique<const FetchFolder>(parent);
  } catch (const FileFailure& failure) {
    throw std::runtime_error(translated("there is no folder to fetch it into: {0}",
                                        failure.error().localizedDescription));
  }
}

}  // namespace

ScreenshotRequest::ScreenshotRequest(const std::string& parent, Cancellation& cancellation)
    : taken_(taken(cancellation)), folder_(folderIn(parent)) {
  const std::string copy = folder_->path() + "/" + screenshotName(std::time(nullptr), taken_);
  std::optional<NSError> error;
  if (!NSFileManager::defaultManager()->copyItemAtPath(taken_, copy, error)) {
    throw std::runtime_error(translated("the picture of the screen cannot be read: {0}",
                                        error ? error->localizedDescription : taken_));
  }
  request_.items.emplace_back().attachments.emplace_back(ShareRequest::File{copy});
}

std::string screenshotName(std::time_t time, const std::string& path) {
  std::tm local{};
  ::localtime_r(&time, &local);
  std::array<char, 64> text{};
  const std::size_t size =
      std::strftime(text.data(), text.size(), "Screenshot %Y-%m-%d %H-%M-%S", &local);
  const std::string extension = std::filesystem::path(path).extension();
  return std::string(text.data(), size) + (extension.empty() ? ".png" : extension);
}

}  // namespace korvane
