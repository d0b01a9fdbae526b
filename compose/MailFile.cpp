#include "compose/MailFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "compose/GMimeLibrary.h"
#include "compose/MailHeaders.h"
#include "linux/detail/FileDescriptor.h"
#include "linux/detail/FileTree.h"
#include "linux/detail/GLibPointer.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

constexpr const char* kCharset = "UTF-8";
constexpr std::size_t kTypeSample = 4096;

struct Free {
  void operator()(GMimeFormatOptions* options) const { g_mime_format_options_free(options); }
  void operator()(GDateTime* time) const { g_date_time_unref(time); }
};

GObjectPointer<GMimePart> textPart(const char* subtype, const std::string& text) {
  GObjectPointer<GMimePart> part(g_mime_part_new_with_type("text", subtype));
  g_mime_object_set_content_type_parameter(GMIME_OBJECT(part.get()), "charset", kCharset);
  const GObjectPointer<GMimeStream> stream(
      g_mime_stream_mem_new_with_buffer(text.data(), text.size()));
  const GObjectPointer<GMimeDataWrapper> content(
      g_mime_data_wrapper_new_with_stream(stream.get(), GMIME_CONTENT_ENCODING_DEFAULT));
  g_mime_part_set_content(part.get(), content.get());
  g_mime_part_set_content_encoding(part.get(), GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE);
  return part;
}

GObjectPointer<GMimeMultipart> alternative(const MessageBody& body) {
  GObjectPointer<GMimeMultipart> both(g_mime_multipart_new_with_subtype("alternative"));
  for (const auto& [subtype, text] : {std::pair{"plain", &body.plain}, {"html", &body.html}}) {
    g_mime_multipart_add(both.get(), GMIME_OBJECT(textPart(subtype, *text).get()));
  }
  return both;
}

/// Sets a header to a value that is written as it is.
void setHeader(GMimeObject* object, const char* name, const std::string& value) {
  if (value.empty()) return;
  GMimeHeaderList* const headers = g_mime_object_get_header_list(object);
  if (!g_mime_header_list_contains(headers, name)) {
    g_mime_header_list_append(headers, name, "", nullptr);
  }
  g_mime_header_set_raw_value(g_mime_header_list_get_header(headers, name),
                              (" " + value + "\n").c_str());
}

GObjectPointer<GMimePart> attachmentPart(const TakenFile& attachment, LeftOutList& leftOut) {
  FileDescriptor file(::open(attachment.path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (!file) {
    leftOut.push_back({attachment.name, translated("is not attached: {0}", std::strerror(errno))});
    return nullptr;
  }
  const std::string type = mimeTypeOf(attachment.name, file.get());
  const std::size_t slash = type.find('/');
  GObjectPointer<GMimePart> part(
      g_mime_part_new_with_type(type.substr(0, slash).c_str(), type.substr(slash + 1).c_str()));
  GMimeObject* const object = GMIME_OBJECT(part.get());
  setHeader(object, "Content-Type", type + headerParameter("name", attachment.name));
  setHeader(object, "Content-Disposition",
            "attachment" + headerParameter("filename", attachment.name));

  const GObjectPointer<GMimeStream> stream(g_mime_stream_fs_new(file.release()));
  const GObjectPointer<GMimeDataWrapper> content(
      g_mime_data_wrapper_new_with_stream(stream.get(), GMIME_CONTENT_ENCODING_DEFAULT));
  g_mime_part_set_content(part.get(), content.get());
  g_mime_part_set_content_encoding(part.get(), GMIME_CONTENT_ENCODING_BASE64);
  return part;
}

GObjectPointer<GMimeMessage> messageOf(const MailDraft& draft, MailFileKind kind,
                                       LeftOutList& leftOut) {
  GObjectPointer<GMimeMessage> message(g_mime_message_new(TRUE));
  if (kind == MailFileKind::unsent) {
    g_mime_object_set_header(GMIME_OBJECT(message.get()), "X-Unsent", "1", nullptr);
  }
  const std::unique_ptr<GDateTime, Free> now(g_date_time_new_now_local());
  g_mime_message_set_date(message.get(), now.get());
  GMimeObject* const object = GMIME_OBJECT(message.get());
  setHeader(object, "Subject", headerText(draft.subject));
  setHeader(object, "To", headerMailboxes(draft.to));
  setHeader(object, "Cc", headerMailboxes(draft.cc));
  setHeader(object, "Bcc", headerMailboxes(draft.bcc));

  const auto body = alternative(draft.body);
  if (draft.attachments.empty()) {
    g_mime_message_set_mime_part(message.get(), GMIME_OBJECT(body.get()));
    return message;
  }
  const GObjectPointer<GMimeMultipart> mixed(g_mime_multipart_new_with_subtype("mixed"));
  g_mime_multipart_add(mixed.get(), GMIME_OBJECT(body.get()));
  for (const TakenFile& attachment : draft.attachments) {
    if (const auto part = attachmentPart(attachment, leftOut)) {
      g_mime_multipart_add(mixed.get(), GMIME_OBJECT(part.get()));
    }
  }
  g_mime_message_set_mime_part(message.get(), GMIME_OBJECT(mixed.get()));
  return message;
}

}  // namespace

std::string mimeTypeOf(const std::string& name, int file) {
  constexpr const char* unknown = "application/octet-stream";
  std::array<guchar, kTypeSample> sample{};
  const ssize_t size = ::pread(file, sample.data(), sample.size(), 0);
  if (size <= 0) return unknown;
  gboolean uncertain = FALSE;
  const GPointer<char> guessed(
      g_content_type_guess(name.c_str(), sample.data(), static_cast<gsize>(size), &uncertain));
  const GPointer<char> mime(guessed ? g_content_type_get_mime_type(guessed.get()) : nullptr);
  std::string type = mime ? mime.get() : unknown;
  const std::size_t slash = type.find('/');
  const bool isType = slash != type.npos && slash > 0 && slash + 1 < type.size() &&
                      std::ranges::all_of(type, [](char c) {
                        return c > ' ' && c < 0x7F && !std::strchr("()<>@,;:\\\"[]?=", c);
                      });
  for (const char* prefix : {"message/", "multipart/", "inode/", "x-content/"}) {
    if (!isType || type.starts_with(prefix)) return unknown;
  }
  return type;
}

void writeMailFile(const MailDraft& draft, MailFileKind kind, int file, LeftOutList& leftOut) {
  startGMime();
  const auto message = messageOf(draft, kind, leftOut);
  const std::unique_ptr<GMimeFormatOptions, Free> format(g_mime_format_options_new());
  g_mime_format_options_set_newline_format(format.get(), kind == MailFileKind::unsent
                                                             ? GMIME_NEWLINE_FORMAT_DOS
                                                             : GMIME_NEWLINE_FORMAT_UNIX);
  const int own = ::fcntl(file, F_DUPFD_CLOEXEC, 0);
  if (own < 0) throw FileFailure{errno, translated("the message")};
  const GObjectPointer<GMimeStream> output(g_mime_stream_fs_new(own));
  const GObjectPointer<GMimeStream> buffered(
      g_mime_stream_buffer_new(output.get(), GMIME_STREAM_BUFFER_BLOCK_WRITE));
  errno = 0;
  if (g_mime_object_write_to_stream(GMIME_OBJECT(message.get()), format.get(), buffered.get()) <
          0 ||
      g_mime_stream_flush(buffered.get()) != 0) {
    throw FileFailure{errno != 0 ? errno : EIO, translated("the message")};
  }
}

}  // namespace korvane
