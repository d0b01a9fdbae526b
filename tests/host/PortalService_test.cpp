// korvane-portal on the bus: called itself, and by the real xdg-desktop-portal.
#include "host/PortalService.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <gio/gunixfdlist.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "linux/detail/GLibPointer.h"
#include "linux/detail/ShareTurn.h"
#include "model/ExtensionMessage.h"
#include "support/FakeNotificationServer.h"
#include "support/Places.h"
#include "tests/support/PrivateDesktop.h"
#include "tests/support/TestPlatform.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

const std::string kProgram = KORVANE_BINARY_DIR "/bin/korvane-portal";
const fs::path kDesktopPortal = "/usr/libexec/xdg-desktop-portal";
constexpr int kPatience = 120;  // seconds, for a busy machine

class Portal : public ::testing::Test {
 protected:
  Portal() {
    desktop.set("LC_ALL", "C.UTF-8");
    desktop.set("XDG_CURRENT_DESKTOP", "Test");
    fs::create_directory(files);
  }

  /// The mail client and the backend, which the bus starts, and the errors of that.
  void start(bool withMailClient = true, const std::string& busConfiguration = "") {
    if (withMailClient) {
      desktop.addService("it.drelk.korvane",
                         KORVANE_BINARY_DIR "/bin/korvane-receiver --json --output " + received);
    }
    testing::writeFile(desktop.folder / "backend",
                       "#!/bin/sh\nexec \"" + kProgram + "\" 2>>\"" + told + "\"\n");
    fs::permissions(desktop.folder / "backend", fs::perms::owner_all);
    desktop.addService("org.freedesktop.impl.portal.desktop.korvane", desktop.folder / "backend");
    desktop.startBus(busConfiguration);
  }

  std::string add(const std::string& name, const std::string& content) const {
    testing::writeFile(files / name, content);
    return files / name;
  }

  /// Calls the backend itself; gives the response.
  std::string call(const std::string& options) const {
    const testing::Finished finished = desktop.run(
        {"gdbus", "call", "--session", "--dest", "org.freedesktop.impl.portal.desktop.korvane",
         "--object-path", "/org/freedesktop/portal/desktop", "--method",
         "org.freedesktop.impl.portal.Email.ComposeEmail",
         "/org/freedesktop/portal/desktop/request/a", "org.example.App", "", options});
    return finished.status == 0 ? finished.output : finished.errors;
  }

  /// The message that the mail client got.
  std::shared_ptr<ExtensionMessage> message() const {
    const auto json = nlohmann::json::parse(testing::readFile(received));
    return ExtensionMessage::ExtensionMessageWithUrl(
        NSURL::URLWithString(json["urls"].at(0).get<std::string>()).value());
  }

  /// Names and contents of its attachments.
  std::vector<std::string> attached() const {
    std::vector<std::string> found;
    const List attachments = message()->attachments().value();
    for (const Value& value : attachments) {
      const fs::path path(std::string(value.text()));
      found.push_back(path.filename().string() + "=" +
                      (fs::is_directory(path) ? "/" : testing::readFile(path)));
    }
    return found;
  }

  testing::PrivateDesktop desktop;
  const fs::path files = desktop.folder / "files";
  const std::string received = desktop.folder / "received";
  const std::string told = desktop.folder / "told";
};

const char* const kTaken = "(uint32 0, @a{sv} {})\n";
const char* const kFailed = "(uint32 2, @a{sv} {})\n";

