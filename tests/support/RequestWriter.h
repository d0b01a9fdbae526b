#pragma once

#include <string>

#include "host/JSONWriter.h"
#include "host/ShareRequest.h"
#include "text/Base64.h"

namespace korvane::testing {

/// The JSON text of a request; reading it gives the request again, where each item has at most one
/// text before at most one HTML text, as readShareRequest makes them.
inline std::string writeShareRequest(const ShareRequest& request) {
  const auto field = [](const char* key, const std::string& value) {
    return jsonString(key) + ": " + jsonString(value);
  };
  struct Writer {
    decltype(field)& write;
    std::string operator()(const ShareRequest::Link& link) const { return write("url", link.url); }
    std::string operator()(const ShareRequest::File& file) const {
      return write("file", file.path);
    }
    std::string operator()(const ShareRequest::ImageFile& image) const {
      return write("image", image.path);
    }
    std::string operator()(const ShareRequest::ImageData& image) const {
      const auto* bytes = reinterpret_cast<const char*>(image.data.data());
      return write("imageData", encodeBase64({bytes, image.data.size()}));
    }
    std::string operator()(const ShareRequest::TypedText& typed) const {
      return write("type", typed.type) + ", " + write("text", typed.text);
    }
  };
  std::string json = "{\"items\": [";
  for (const ShareRequest::Item& item : request.items) {
    json += &item == &request.items.front() ? "{" : ", {";
    for (const ShareRequest::Content& content : item.contents) {
      const bool isText = content.kind == ShareRequest::Content::Kind::text;
      json += field(isText ? "text" : "html", content.bytes) + ", ";
      if (!content.baseUrl.empty()) json += field("baseUrl", content.baseUrl) + ", ";
    }
    if (item.title) json += field("title", *item.title) + ", ";
    json += "\"attachments\": [";
    for (const ShareRequest::Attachment& attachment : item.attachments) {
      json += &attachment == &item.attachments.front() ? "{" : ", {";
      json += std::visit(Writer{field}, attachment) + '}';
    }
    json += "]}";
  }
  return json + "]}\n";
}

}  // namespace korvane::testing
