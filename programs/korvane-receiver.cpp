// korvane-receiver stands in for the mail client: it owns the client's name on the session bus, or
// is run by its desktop entry, and writes down what it was asked to open.

#include <gio/gio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "host/MessageReport.h"
#include "host/PrintableText.h"
#include "linux/detail/GLibPointer.h"
#include "model/ExtensionMessage.h"
#include "platform/NSURL.h"

namespace {

using namespace korvane;

constexpr const char* kHelp =
    R"(Usage: korvane-receiver [OPTION]...          serve a name on the session bus
       korvane-receiver [OPTION]... URL...     take the URLs from the command line and end
  --name NAME      the bus name to serve (default it.drelk.korvane)
  --output FILE    append what was received to FILE (default: standard output)
  --json           one line of JSON for each request, {"urls": [...], "platform_data": {...}},
                   instead of a report
  --once           end after the first request
  --idle SECONDS   end when no request comes for as long
  --refuse         answer every request with an error
  --crash          end without an answer at the first request
)";

struct Options {
  std::string name = "it.drelk.korvane";
  std::string output;
  std::vector<std::string> urls;
  unsigned idle = 0;
  bool json = false;
  bool once = false;
  bool refuse = false;
  bool crash = false;
};

/// One call of Open, or one run with URLs.
struct Request {
  std::vector<std::string> urls;
  std::vector<std::pair<std::string, std::string>> platformData;
};

// The report.

std::string contentType(const std::string& path) {
  std::array<char, 4096> start{};
  std::ifstream file(path, std::ios::binary);
  file.read(start.data(), start.size());
  const std::string bytes(start.data(), static_cast<std::size_t>(file.gcount()));
  // Known without a database of types, which a small system does not have.
  const std::pair<std::string_view, const char*> known[] = {
      {"\x89PNG\r\n\x1a\n", "image/png"}, {"\xff\xd8\xff", "image/jpeg"},
      {"%PDF-", "application/pdf"},       {"GIF8", "image/gif"},
      {"PK\x03\x04", "application/zip"},
  };
  for (const auto& [magic, type] : known) {
    if (bytes.starts_with(magic)) return type;
  }
  const GPointer<char> guess(g_content_type_guess(
      path.c_str(), reinterpret_cast<const guchar*>(bytes.data()), bytes.size(), nullptr));
  return guess ? guess.get() : "application/octet-stream";
}

std::string describeFile(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    const std::filesystem::recursive_directory_iterator entries(path, error);
    return "folder of " + std::to_string(std::distance(begin(entries), end(entries)));
  }
  const auto size = std::filesystem::file_size(path, error);
  if (error) return "cannot be read: " + error.message();
  return std::to_string(size) + " bytes, " + contentType(path);
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

void reportUrl(std::ostream& to, const std::string& text) {
  const auto url = NSURL::URLWithString(text);
  if (!url) {
    to << "  no URL, " << text.size() << " bytes\n";
    return;
  }
  to << "  " << url->scheme().value_or("") << "://" << url->host().value_or("") << ", "
     << text.size() << " bytes\n";
  const auto message = ExtensionMessage::ExtensionMessageWithUrl(*url);
  to << indented(messageText(*message));
  const List attachments = message->attachments().value_or(List());
  if (!attachments.empty()) to << "\n  What is attached:\n";
  for (const Value& attachment : attachments) {
    const std::string path = attachment.description();
    to << "    " << printableText(std::filesystem::path(path).filename().string(), LineBreaks::show)
       << ": " << describeFile(path) << '\n';
  }
}

/// A URI as a JSON string. Sixty megabytes of URL need no look at every character's meaning.
std::string jsonOfUri(const std::string& uri) {
  const auto plain = [](char c) { return c > ' ' && c < 0x7f && c != '"' && c != '\\'; };
  return std::all_of(uri.begin(), uri.end(), plain) ? '"' + uri + '"' : jsonString(uri);
}

std::string jsonLine(const Request& request) {
  std::string line = "{\"urls\": [";
  for (const std::string& url : request.urls) {
    line += (&url == request.urls.data() ? "" : ", ") + jsonOfUri(url);
  }
  line += "], \"platform_data\": {";
  for (const auto& entry : request.platformData) {
    line += (&entry == request.platformData.data() ? "" : ", ") + jsonString(entry.first) + ": " +
            jsonString(entry.second);
  }
  return line + "}}\n";
}

std::string report(const Request& request, const Options& options) {
  if (options.json) return jsonLine(request);
  std::ostringstream to;
  to << options.name << " was asked to open " << request.urls.size()
     << (request.urls.size() == 1 ? " URL, " : " URLs, ")
     << (request.platformData.empty() ? "in the background (no activation token)\n"
                                      : "in the foreground (with an activation token)\n");
  for (const std::string& url : request.urls) reportUrl(to, url);
  return to.str();
}

bool write(const Request& request, const Options& options) {
  const std::string text = report(request, options);
  if (options.output.empty()) {
    std::cout << text << std::flush;
    return std::cout.good();
  }
  std::ofstream file(options.output, std::ios::binary | std::ios::app);
  file << text << std::flush;
  return file.good();
}

// The service.

constexpr const char* kInterface = R"(
<node><interface name="org.freedesktop.Application">
  <method name="Activate"><arg type="a{sv}" direction="in"/></method>
  <method name="Open"><arg type="as" direction="in"/><arg type="a{sv}" direction="in"/></method>
  <method name="ActivateAction">
    <arg type="s" direction="in"/><arg type="av" direction="in"/><arg type="a{sv}" direction="in"/>
  </method>
</interface></node>)";

