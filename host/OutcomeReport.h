#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/Handover.h"

namespace korvane {

/// How many things that are missing are named.
inline constexpr std::size_t kMaxOutcomeLines = 20;

/// What the person should know about the outcome of a share: nothing where all is well; where the
/// message did not arrive, or arrived empty, one line with the reason; else a line for each thing
/// that is missing, `maxLines` at most and then how many more. What the person was told on the way
/// is not said again. The lines may hold names from outside.
std::vector<std::string> outcomeLines(const ShareOutcome& outcome,
                                      std::size_t maxLines = kMaxOutcomeLines);

/// The outcome as one JSON object (RFC 8259) and a line break, for programs: "status" ("opened",
/// "notOpened" or "refused"), "application" (null where none was asked) and "missing", a list of
/// objects with "item" and "reason".
std::string outcomeJSON(const ShareOutcome& outcome);

/// Whether what was given, or some of it, is in a message that the mail client has.
inline bool isHandedOver(const ShareOutcome& outcome) {
  return outcome.status == ShareOutcome::Status::opened && !outcome.empty;
}

}  // namespace korvane
