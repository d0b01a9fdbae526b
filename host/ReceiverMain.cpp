#include "host/ReceiverMain.h"

#include <gio/gio.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "extension/ConstVars.h"
#include "host/InputError.h"
#include "host/Program.h"
#include "host/ReceivedReport.h"
#include "linux/detail/GLibPointer.h"
#include "linux/detail/SessionBus.h"
#include "model/ExtensionMessage.h"
#include "platform/NSURL.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

constexpr std::string_view kProgram = "korvane-receiver";

struct Options {
  std::string name;
  std::string output;
  std::vector<std::string> urls;
  unsigned idle = 0;
  bool json = false;
  bool once = false;
  bool refuse = false;
  bool crash = false;
  bool silent = false;
};

/// Reads a byte of each file that a URL attaches: the next share leaves them alone until then.
void takeAttachments(const std::string& text) {
  namespace fs = std::filesystem;
  const auto url = NSURL::URLWithString(text);
  if (!url) return;
  for (const Value& attachment :
       ExtensionMessage::ExtensionMessageWithUrl(*url)->attachments().value_or(List())) {
    std::error_code error;
    const fs::path path = attachment.description();
    std::vector<fs::path> files{path};
    if (fs::is_directory(path, error)) {
      for (const auto& entry : fs::recursive_directory_iterator(path, error)) {
        files.push_back(entry.path());
      }
    }
    for (const fs::path& file : files) std::ifstream(file, std::ios::binary).get();
  }
}

bool write(const ReceivedRequest& request, const Options& options) {
  for (const std::string& url : request.urls) takeAttachments(url);
  const std::string text =
      options.json ? receivedJSON(request) : receivedText(request, options.name);
  if (options.output.empty()) {
    writeOut(text);
    return true;
  }
  std::ofstream file(options.output, std::ios::binary | std::ios::app);
  file << text << std::flush;
  return file.good();
}

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

ReceivedRequest requestOf(GVariant* parameters) {
  ReceivedRequest request;
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
  if (service.options.silent) {
    g_object_unref(invocation);
    return;
  }
  if (service.options.refuse) {
    g_dbus_method_invocation_return_dbus_error(invocation, "it.drelk.korvane.Error.Refused",
                                               translationOf("told to refuse"));
  } else if (write(requestOf(parameters), service.options)) {
    g_dbus_method_invocation_return_value(invocation, nullptr);
  } else {
    g_dbus_method_invocation_return_dbus_error(
        invocation, "it.drelk.korvane.Error.Output",
        translationOf("the request could not be written down"));
  }
  if (service.options.once) {
    g_dbus_connection_flush_sync(connection, nullptr, nullptr);
    g_main_loop_quit(service.loop);
  }
}

int serve(const Options& options) {
  if (!g_dbus_is_name(options.name.c_str()) || g_dbus_is_unique_name(options.name.c_str())) {
    throw InputError(translated("\"{0}\" is not a bus name", options.name));
  }
  std::string reason;
  const auto connection = connectService(reason);
  if (!connection) return fail(kProgram, kFailed, reason);
  GDBusConnection* const bus = connection.get();

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
        fail(kProgram, kDone, translated("serving {0}", acquired));
      },
      [](GDBusConnection*, const char* lost, gpointer data) {
        static_cast<Service*>(data)->status =
            fail(kProgram, kFailed, translated("{0} is another program's already", lost));
        g_main_loop_quit(static_cast<Service*>(data)->loop);
      },
      &service, nullptr);
  service.restartIdle();
  g_main_loop_run(service.loop);
  g_bus_unown_name(name);
  g_dbus_node_info_unref(node);
  g_main_loop_unref(service.loop);
  return service.status;
}

int takeFromCommandLine(const Options& options) {
  ReceivedRequest request{options.urls, {}};
  if (const char* token = std::getenv("XDG_ACTIVATION_TOKEN")) {
    request.platformData.emplace_back("activation-token", token);
  }
  if (const char* id = std::getenv("DESKTOP_STARTUP_ID")) {
    request.platformData.emplace_back("desktop-startup-id", id);
  }
  if (options.refuse || options.crash) return kFailed;
  return write(request, options) ? kDone : kFailed;
}

}  // namespace

int ReceiverMain(int argc, char* argv[]) {
  Options options;
  const CommandLine line{
      .program = kProgram,
      .usage = {translatable("[OPTION]...          serve a name on the session bus"),
                translatable("[OPTION]... URL...   take the URLs from the command line and end")},
      .before = "\n",
      .options =
          {
              {"--name", translatable("NAME"),
               translatable("the bus name to serve (default it.drelk.korvane)"),
               once("--name", options.name)},
              {"--output", translatable("FILE"),
               translatable("append what was received to FILE (default: standard output)"),
               once("--output", options.output)},
              {"--json", "",
               translatable("one line of JSON for each request, {\"urls\": [...],\n"
                            "\"platform_data\": {...}}, instead of a report"),
               flag(options.json)},
              {"--once", "", translatable("end after the first request"), flag(options.once)},
              {"--idle", translatable("SECONDS"),
               translatable("end when no request comes for as long"),
               [&](const std::string& text) {
                 const auto [end, error] =
                     std::from_chars(text.data(), text.data() + text.size(), options.idle);
                 if (error != std::errc() || end != text.data() + text.size()) {
                   throw InputError(translated("--idle needs a number of seconds"));
                 }
               }},
              {"--refuse", "", translatable("answer every request with an error"),
               flag(options.refuse)},
              {"--silent", "", translatable("never answer a request"), flag(options.silent)},
              {"--crash", "", translatable("end without an answer at the first request"),
               flag(options.crash)},
          },
      .after = {},
      .takeOther = [&](std::string url) { options.urls.push_back(std::move(url)); },
  };
  return runProgram(line, argc, argv, [&] {
    if (options.name.empty()) options.name = it_drelk_korvane;
    return options.urls.empty() ? serve(options) : takeFromCommandLine(options);
  });
}

}  // namespace korvane
