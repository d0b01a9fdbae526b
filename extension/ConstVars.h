#pragma once

#include "platform/Export.h"

namespace korvane {

// Bundle identifiers of the mail client's editions.
KORVANE_EXPORT extern const char* const it_drelk_korvane;
KORVANE_EXPORT extern const char* const it_drelk_korvane_beta8;
KORVANE_EXPORT extern const char* const it_drelk_korvane_beta10;
KORVANE_EXPORT extern const char* const it_drelk_korvane_2;
/// The professional edition. Nothing consults it: an extension inside it opens the regular edition.
KORVANE_EXPORT extern const char* const it_drelk_korvane_pro;

// Command words: the host part of a command URL.
KORVANE_EXPORT extern const char* const commandArchive;
KORVANE_EXPORT extern const char* const commandDelete;
KORVANE_EXPORT extern const char* const commandReply;
KORVANE_EXPORT extern const char* const commandMessage;
KORVANE_EXPORT extern const char* const commandCompose;
KORVANE_EXPORT extern const char* const commandSend;
KORVANE_EXPORT extern const char* const commandOpen;

/// The service of the share flow: the name of its staging folder.
inline constexpr const char* kShareService = "Share";

}  // namespace korvane
