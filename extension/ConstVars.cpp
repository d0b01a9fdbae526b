#include "extension/ConstVars.h"

namespace korvane {

const char* const it_drelk_korvane = "it.drelk.korvane";
const char* const it_drelk_korvane_beta8 = "it.drelk.korvane.beta8";
const char* const it_drelk_korvane_beta10 = "it.drelk.korvane.beta10";
const char* const it_drelk_korvane_2 = "it.drelk.korvane2";
const char* const it_drelk_korvane_pro = "it.drelk.korvane.pro";

const char* const commandArchive = "archive";
const char* const commandDelete = "delete";
const char* const commandReply = "reply";
const char* const commandMessage = "message";
const char* const commandCompose = "compose";
const char* const commandSend = "send";
const char* const commandOpen = "open";

}  // namespace korvane
