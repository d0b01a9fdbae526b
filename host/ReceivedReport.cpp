#include "host/ReceivedReport.h"

#include <gio/gio.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>

#include "formats/Signatures.h"
#include "host/JSONWriter.h"
#include "host/MessageReport.h"
#include "linux/detail/GLibPointer.h"
#include "model/ExtensionMessage.h"
#include "platform/NSURL.h"
#include "platform/detail/Translation.h"
#include "text/PrintableText.h"

namespace korvane {
namespace {

std::string contentType(const std::string& path) {
  std::array<char, 4096> start{};
  std::ifstream file(path, std::ios::binary);
  file.read(start.data(), start.size());
  const std::string bytes(start.data(), static_cast<std::size_t>(file.gcount()));
  // Known without a database of types, which a small system does not have.
  const DataFormat format = formatBySignature(bytes);
  if (format != DataFormat::unknown) return std::string(mimeType(format));
  const GPointer<char> guess(g_content_type_guess(
      path.c_str(), reinterpret_cast<const guchar*>(bytes.data()), bytes.size(), nullptr));
  return guess ? guess.get() : "application/octet-stream";
}

std::string describeFile(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    const std::filesystem::recursive_directory_iterator entries(path, error);
    return translatedCount("folder of {0}", "folder of {0}",
                           static_cast<unsigned long>(std::distance(begin(entries), end(entries))));
  }
  const auto size = std::filesystem::file_size(path, error);
  if (error) return translated("cannot be read: {0}", error.message());
  return translatedCount("{0} byte, {1}", "{0} bytes, {1}", size, contentType(path));
}

/// A text with every line under the margin.
std::string indented(const std::string& text) {
  std::istringstream lines(text);
  std::string result;
  for (std::string line; std::getline(lines, line);) {
    result += (line.empty() ? line : "  " + line) + '\n';
  }
  return result;
}

void reportURL(std::ostream& to, const std::string& text) {
  const auto url = NSURL::URLWithString(text);
  if (!url) {
    to << "  " << translatedCount("not a URL, {0} byte", "not a URL, {0} bytes", text.size())
       << "\n";
    return;
  }
  to << "  "
     << translatedCount("{1}, {0} byte", "{1}, {0} bytes", text.size(),
                        url->scheme().value_or("") + "://" + url->host().value_or(""))
     << "\n";
  const auto message = ExtensionMessage::ExtensionMessageWithUrl(*url);
  to << indented(messageText(*message));
  const List attachments = message->attachments().value_or(List());
  if (!attachments.empty()) to << "\n  " << translated("What is attached:") << "\n";
  for (const Value& attachment : attachments) {
    const std::string path = attachment.description();
    to << "    " << printableText(std::filesystem::path(path).filename().string(), LineBreaks::show)
       << ": " << describeFile(path) << '\n';
  }
}

}  // namespace

std::string receivedText(const ReceivedRequest& request, const std::string& application) {
  std::ostringstream to;
  to << translatedCount("{1} was asked to open {0} URL, {2}", "{1} was asked to open {0} URLs, {2}",
                        request.urls.size(), application,
                        request.platformData.empty()
                            ? translated("in the background (no activation token)")
                            : translated("in the foreground (with an activation token)"))
     << "\n";
  for (const std::string& url : request.urls) reportURL(to, url);
  return to.str();
}

std::string receivedJSON(const ReceivedRequest& request) {
  return outputOf([&](Output& output) {
    JSONWriter json(output);
    json.beginObject().key("urls").beginList();
    for (const std::string& url : request.urls) json.text(url);
    json.endList().key("platform_data").beginObject();
    for (const auto& [key, value] : request.platformData) json.key(key).text(value);
    json.endObject().endObject();
    output << "\n";
  });
}

}  // namespace korvane
