#pragma once

#include <string>
#include <utility>
#include <vector>

namespace korvane {

/// What an application was asked to open, once.
struct ReceivedRequest {
  std::vector<std::string> urls;
  /// Beside them, by name: the activation token in the foreground.
  std::vector<std::pair<std::string, std::string>> platformData;
};

/// The request for people: each URL's message, and what is attached as the file system has it.
std::string receivedText(const ReceivedRequest& request, const std::string& application);

/// The request as one line of JSON, {"urls": [...], "platform_data": {...}}.
std::string receivedJSON(const ReceivedRequest& request);

}  // namespace korvane
