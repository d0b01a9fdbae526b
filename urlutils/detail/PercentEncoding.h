#pragma once

#include <string>
#include <string_view>

namespace korvane::RequestUtils {

// What the writer and the reader of queries share with URLEncodedString and URLDecodedString: the
// same results, into texts that exist already. Any thread may call.

/// Appends URLEncodedString of the subject.
void appendURLEncoded(std::string& to, std::string_view subject);

/// Replaces the text by URLDecodedString of the subject; false, and any text, when that is absent.
bool assignURLDecoded(std::string& to, std::string_view subject, bool plusAsSpace);

}  // namespace korvane::RequestUtils
