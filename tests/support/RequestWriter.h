#pragma once

#include <string>

#include "host/JSONWriter.h"
#include "host/ShareRequest.h"

namespace korvane::testing {

inline std::string base64(const NSData& data) {
  static constexpr char kDigits[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < data.size(); i += 3) {
    unsigned group = data[i] << 16;
    if (i + 1 < data.size()) group |= data[i + 1] << 8;
    if (i + 2 < data.size()) group |= data[i + 2];
    for (int shift : {18, 12, 6, 0}) text += kDigits[(group >> shift) & 63];
  }
  if (data.size() % 3 == 1) text.replace(text.size() - 2, 2, "==");
  if (data.size() % 3 == 2) text.back() = '=';
  return text;
}

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
      return write("imageData", base64(image.data));
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
