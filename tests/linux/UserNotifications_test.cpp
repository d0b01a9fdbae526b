#include "linux/detail/UserNotifications.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstdlib>
#include <future>

#include "support/FakeNotificationServer.h"
#include "support/PrivateDesktop.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using testing::FakeNotificationServer;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using Event = FakeNotificationServer::Event;
using Delivery = NSUserNotificationDelivery;

class Notifications : public ::testing::Test {
 protected:
  Notifications() { desktop.startBus(); }
  ~Notifications() override { ::unsetenv("DBUS_SESSION_BUS_ADDRESS"); }

  std::string address() const { return desktop.variable("DBUS_SESSION_BUS_ADDRESS"); }
  void SetUp() override { ::setenv("DBUS_SESSION_BUS_ADDRESS", address().c_str(), 1); }

  testing::PrivateDesktop desktop;
};

NSUserNotification progress(double part) {
  return {.identifier = "share",
          .title = "T",
          .informativeText = "Preparing 26 pictures…",
          .actionButtonTitle = "Cancel",
          .progress = part};
}

TEST_F(Notifications, AreShownReplacedAndClosed) {
  FakeNotificationServer server(address());
  UserNotifications center;
  EXPECT_EQ(center.deliverNotification(progress(0.46)), Delivery::shownWithButton);
  const Event first = server.next();
  EXPECT_EQ(first.what, "Notify");
  EXPECT_EQ(first.replaces, 0U);
  EXPECT_EQ(first.summary, "T");
  EXPECT_EQ(first.body, "Preparing 26 pictures… 46 %");
  EXPECT_THAT(first.actions, ElementsAre("button", "Cancel"));
  EXPECT_TRUE(first.isTransient);

  EXPECT_EQ(center.deliverNotification(progress(-1)), Delivery::shownWithButton);
  const Event second = server.next();
  EXPECT_EQ(second.replaces, first.id);
  EXPECT_EQ(second.body, "Preparing 26 pictures…");

  EXPECT_EQ(
      center.deliverNotification({.identifier = "share", .title = "M", .informativeText = "text"}),
      Delivery::shown);
  const Event message = server.next();
  EXPECT_EQ(message.replaces, first.id);
  EXPECT_THAT(message.actions, IsEmpty());
  EXPECT_FALSE(message.isTransient);

  // Another one stands beside it.
  center.deliverNotification({.identifier = "other", .title = "O"});
  const Event other = server.next();
  EXPECT_EQ(other.replaces, 0U);
  EXPECT_NE(other.id, first.id);

  center.removeDeliveredNotification("share");
  const Event closed = server.next();
  EXPECT_EQ(closed.what, "Close");
  EXPECT_EQ(closed.id, first.id);
  center.removeDeliveredNotification("share");
  center.removeDeliveredNotification("unknown");
  EXPECT_TRUE(server.isQuiet());
  center.deliverNotification({.identifier = "share", .title = "again"});
  EXPECT_EQ(server.next().replaces, 0U);
}

TEST_F(Notifications, TheButtonCountsOnceAndBringsItsToken) {
  FakeNotificationServer server(address());
  UserNotifications center;
  std::promise<std::string> pressed;
  NSUserNotification notification = progress(0);
  notification.activated = [&](const std::string& token) { pressed.set_value(token); };
  std::promise<void> closed;
  notification.closed = [&] { closed.set_value(); };
  center.deliverNotification(notification);
  const unsigned id = server.next().id;
  server.press(id + 1, "button");
  server.press(id, "something else");
  server.press(id, "button", "a-token");
  EXPECT_EQ(pressed.get_future().get(), "a-token");
  server.press(id, "button");  // a second set_value would throw
  server.close(id);
  closed.get_future().wait();
}

