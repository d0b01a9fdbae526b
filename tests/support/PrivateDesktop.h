#pragma once

// A desktop of a test's own: folders for desktop entries and services, an environment, programs and
// a session bus run in it. Nothing of the user's desktop is seen or touched.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace korvane::testing {

inline std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

inline void writeFile(const std::filesystem::path& path, std::string_view content) {
  std::ofstream file(path, std::ios::binary);
  file << content;
  if (!file.flush()) throw std::runtime_error("cannot write " + path.string());
}

/// A program that runs; ended (SIGTERM) and waited for with the object.
class RunningProgram {
 public:
  /// The program's output goes to the descriptors; -1 means /dev/null.
  RunningProgram(const std::vector<std::string>& arguments,
                 const std::vector<std::string>& environment, int output, int errors) {
    std::vector<char*> argv, envp;
    for (const std::string& text : arguments) argv.push_back(const_cast<char*>(text.c_str()));
    for (const std::string& text : environment) envp.push_back(const_cast<char*>(text.c_str()));
    argv.push_back(nullptr);
    envp.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    for (const auto& [descriptor, as] : {std::pair{output, 1}, std::pair{errors, 2}}) {
      if (descriptor >= 0) {
        posix_spawn_file_actions_adddup2(&actions, descriptor, as);
      } else {
        posix_spawn_file_actions_addopen(&actions, as, "/dev/null", O_WRONLY, 0);
      }
    }
    const int error = posix_spawnp(&pid_, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (error) throw std::system_error(error, std::generic_category(), arguments.front());
  }
  ~RunningProgram() {
    if (pid_ <= 0) return;
    kill(pid_, SIGTERM);
    wait();
  }
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  void signal(int number) const { kill(pid_, number); }

  /// Waits for its end. The exit status, or minus the number of the signal that ended it.
  int wait() {
    int status = 0;
    waitpid(std::exchange(pid_, 0), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

 private:
  pid_t pid_ = 0;
};

/// Both ends of a pipe, closed with the object and in every program.
struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("pipe2");
    read = ends[0];
    write = ends[1];
  }
  ~Pipe() {
    close(read);
    closeWriting();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  void closeWriting() {
    if (write >= 0) close(std::exchange(write, -1));
  }
  /// Waits for the next line; what there is when the writers have gone.
  std::string readLine() const {
    std::string line;
    for (char c = 0; ::read(read, &c, 1) == 1 && c != '\n';) line += c;
    return line;
  }
  int read = -1;
  int write = -1;
};

struct Finished {
  int status = 0;
  std::string output;
  std::string errors;
};

/// A session bus that takes connections and says nothing.
class SilentBus {
 public:
  explicit SilentBus(const std::filesystem::path& path)
      : address_("unix:path=" + path.string()),
        socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un place{.sun_family = AF_UNIX, .sun_path = {}};
    const std::string text = path;
    if (text.size() >= sizeof place.sun_path) throw std::runtime_error("a socket's path is long");
    text.copy(place.sun_path, text.size());
    if (::bind(socket_, reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0 ||
        ::listen(socket_, 5) != 0) {
      throw std::runtime_error("a socket cannot be made at " + text);
    }
  }
  ~SilentBus() { close(socket_); }
  SilentBus(const SilentBus&) = delete;
  SilentBus& operator=(const SilentBus&) = delete;

  const std::string& address() const { return address_; }

 private:
  const std::string address_;
  const int socket_;
};

class PrivateDesktop {
 public:
  PrivateDesktop() {
    std::string name = std::filesystem::temp_directory_path() / "korvane-XXXXXX";
    if (!mkdtemp(name.data())) throw std::runtime_error("mkdtemp");
    folder = name;
    std::filesystem::create_directories(folder / "data/applications");
    std::filesystem::create_directories(folder / "data/dbus-1/services");
    std::filesystem::create_directories(folder / "run");
    std::filesystem::permissions(folder / "run", std::filesystem::perms::owner_all);
    set("HOME", folder);
    set("XDG_DATA_HOME", folder / "data");
    set("XDG_DATA_DIRS", folder / "system");
    set("XDG_RUNTIME_DIR", folder / "run");
    set("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (folder / "no-bus").string());
    for (const char* variable : {"PATH", "ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS",
                                 "UBSAN_OPTIONS", "LLVM_PROFILE_FILE"}) {
      if (const char* value = std::getenv(variable)) set(variable, value);
    }
  }
  ~PrivateDesktop() {
    stopBus();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }
  PrivateDesktop(const PrivateDesktop&) = delete;
  PrivateDesktop& operator=(const PrivateDesktop&) = delete;

  /// A variable of the environment for everything that is started from now on.
  void set(const std::string& name, const std::string& value) {
    unset(name);
    environment.push_back(name + "=" + value);
  }
  void unset(const std::string& name) {
    std::erase_if(environment, [&](const std::string& v) { return v.starts_with(name + "="); });
  }

  std::string variable(const std::string& name) const {
    for (const std::string& one : environment) {
      if (one.starts_with(name + "=")) return one.substr(name.size() + 1);
    }
    return {};
  }

  /// Lets the bus start the application of a name. Before startBus().
  void addService(const std::string& identifier, const std::string& exec) {
    writeFile(folder / "data/dbus-1/services" / (identifier + ".service"),
              "[D-BUS Service]\nName=" + identifier + "\nExec=" + exec + "\n");
  }
  /// Installs an application; `more` is further lines of its entry.
  void addEntry(const std::string& identifier, const std::string& exec,
                const std::string& more = "") {
    writeFile(folder / "data/applications" / (identifier + ".desktop"),
              "[Desktop Entry]\nType=Application\nName=Test\n" +
                  (exec.empty() ? "" : "Exec=" + exec + "\n") + more);
  }

  /// Starts a session bus with the limits of the system's session buses, or of a configuration
  /// file of its own, and waits until it listens.
  void startBus(const std::string& configuration = "") {
    const Pipe address;
    std::vector<std::string> arguments{"dbus-daemon", "--nofork", "--nopidfile",
                                       "--print-address=1"};
    if (configuration.empty()) {
      arguments.emplace_back("--session");
    } else {
      arguments.push_back("--config-file=" + configuration);
    }
    arguments.push_back("--address=unix:path=" + (folder / "bus").string());
    bus_ = std::make_unique<RunningProgram>(arguments, environment, address.write, -1);
    const_cast<Pipe&>(address).closeWriting();
    const std::string line = address.readLine();
    if (line.empty()) throw std::runtime_error("dbus-daemon does not start");
    set("DBUS_SESSION_BUS_ADDRESS", line);
  }
  void stopBus() { bus_.reset(); }

  /// Runs a program to its end.
  Finished run(const std::vector<std::string>& arguments) const {
    const auto open = [this](const char* name) {
      return ::open((folder / name).c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0600);
    };
    const int output = open("output"), errors = open("errors");
    Finished finished;
    finished.status = RunningProgram(arguments, environment, output, errors).wait();
    close(output);
    close(errors);
    finished.output = readFile(folder / "output");
    finished.errors = readFile(folder / "errors");
    return finished;
  }

  std::filesystem::path folder;
  std::vector<std::string> environment;

 private:
  std::unique_ptr<RunningProgram> bus_;
};

}  // namespace korvane::testing