TEST_F(Portal, EverythingArrives) {
  start();
  const std::string first = add("it's $HOME & #1.txt", "1");
  const std::string second = add("b", "2");
  EXPECT_EQ(call("{'addresses': <['a@example.org', 'b@example.org']>, 'cc': <['c@example.org']>,"
                 " 'bcc': <['d@example.org']>, 'subject': <'H\u00e4llo & 100%'>,"
                 " 'body': <'line 1\\nline 2 <b>'>, 'activation_token': <'token-1'>,"
                 " 'attachments': <[\"" +
                 first + "\", '" + second + "']>}"),
            kTaken);
  const auto got = message();
  EXPECT_EQ(got->toString(), "a@example.org;b@example.org;");
  EXPECT_EQ(got->ccString(), "c@example.org;");
  EXPECT_EQ(got->bccString(), "d@example.org;");
  EXPECT_EQ(got->subject(), Value("H\u00e4llo & 100%"));
  EXPECT_EQ(got->plainBody(), "line 1\nline 2 <b>");
  EXPECT_THAT(attached(), ::testing::ElementsAre("it's $HOME & #1.txt=1", "b=2"));
  EXPECT_THAT(testing::readFile(received), HasSubstr("\"activation-token\": \"token-1\""));
  EXPECT_EQ(testing::readFile(told), "");
}

TEST_F(Portal, OlderCallersHaveOneAddress) {
  start();
  EXPECT_EQ(call("{'address': <'a@example.org'>, 'subject': <42>, 'foreign': <true>}"), kTaken);
  EXPECT_EQ(message()->toString(), "a@example.org;");
  EXPECT_TRUE(message()->subject().isAbsent());
}

TEST_F(Portal, WithoutOptionsAnEmptyMessageIsOpened) {
  start();
  EXPECT_EQ(call("{}"), kTaken);
  EXPECT_THAT(testing::readFile(received), HasSubstr("\"korvane://compose?\""));
}

TEST_F(Portal, WhatIsLeftOutIsTold) {
  start();
  const std::string file = add("a", "1");
  fs::create_symlink(file, files / "link");
  EXPECT_EQ(call("{'attachments': <['" + (files / "link").string() + "', '[Invalid UTF-8]', '" +
                 file + "']>}"),
            kTaken);
  EXPECT_THAT(attached(), ::testing::ElementsAre("a=1"));
  EXPECT_EQ(testing::readFile(told),
            "korvane-portal: " + (files / "link").string() +
                " is not in the message: it is behind a link\n"
                "korvane-portal: [Invalid UTF-8] is not in the message: its name is not UTF-8, and "
                "the desktop cannot say which it is\n");
}

TEST_F(Portal, ThePersonIsToldWhereTheyLook) {
  start();
  testing::FakeNotificationServer server(desktop.variable("DBUS_SESSION_BUS_ADDRESS"));
  EXPECT_EQ(call("{'attachments': <['/nonexistent/<b>']>, 'subject': <'S'>}"), kTaken);
  const auto event = server.nextWith("is not in the message: No such file or directory");
  EXPECT_EQ(event.summary, "Send by Mail");
  EXPECT_THAT(event.body, HasSubstr("/nonexistent/&lt;b&gt;"));
  EXPECT_EQ(call("{'subject': <'S'>}"), kTaken);  // where all is well there is nothing to say
  EXPECT_TRUE(server.isQuiet());
}

TEST_F(Portal, WithoutAMailClientTheCallFails) {
  start(false);
  EXPECT_EQ(call("{'subject': <'S'>}"), kFailed);
  EXPECT_EQ(testing::readFile(told),
            "korvane-portal: not handed over: no application it.drelk.korvane is installed\n");
}

TEST_F(Portal, MessagesComeOneAfterTheOtherFromOneProgram) {
  start();
  for (const char* subject : {"one", "two", "three"}) {
    EXPECT_EQ(call(std::string("{'subject': <'") + subject + "'>}"), kTaken);
  }
  std::istringstream lines(testing::readFile(received));
  int count = 0;
  for (std::string line; std::getline(lines, line);) ++count;
  EXPECT_EQ(count, 3);
}

TEST_F(Portal, ASecondOneFindsTheNameTaken) {
  start();
  EXPECT_EQ(call("{}"), kTaken);
  const testing::Finished second = desktop.run({kProgram});
  EXPECT_EQ(second.status, 1);
  EXPECT_THAT(second.errors, HasSubstr("is another program's"));
}