TEST_F(Notifications, WhatIsTakenAwayIsNotCalledBack) {
  FakeNotificationServer server(address());
  UserNotifications center;
  bool isCalled = false;
  NSUserNotification notification = progress(0);
  notification.activated = [&](const std::string&) { isCalled = true; };
  notification.closed = [&] { isCalled = true; };
  center.deliverNotification(notification);
  const unsigned id = server.next().id;
  center.removeDeliveredNotification("share");
  server.press(id, "button");
  server.close(id);
  // A signal is read before the answer to what is asked after it.
  center.deliverNotification({.identifier = "other", .title = "O"});
  EXPECT_FALSE(isCalled);
}

TEST_F(Notifications, MarkupIsEscapedWhereTheServerTakesIt) {
  const NSUserNotification notification{
      .identifier = "a", .title = "<b>&", .informativeText = "<a href=\"x\">R&D</a>\n\xFF!"};
  {
    FakeNotificationServer server(address());
    UserNotifications center;
    center.deliverNotification(notification);
    const Event event = server.next();
    EXPECT_EQ(event.summary, "<b>&");  // never markup
    EXPECT_EQ(event.body, "&lt;a href=&quot;x&quot;&gt;R&amp;D&lt;/a&gt;\n\xEF\xBF\xBD!");
  }
  FakeNotificationServer plain(address(), {.capabilities = {"body"}});
  UserNotifications center;
  center.deliverNotification(notification);
  EXPECT_EQ(plain.next().body, "<a href=\"x\">R&D</a>\n\xEF\xBF\xBD!");
}

TEST_F(Notifications, WithoutActionsThereIsNoButton) {
  FakeNotificationServer server(address(), {.capabilities = {"body"}});
  UserNotifications center;
  EXPECT_EQ(center.deliverNotification(progress(0.5)), Delivery::shown);
  EXPECT_THAT(server.next().actions, IsEmpty());
}

TEST_F(Notifications, TheEditionsApplicationIsNamed) {
  FakeNotificationServer server(address(), {.hasJobViews = true});
  UserNotifications center({"Korvane Share (Beta 10)", "korvane-share-beta10"});
  center.deliverNotification({.identifier = "a", .title = "M"});
  EXPECT_EQ(server.next().application, "Korvane Share (Beta 10)");
  center.deliverNotification(progress(0));
  EXPECT_EQ(server.next().application, "korvane-share-beta10");

  UserNotifications regular;
  regular.deliverNotification({.identifier = "a", .title = "M"});
  EXPECT_EQ(server.nextWith("").application, "Korvane Share");
}

TEST_F(Notifications, ProgressThatAPersonClosedStaysAway) {
  FakeNotificationServer server(address());
  UserNotifications center;
  std::promise<void> closed;
  NSUserNotification notification = progress(0.1);
  notification.closed = [&] { closed.set_value(); };
  center.deliverNotification(notification);
  const unsigned id = server.next().id;
  server.close(id);
  closed.get_future().wait();
  EXPECT_EQ(center.deliverNotification(progress(0.2)), Delivery::shown);
  EXPECT_TRUE(server.isQuiet());
  // What is missing in the end is told all the same.
  center.deliverNotification({.identifier = "share", .title = "M"});
  EXPECT_EQ(server.next().summary, "M");
  center.deliverNotification(progress(0.3));
  EXPECT_EQ(server.next().body, "Preparing 26 pictures… 30 %");
}

TEST_F(Notifications, ProgressThatWasNotClosedByAPersonIsShownAgain) {
  FakeNotificationServer server(address());
  UserNotifications center;
  for (const bool isPressed : {false, true}) {
    std::promise<void> closed;
    NSUserNotification notification = progress(0.1);
    notification.closed = [&] { closed.set_value(); };
    center.deliverNotification(notification);
    const unsigned id = server.next().id;
    // Servers close what has a button that was pressed.
    if (isPressed) {
      server.press(id, "button");
      server.close(id);
    } else {
      server.expire(id);
    }
    closed.get_future().wait();
    EXPECT_EQ(center.deliverNotification(progress(0.2)), Delivery::shownWithButton);
    EXPECT_EQ(server.next().what, "Notify");
  }
}

