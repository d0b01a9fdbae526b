#pragma once

#include <string_view>

#include "linux/detail/ContainerRoot.h"
#include "linux/detail/FileTree.h"

namespace korvane {

/// Finds the place of an item and opens its folder. Below the container no step is taken through a
/// link: one fails with ELOOP. Elsewhere links are followed. Throws FileFailure. Internal to the
/// file services of this folder.
FilePlace locate(const ContainerRoot& container, std::string_view path);

}  // namespace korvane
