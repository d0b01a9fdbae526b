#pragma once

#include <string>
#include <string_view>

#include "compose/LeftOut.h"

namespace korvane {

/// The text of a message in its two forms.
struct MessageBody {
  /// UTF-8, lines ended by line feeds.
  std::string plain;
  /// One complete document in UTF-8.
  std::string html;
};

/// The body that a command URL carries. The HTML may be several documents and parts of documents
/// one after the other, as a share writes them: each is read and sanitized, and all become one
/// document. Links that follow one another outside the documents stand on lines of their own. Where
/// one form is missing it is made from the other; links whose address is not their text keep it in
/// the plain form, in "<>". HTML that cannot be read is left out. Any thread may call.
MessageBody messageBody(std::string_view html, std::string_view plain, LeftOutList& leftOut);

}  // namespace korvane