TEST_F(Notifications, AServerThatEndedIsStartedAgain) {
  auto server = std::make_unique<FakeNotificationServer>(address());
  UserNotifications center;
  center.deliverNotification(progress(0.1));
  EXPECT_EQ(server->next().replaces, 0U);
  server.reset();

  // The bus starts what stands for the next one: it says so, and the server is this process's.
  const std::string started = desktop.folder / "started";
  ASSERT_EQ(::mkfifo(started.c_str(), 0600), 0);
  desktop.addService("org.freedesktop.Notifications", "/bin/sh -c 'echo 1 > " + started + "'");
  auto delivery = std::async(std::launch::async, [&] {
    return center.deliverNotification({.identifier = "share", .title = "M"});
  });
  EXPECT_EQ(testing::readFile(started), "1\n");
  FakeNotificationServer next(address());
  const Event message = next.next();
  EXPECT_EQ(message.summary, "M");
  EXPECT_EQ(message.replaces, 0U);  // its numbers are not those of the first
  EXPECT_EQ(delivery.get(), Delivery::shown);
}

TEST_F(Notifications, AServerThatEndedForGoodIsNotWaitedFor) {
  auto server = std::make_unique<FakeNotificationServer>(address());
  UserNotifications center;
  EXPECT_EQ(center.deliverNotification(progress(0.1)), Delivery::shownWithButton);
  server.reset();
  EXPECT_EQ(center.deliverNotification(progress(0.2)), Delivery::notShown);
}

TEST_F(Notifications, WithoutAServerNothingIsShown) {
  UserNotifications center;
  EXPECT_EQ(center.deliverNotification(progress(0)), Delivery::notShown);
  // Nor is one looked for again.
  FakeNotificationServer server(address());
  EXPECT_EQ(center.deliverNotification(progress(0)), Delivery::notShown);
  center.removeDeliveredNotification("share");
  EXPECT_TRUE(server.isQuiet());
}

TEST_F(Notifications, WithoutABusNothingIsShown) {
  desktop.stopBus();
  UserNotifications center;
  EXPECT_EQ(center.deliverNotification(progress(0)), Delivery::notShown);
}

TEST_F(Notifications, AServerThatDoesNotAnswerIsNotWaitedForLong) {
  FakeNotificationServer server(address(), {.isSilent = true});
  UserNotifications center({}, std::chrono::milliseconds(50));
  EXPECT_EQ(center.deliverNotification(progress(0)), Delivery::notShown);
  EXPECT_EQ(center.deliverNotification(progress(0)), Delivery::notShown);
}

TEST_F(Notifications, WorkThatGoesOnHasAJobViewWhereSomebodyShowsThose) {
  FakeNotificationServer server(address(), {.hasJobViews = true});
  UserNotifications center;
  std::promise<void> cancelled;
  NSUserNotification notification = progress(0.46);
  notification.activated = [&](const std::string&) { cancelled.set_value(); };
  EXPECT_EQ(center.deliverNotification(notification), Delivery::shownWithButton);
  EXPECT_EQ(server.next().what, "requestView");
  const Event update = server.next();
  EXPECT_THAT(update.arguments, HasSubstr("'percent': <uint32 46>"));
  EXPECT_THAT(update.arguments, HasSubstr("'infoMessage': <'Preparing 26 pictures…'>"));
  server.cancelJob();
  cancelled.get_future().wait();

  center.deliverNotification(progress(-1));
  EXPECT_THAT(server.next().arguments, Not(HasSubstr("percent")));
  // What has to be told at the end is a notification.
  center.deliverNotification({.identifier = "share", .title = "M"});
  EXPECT_EQ(server.next().what, "terminate");
  EXPECT_EQ(server.next().what, "Notify");

  center.deliverNotification(progress(0.1));
  EXPECT_EQ(server.next().what, "requestView");
  EXPECT_EQ(server.next().what, "update");
  EXPECT_EQ(server.next().what, "Close");
  center.removeDeliveredNotification("share");
  EXPECT_EQ(server.next().what, "terminate");
}

}  // namespace
}  // namespace korvane