TEST_F(Portal, WithoutABusItSaysSo) {
  const testing::Finished finished = desktop.run({kProgram});
  EXPECT_EQ(finished.status, 1);
  EXPECT_THAT(finished.errors, HasSubstr("there is no session bus"));
}

/// Calls of the backend that wait for their turn, which another share has.
class WaitingPortal : public Portal {
 protected:
  void SetUp() override {
    start();
    turn_.emplace(container, container + "/SharedData/Share");
    ASSERT_TRUE(turn_->isOurs());
    GError* error = nullptr;
    bus_.reset(g_dbus_connection_new_for_address_sync(
        desktop.variable("DBUS_SESSION_BUS_ADDRESS").c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error));
    ASSERT_TRUE(bus_) << error->message;
  }
  void endTurn() { turn_.reset(); }

  /// Calls without waiting for the answer; the calls arrive in their order.
  void begin(int number) {
    ++waited_;
    g_dbus_connection_call(bus_.get(), kName, kObject, "org.freedesktop.impl.portal.Email",
                           "ComposeEmail", parameters(number), nullptr, G_DBUS_CALL_FLAGS_NONE,
                           kPatience * 1000, nullptr, &WaitingPortal::onAnswer, this);
  }
  /// The responses to all that was begun.
  std::vector<guint32> responses() {
    while (waited_ > 0) g_main_context_iteration(nullptr, TRUE);
    return responses_;
  }
  /// The response to a call that is waited for; what came before it has arrived.
  guint32 call(int number) {
    return responseOf(g_dbus_connection_call_sync(
        bus_.get(), kName, kObject, "org.freedesktop.impl.portal.Email", "ComposeEmail",
        parameters(number), nullptr, G_DBUS_CALL_FLAGS_NONE, kPatience * 1000, nullptr, nullptr));
  }
  /// Whether the request that a call made was there to be closed.
  bool close(int number) {
    const GPointer<GVariant> answer(g_dbus_connection_call_sync(
        bus_.get(), kName, handle(number).c_str(), "org.freedesktop.impl.portal.Request", "Close",
        nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, kPatience * 1000, nullptr, nullptr));
    return static_cast<bool>(answer);
  }

 private:
  static constexpr const char* kName = "org.freedesktop.impl.portal.desktop.korvane";
  static constexpr const char* kObject = "/org/freedesktop/portal/desktop";

  static std::string handle(int number) {
    return std::string(kObject) + "/request/" + std::to_string(number);
  }
  static GVariant* parameters(int number) {
    return g_variant_new("(ossa{sv})", handle(number).c_str(), "org.example.App", "", nullptr);
  }
  static guint32 responseOf(GVariant* answer) {
    guint32 response = 99;
    if (answer) g_variant_get_child(answer, 0, "u", &response);
    if (answer) g_variant_unref(answer);
    return response;
  }
  static void onAnswer(GObject* bus, GAsyncResult* result, gpointer self) {
    auto* const test = static_cast<WaitingPortal*>(self);
    --test->waited_;
    test->responses_.push_back(
        responseOf(g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, nullptr)));
  }

  const std::string container = desktop.folder / "data/Q7K4M2XW9P.korvane";
  testing::TestPlatform platform_;
  std::optional<ShareTurn> turn_;
  GObjectPointer<GDBusConnection> bus_;
  int waited_ = 0;
  std::vector<guint32> responses_;
};

TEST_F(WaitingPortal, ARequestThatIsClosedOpensNothing) {
  begin(1);
  begin(2);
  while (!close(1)) {  // until its request is there
  }
  EXPECT_FALSE(close(3));
  endTurn();
  EXPECT_THAT(responses(), ::testing::UnorderedElementsAre(1U, 0U));
  std::istringstream lines(testing::readFile(received));
  int messages = 0;
  for (std::string line; std::getline(lines, line);) ++messages;
  EXPECT_EQ(messages, 1);
  EXPECT_EQ(testing::readFile(told), "");
  EXPECT_FALSE(close(1));  // it is gone with its call
}

