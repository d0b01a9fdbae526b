#pragma once

#include "host/Arguments.h"
#include "host/ShareRequest.h"

namespace korvane {

/// The request that a command line stands for: that of --request, else one input item of all items
/// and options, attachments in the order given. Reads the files and the standard input it names;
/// the Platform must be installed.
///
/// An item is, in this order of decision: "-", standard input, whose image is attached and whose
/// HTML or text joins the accompanying text; a path, where anything is there; a URL, where the text
/// begins with a scheme; a path. Texts that are not UTF-8 are taken as Windows-1252.
///
/// What cannot be read does not stop the rest: it is among the request's `unread`. Only an
/// unreadable --request throws InputError, and a clipboard that cannot be shared
/// std::runtime_error.
ShareRequest requestFromArguments(const Arguments& arguments);

}  // namespace korvane
