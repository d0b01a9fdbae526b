#pragma once

#include <string>

#include "compose/Composition.h"

namespace korvane {

/// Tells the person what of a message does not arrive in the compose window, and what else there is
/// to say: the one place where that happens. One line for each, on standard error. Any thread may
/// call.
void tellAbout(const Composition& composition);

/// Tells why there is no compose window. Any thread may call.
void tellFailure(const ComposeError& error);

/// The sentence about something that was left out.
std::string sentenceOf(const LeftOut& leftOut);

}  // namespace korvane
