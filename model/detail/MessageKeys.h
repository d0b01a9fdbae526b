#pragma once

// The keys of a message's command URL, as they are written and read: the query's parameters.
namespace korvane::MessageKeys {

inline constexpr const char* kPlainBody = "plainBody";
inline constexpr const char* kHtmlBody = "htmlBody";
inline constexpr const char* kSubject = "subject";
inline constexpr const char* kFrom = "from";
inline constexpr const char* kAccount = "account";
inline constexpr const char* kBcc = "bcc";
inline constexpr const char* kCc = "cc";
inline constexpr const char* kTo = "to";
/// Followed by the position of the attachment.
inline constexpr const char* kAttachment = "attachment_";

}  // namespace korvane::MessageKeys