TEST_F(WaitingPortal, SoManyAtATimeAndNoMore) {
  for (int number = 1; number <= 16; ++number) begin(number);
  EXPECT_EQ(call(17), 2U);
  EXPECT_THAT(testing::readFile(told), HasSubstr("too many are being composed already"));
  for (int number = 1; number <= 16; ++number) EXPECT_TRUE(close(number));
  endTurn();
  EXPECT_THAT(responses(), ::testing::Each(1U));
  EXPECT_EQ(call(18), 0U);
}

/// The whole way: a caller, the real xdg-desktop-portal, this backend, a mail client.
class WholePortal : public Portal {
 protected:
  void SetUp() override {
    if (!fs::exists(kDesktopPortal)) GTEST_SKIP() << "xdg-desktop-portal is not installed";
    desktop.set("XDG_DESKTOP_PORTAL_DIR", KORVANE_BINARY_DIR "/share/xdg-desktop-portal/portals");
    desktop.set("XDG_DATA_DIRS", "/usr/share");  // where the portal's settings are described
    // A bus that starts what is in this test alone. Were the portal among it, it would wait for
    // itself where there is no system bus.
    testing::writeFile(
        desktop.folder / "bus.conf",
        "<busconfig><type>session</type><keep_umask/><listen>unix:tmpdir=/tmp</listen>"
        "<servicedir>" +
            (desktop.folder / "data/dbus-1/services").string() +
            "</servicedir><policy context=\"default\">"
            "<allow send_destination=\"*\" eavesdrop=\"true\"/>"
            "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>");
    start(true, desktop.folder / "bus.conf");
    portal_ = std::make_unique<testing::RunningProgram>(std::vector<std::string>{kDesktopPortal},
                                                        desktop.environment, -1, -1);
    EXPECT_EQ(desktop
                  .run({"gdbus", "wait", "--session", "--timeout", std::to_string(kPatience),
                        "org.freedesktop.portal.Desktop"})
                  .status,
              0);
  }

  /// What a caller is told that has this message with these files (see composeEmail below).
  testing::Finished compose(const std::vector<std::string>& paths,
                            const std::vector<std::string>& sandbox = {}) const {
    std::vector<std::string> command = sandbox;
    command.insert(command.end(), {fs::canonical("/proc/self/exe"), "--compose"});
    command.insert(command.end(), paths.begin(), paths.end());
    return desktop.run(command);
  }

  /// Runs what follows as Flatpak runs an application: in a root of its own, with the file by which
  /// the portal knows it.
  std::vector<std::string> sandbox() const {
    const fs::path instance = desktop.folder / "run/.flatpak/1";
    fs::create_directories(instance);
    testing::writeFile(instance / "bwrapinfo.json", "{\"child-pid\": 1}");
    testing::writeFile(desktop.folder / "info",
                       "[Application]\nname=org.example.App\nruntime=runtime/org.x/x86_64/1\n"
                       "[Instance]\ninstance-id=1\nflatpak-version=1.14.4\napp-path=/app\n"
                       "[Context]\nshared=network;\n");
    std::vector<std::string> command{"bwrap"};
    // The tests' own folder holds what the sanitizers are told not to report.
    for (const char* folder : {"/usr", "/bin", "/lib", "/lib64", "/etc", KORVANE_BINARY_DIR,
                               KORVANE_SOURCE_DIR "/tests"}) {
      command.insert(command.end(), {"--ro-bind-try", folder, folder});
    }
    command.insert(command.end(),
                   {"--bind", desktop.folder, desktop.folder, "--ro-bind", desktop.folder / "info",
                    "/.flatpak-info", "--proc", "/proc", "--dev", "/dev"});
    return command;
  }

 private:
  std::unique_ptr<testing::RunningProgram> portal_;
};

