#pragma once

#include <string_view>

#include "text/LinkSchemes.h"

namespace korvane::links {

/// Whether what stands behind "scheme:" has the form of the scheme's links. Looks at the form only:
/// an address need not exist, an account not be known. False for the forms that need "//", and for
/// LinkForm::mail, which has parts that are read for themselves. Any thread may call.
bool hasForm(LinkForm form, std::string_view rest);

}  // namespace korvane::links
