#pragma once

#include <string>
#include <string_view>

namespace korvane {

/// The path from the root, as bytes: a relative one is put behind the working directory, nothing is
/// looked up. Only a path that ends in "." or ".." becomes the folder it leads to, so that the
/// folder's own name can be shown. A path stays relative where there is no working directory.
std::string absolutePath(std::string_view path);

}  // namespace korvane
