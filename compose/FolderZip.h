#pragma once

#include <string>

#include "compose/LeftOut.h"

namespace korvane {

/// Writes a folder with all it holds as a zip file: every entry below `name`, names in UTF-8 and
/// without control characters, files compressed, empty folders kept. Links, special files and what
/// cannot be read are left out, as is what lies deeper than 200 folders. Of one folder, at most 20
/// are named.
///
/// `folder` is open for reading and `target`, empty, for reading and writing; both stay open. The
/// memory needed does not depend on the sizes of the files. Throws FileFailure where the zip file
/// cannot be written. Any thread may call.
void zipFolder(int folder, const std::string& name, int target, LeftOutList& leftOut);

}  // namespace korvane
