#pragma once

#include <string>

#include "compose/Composition.h"

namespace korvane {

// What the person is told of a message: a line for each thing on standard error, and where that is
// not a terminal a notification as well. Any thread may call.

/// What does not arrive in the compose window, and what else there is to say.
void tellAbout(const Composition& composition);

/// The same on standard error alone.
void writeAbout(const Composition& composition);

/// Why there is no compose window.
void tellFailure(const ComposeError& error);

/// The sentence about something that was left out.
std::string sentenceOf(const LeftOut& leftOut);

}  // namespace korvane
