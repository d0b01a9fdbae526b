// Shares a page and files by mail: a request in JSON on a pipe, an outcome in JSON back. Needs none
// of the libraries here; nlohmann/json writes and reads the JSON.
//
// Usage: share TITLE URL [FILE]...

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

extern char** environ;

namespace {

using Json = nlohmann::json;

/// Runs korvane-share with the text on its standard input; gives what it writes. It reads all
/// before it writes, so that one may be done after the other.
std::string run(std::string_view input) {
  int in[2];
  int out[2];
  if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  std::array<const char*, 5> arguments{"korvane-share", "--json", "--request", "-", nullptr};
  pid_t process = 0;
  const int failure = posix_spawnp(&process, arguments[0], &actions, nullptr,
                                   const_cast<char**>(arguments.data()), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(in[0]);
  close(out[1]);
  if (failure != 0) throw std::runtime_error("korvane-share cannot be started");

  for (ssize_t written = 0; !input.empty();
       input.remove_prefix(static_cast<std::size_t>(written))) {
    written = write(in[1], input.data(), input.size());
    if (written < 0) break;  // it has ended early, and its outcome says why
  }
  close(in[1]);
  std::string output;
  std::array<char, 4096> piece{};
  for (ssize_t size = 0; (size = read(out[0], piece.data(), piece.size())) > 0;) {
    output.append(piece.data(), static_cast<std::size_t>(size));
  }
  close(out[0]);
  waitpid(process, nullptr, 0);
  return output;
}

/// Names are bytes: what a URL does not hold as it stands is escaped.
std::string fileURL(const std::filesystem::path& path) {
  static constexpr std::string_view kDigits = "0123456789ABCDEF";
  static constexpr std::string_view kPlain = "/-_.~";
  std::string url = "file://";
  for (const char c : std::filesystem::absolute(path).string()) {
    const auto byte = static_cast<unsigned char>(c);
    const bool isPlain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
                         (c >= 'a' && c <= 'z') || kPlain.find(c) != kPlain.npos;
    url += isPlain ? std::string(1, c) : std::string{'%', kDigits[byte / 16], kDigits[byte % 16]};
  }
  return url;
}

}  // namespace

int main(int argc, char* argv[]) try {
  if (argc < 3) throw std::runtime_error("usage: share TITLE URL [FILE]...");
  std::signal(SIGPIPE, SIG_IGN);
  Json attachments = Json::array();
  attachments.push_back({{"url", argv[2]}});
  for (int i = 3; i < argc; ++i) attachments.push_back({{"url", fileURL(argv[i])}});
  Json item = {{"title", argv[1]}, {"attachments", attachments}};
  const Json outcome = Json::parse(run(Json{{"items", Json::array({item})}}.dump()));
  std::cout << outcome.at("status").get<std::string>() << "\n";
  for (const Json& thing : outcome.at("missing")) {
    std::cout << thing.at("item").get<std::string>() << ": "
              << thing.at("reason").get<std::string>() << "\n";
  }
  return outcome.at("status") == "opened" ? 0 : 1;
} catch (const std::exception& error) {
  std::cerr << "share: " << error.what() << "\n";
  return 2;
}
