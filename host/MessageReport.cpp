#include "host/MessageReport.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

#include "host/JSONWriter.h"
#include "model/detail/MessageKeys.h"
#include "platform/detail/Translation.h"
#include "text/PrintableText.h"
#include "text/UTF8.h"

namespace korvane {
namespace {

struct Attachment {
  std::string path;
  bool exists = false;
  bool isFolder = false;
  std::optional<std::uintmax_t> size;  // of a file
};

/// What is at an attachment's path. Links are followed, as a mail client that reads it would.
Attachment inspect(const Value& element) {
  Attachment attachment;
  attachment.path =
      element.isURL() ? element.url().fileSystemRepresentation() : element.description();
  // The file system would take a path only up to its NUL.
  if (attachment.path.find('\0') != std::string::npos) return attachment;
  std::error_code error;
  const std::filesystem::path path(attachment.path);
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  attachment.exists = std::filesystem::exists(status);
  attachment.isFolder = std::filesystem::is_directory(status);
  if (std::filesystem::is_regular_file(status)) {
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (!error) attachment.size = size;
  }
  return attachment;
}

std::vector<Attachment> inspectAttachments(const ExtensionMessage& message) {
  std::vector<Attachment> attachments;
  for (const Value& element : message.attachments().value_or(List())) {
    attachments.push_back(inspect(element));
  }
  return attachments;
}

std::optional<std::string> textOf(const Value& value) {
  if (value.isAbsent()) return std::nullopt;
  return value.description();
}

struct Field {
  std::string label;     // in text
  std::string_view key;  // in JSON
  std::optional<std::string> text;
};

std::vector<Field> headerFields(const ExtensionMessage& message) {
  return {{translated("Subject:"), MessageKeys::kSubject, textOf(message.subject())},
          {translated("From:"), MessageKeys::kFrom, textOf(message.from())},
          {translated("Account:"), MessageKeys::kAccount, textOf(message.account())},
          {translated("To:"), MessageKeys::kTo, message.toString()},
          {translated("Cc:"), MessageKeys::kCc, message.ccString()},
          {translated("Bcc:"), MessageKeys::kBcc, message.bccString()}};
}

void appendBody(std::string& text, std::string_view label, const std::string& body) {
  if (body.empty()) return;
  text += '\n';
  text += label;
  text += '\n';
  text += printableText(body, LineBreaks::keep);
  if (body.back() != '\n') text += '\n';
}

std::string kindOf(const Attachment& attachment) {
  if (!attachment.exists) return translated("missing");
  if (attachment.size) return translatedCount("{0} byte", "{0} bytes", *attachment.size);
  return attachment.isFolder ? translated("folder") : translated("not a file");
}

}  // namespace

std::string messageText(const ExtensionMessage& message) {
  const std::vector<Field> fields = headerFields(message);
  const std::string attachmentsLabel = translated("Attachments:");
  std::size_t column = columnsOf(attachmentsLabel);
  for (const Field& field : fields) column = std::max(column, columnsOf(field.label));
  std::string text;
  const auto appendLine = [&](std::string_view label, std::string_view content) {
    text += label;
    text.append(column + 1 - columnsOf(label), ' ');
    text += content;
    text += '\n';
  };
  for (const Field& field : fields) {
    appendLine(field.label, printableText(field.text.value_or("-"), LineBreaks::show));
  }
  const std::vector<Attachment> attachments = inspectAttachments(message);
  appendLine(attachmentsLabel, attachments.empty() ? "-" : std::to_string(attachments.size()));
  for (const Attachment& attachment : attachments) {
    text +=
        "  " + printableText(attachment.path, LineBreaks::show) + " (" + kindOf(attachment) + ")\n";
  }
  appendBody(text, translated("Plain body:"), message.plainBody().value_or(std::string()));
  appendBody(text, translated("HTML body:"), message.htmlBody().value_or(std::string()));
  return text;
}

std::string messageJSON(const ExtensionMessage& message) {
  return outputOf([&](Output& output) {
    JSONWriter json(output);
    json.beginObject();
    for (const Field& field : headerFields(message)) json.key(field.key).textOrNull(field.text);
    json.key(MessageKeys::kPlainBody).textOrNull(message.plainBody());
    json.key(MessageKeys::kHtmlBody).textOrNull(message.htmlBody());
    json.key("attachments").beginList();
    for (const Attachment& attachment : inspectAttachments(message)) {
      json.beginObject().key("path").text(attachment.path);
      json.key("exists").boolean(attachment.exists).key("size");
      if (attachment.size) {
        json.number(static_cast<std::int64_t>(*attachment.size));
      } else {
        json.null();
      }
      json.endObject();
    }
    json.endList().endObject();
    output << "\n";
  });
}

}  // namespace korvane