struct Service {
  Options options;
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  guint idle = 0;
  int status = EXIT_SUCCESS;

  void restartIdle() {
    if (idle) g_source_remove(idle);
    if (!options.idle) return;
    idle = g_timeout_add_seconds(
        options.idle,
        [](gpointer service) -> gboolean {
          static_cast<Service*>(service)->idle = 0;
          g_main_loop_quit(static_cast<Service*>(service)->loop);
          return G_SOURCE_REMOVE;
        },
        this);
  }
};

Request requestOf(GVariant* parameters) {
  Request request;
  GVariantIter* uris = nullptr;
  GVariantIter* platformData = nullptr;
  g_variant_get(parameters, "(asa{sv})", &uris, &platformData);
  const char* uri = nullptr;
  while (g_variant_iter_next(uris, "&s", &uri)) request.urls.emplace_back(uri);
  const char* key = nullptr;
  GVariant* value = nullptr;
  while (g_variant_iter_loop(platformData, "{&sv}", &key, &value)) {
    const GPointer<char> text(g_variant_is_of_type(value, G_VARIANT_TYPE_STRING)
                                  ? g_variant_dup_string(value, nullptr)
                                  : g_variant_print(value, FALSE));
    request.platformData.emplace_back(key, text.get());
  }
  g_variant_iter_free(uris);
  g_variant_iter_free(platformData);
  return request;
}

void onCall(GDBusConnection* connection, const char*, const char*, const char*, const char* method,
            GVariant* parameters, GDBusMethodInvocation* invocation, gpointer data) {
  auto& service = *static_cast<Service*>(data);
  service.restartIdle();
  if (std::string_view(method) != "Open") {
    g_dbus_method_invocation_return_value(invocation, nullptr);
    return;
  }
  if (service.options.crash) _exit(3);
  if (service.options.refuse) {
    g_dbus_method_invocation_return_dbus_error(invocation, "it.drelk.korvane.Error.Refused",
                                               "told to refuse");
  } else if (write(requestOf(parameters), service.options)) {
    g_dbus_method_invocation_return_value(invocation, nullptr);
  } else {
    g_dbus_method_invocation_return_dbus_error(invocation, "it.drelk.korvane.Error.Output",
                                               "the request could not be written down");
  }
  if (service.options.once) {
    g_dbus_connection_flush_sync(connection, nullptr, nullptr);
    g_main_loop_quit(service.loop);
  }
}

int serve(const Options& options) {
  if (!g_dbus_is_name(options.name.c_str()) || g_dbus_is_unique_name(options.name.c_str())) {
    std::cerr << "korvane-receiver: \"" << options.name << "\" is no bus name\n";
    return 2;
  }
  GErrorSlot error;
  GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, error.out());
  if (!bus) {
    std::cerr << "korvane-receiver: no session bus: " << error.message() << '\n';
    return 1;
  }

  Service service;
  service.options = options;
  std::string path = "/" + options.name;
  for (char& c : path) c = c == '.' ? '/' : c == '-' ? '_' : c;
  GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(kInterface, nullptr);
  const GDBusInterfaceVTable table{onCall, nullptr, nullptr, {}};
  g_dbus_connection_register_object(bus, path.c_str(), node->interfaces[0], &table, &service,
                                    nullptr, nullptr);
  // The name comes last: once it is owned, calls are answered.
  const guint name = g_bus_own_name_on_connection(
      bus, options.name.c_str(), G_BUS_NAME_OWNER_FLAGS_DO_NOT_QUEUE,
      [](GDBusConnection*, const char* acquired, gpointer) {
        std::cerr << "korvane-receiver: serving " << acquired << std::endl;
      },
      [](GDBusConnection*, const char* lost, gpointer data) {
        std::cerr << "korvane-receiver: " << lost << " is another program's\n";
        static_cast<Service*>(data)->status = 1;
        g_main_loop_quit(static_cast<Service*>(data)->loop);
      },
      &service, nullptr);
  service.restartIdle();
  g_main_loop_run(service.loop);
  g_bus_unown_name(name);
  g_dbus_node_info_unref(node);
  g_main_loop_unref(service.loop);
  g_object_unref(bus);
  return service.status;
}

int takeFromCommandLine(const Options& options) {
  Request request{options.urls, {}};
  if (const char* token = std::getenv("XDG_ACTIVATION_TOKEN")) {
    request.platformData.emplace_back("activation-token", token);
  }
  if (const char* id = std::getenv("DESKTOP_STARTUP_ID")) {
    request.platformData.emplace_back("desktop-startup-id", id);
  }
  if (options.refuse || options.crash) return 1;
  return write(request, options) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    const auto value = [&]() -> std::string {
      if (++i < arguments.size()) return arguments[i];
      std::cerr << "korvane-receiver: " << argument << " needs a value\n";
      std::exit(2);
    };
    if (argument == "--help") {
      std::cout << kHelp;
      return 0;
    }
    if (argument == "--name") {
      options.name = value();
    } else if (argument == "--output") {
      options.output = value();
    } else if (argument == "--idle") {
      options.idle = static_cast<unsigned>(std::strtoul(value().c_str(), nullptr, 10));
    } else if (argument == "--json") {
      options.json = true;
    } else if (argument == "--once") {
      options.once = true;
    } else if (argument == "--refuse") {
      options.refuse = true;
    } else if (argument == "--crash") {
      options.crash = true;
    } else if (argument.starts_with("--")) {
      std::cerr << "korvane-receiver: no option " << argument << "\n" << kHelp;
      return 2;
    } else {
      options.urls.push_back(argument);
    }
  }
  return options.urls.empty() ? serve(options) : takeFromCommandLine(options);
}