TEST_F(WholePortal, AProgramsMailArrives) {
  fs::create_directory(files / "a folder");
  const testing::Finished finished =
      compose({add("it's $HOME & #1.txt", "1"), add("caf\xe9.txt", "2"), files / "a folder"});
  EXPECT_EQ(finished.output, "response 0\n") << finished.errors;
  EXPECT_EQ(message()->toString(), "a@example.org;b@example.org;");
  EXPECT_EQ(message()->subject(), Value("H\u00e4llo"));
  EXPECT_EQ(message()->plainBody(), "line 1\nline 2");
  EXPECT_THAT(attached(), ::testing::ElementsAre("it's $HOME & #1.txt=1", "a folder=/"));
  EXPECT_THAT(testing::readFile(told), HasSubstr("its name is not UTF-8"));
}

TEST_F(WholePortal, ASandboxedProgramsMailArrives) {
  std::vector<std::string> probe = sandbox();
  probe.emplace_back("true");
  if (desktop.run(probe).status != 0) GTEST_SKIP() << "bwrap is not installed, or may not be used";
  const testing::Finished finished = compose({add("a", "1"), "O_PATH", add("b", "2")}, sandbox());
  EXPECT_EQ(finished.output, "response 0\n") << finished.errors;
  EXPECT_THAT(attached(), ::testing::ElementsAre("a=1", "b=2"));
  EXPECT_EQ(testing::readFile(told), "");
}

/// --compose FILE...: asks the portal for a mail with these files, as an application does, and says
/// what it answers. Files behind "O_PATH" are opened so.
int composeEmail(int count, char** paths) {
  GVariantBuilder options;
  g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
  const char* addresses[] = {"a@example.org", "b@example.org", nullptr};
  g_variant_builder_add(&options, "{sv}", "addresses", g_variant_new_strv(addresses, -1));
  g_variant_builder_add(&options, "{sv}", "subject", g_variant_new_string("H\u00e4llo"));
  g_variant_builder_add(&options, "{sv}", "body", g_variant_new_string("line 1\nline 2"));
  GUnixFDList* const list = g_unix_fd_list_new();
  GVariantBuilder handles;
  g_variant_builder_init(&handles, G_VARIANT_TYPE("ah"));
  int flags = O_RDONLY;
  for (int i = 0; i < count; ++i) {
    if (std::string_view(paths[i]) == "O_PATH") {
      flags = O_PATH;
      continue;
    }
    const int file = ::open(paths[i], flags | O_CLOEXEC);
    g_variant_builder_add(&handles, "h", g_unix_fd_list_append(list, file, nullptr));
    ::close(file);
  }
  g_variant_builder_add(&options, "{sv}", "attachment_fds", g_variant_builder_end(&handles));

  GDBusConnection* const bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  g_dbus_connection_signal_subscribe(
      bus, "org.freedesktop.portal.Desktop", "org.freedesktop.portal.Request", "Response", nullptr,
      nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
      [](GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* answer,
         gpointer data) {
        guint32 response = 99;
        g_variant_get_child(answer, 0, "u", &response);
        std::cout << "response " << response << std::endl;
        g_main_loop_quit(static_cast<GMainLoop*>(data));
      },
      loop, nullptr);
  GError* error = nullptr;
  g_dbus_connection_call_with_unix_fd_list_sync(
      bus, "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
      "org.freedesktop.portal.Email", "ComposeEmail", g_variant_new("(sa{sv})", "", &options),
      nullptr, G_DBUS_CALL_FLAGS_NONE, kPatience * 1000, list, nullptr, nullptr, &error);
  if (error) {
    std::cerr << error->message << std::endl;
    return 1;
  }
  g_timeout_add_seconds(
      kPatience,
      [](gpointer data) { return g_main_loop_quit(static_cast<GMainLoop*>(data)), FALSE; }, loop);
  g_main_loop_run(loop);
  return 0;
}

}  // namespace
}  // namespace korvane

int main(int argc, char** argv) {
  if (argc > 1 && std::string_view(argv[1]) == "--compose") {
    return korvane::composeEmail(argc - 2, argv + 2);
  }
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
