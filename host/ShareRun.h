#pragma once

#include "host/Handover.h"
#include "host/ShareRequest.h"

namespace korvane {

/// One share from the request to the mail client's answer, as an extension host runs it: fetches
/// what is not on this machine, creates the principal controller with the request's items, asks it
/// for its view on this thread, and waits until the extension's background job has ended. Loads
/// that outlast the job are not waited for.
///
/// The process's services are watchedServices(). Any thread may call; shares on one container take
/// turns.
ShareOutcome runShare(ShareRequest request, const ShareOptions& options);

}  // namespace korvane
