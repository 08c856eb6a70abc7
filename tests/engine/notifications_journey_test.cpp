// Web notifications on the real engine: the page's API, the prompt, a service on the test's bus, and clicks.
#include <gio/gio.h>
#include <gtest/gtest.h>

#include "app/gtk/desktop_notifications.h"
#include "engine/support/journey.h"
#include "features/web_notifications.h"
#include "page/webkit/webkit_view.h"
#include "stores/permissions.h"

namespace quillo::test {
namespace {

constexpr const char* kServerXML = R"(<node><interface name='org.freedesktop.Notifications'>
  <method name='Notify'><arg type='s'/><arg type='u'/><arg type='s'/><arg type='s'/><arg type='s'/><arg type='as'/>
    <arg type='a{sv}'/><arg type='i'/><arg type='u' direction='out'/></method>
  <method name='CloseNotification'><arg type='u'/></method>
  <method name='GetServerInformation'><arg type='s' direction='out'/><arg type='s' direction='out'/>
    <arg type='s' direction='out'/><arg type='s' direction='out'/></method>
  <signal name='ActionInvoked'><arg type='u'/><arg type='s'/></signal></interface></node>)";

// A desktop's notification service (what GLib uses of it), on a connection of its own, for as long as it lives.
struct NotificationServer : FakeBusService {
  NotificationServer() : FakeBusService(kServerXML, kPath, kName, call) {}
  // The user clicks the notification.
  void click(guint32 id) {
    g_dbus_connection_emit_signal(connection, nullptr, kPath, kName, "ActionInvoked",
                                  g_variant_new("(us)", id, "default"), nullptr);
  }
  static void call(GDBusConnection*, const char*, const char*, const char*, const char* method, GVariant* parameters,
                   GDBusMethodInvocation* invocation, gpointer self) {
    auto* server = static_cast<NotificationServer*>(static_cast<FakeBusService*>(self));
    GVariant* answer = nullptr;
    if (g_str_equal(method, "Notify")) {
      const char *summary = nullptr, *body = nullptr, *icon = "";
      GVariant* hints = nullptr;
      g_variant_get(parameters, "(&su&s&s&sas@a{sv}i)", nullptr, nullptr, nullptr, &summary, &body, nullptr, &hints,
                    nullptr);
      g_variant_lookup(hints, "image-path", "&s", &icon);
      // Its id: the place in the list, from 1.
      server->shown.push_back(std::string(icon) + ": " + summary + "\n" + body);
      g_variant_unref(hints);
      answer = g_variant_new("(u)", guint32(server->shown.size()));
    } else if (g_str_equal(method, "GetServerInformation")) {
      answer = g_variant_new("(ssss)", "Fake", "Quillo tests", "1", "1.2");
    } else {
      ++server->closes;
    }
    g_dbus_method_invocation_return_value(invocation, answer);
  }

  static constexpr const char* kName = "org.freedesktop.Notifications";
  static constexpr const char* kPath = "/org/freedesktop/Notifications";
  std::vector<std::string> shown;  // icon, summary and body
  int closes = 0;
};

class NotificationsJourney : public Journey {
 protected:
  void SetUp() override {
    Journey::SetUp();
    if (IsSkipped()) return;
    application = g_application_new("org.quillo.Tests.Notifications", G_APPLICATION_NON_UNIQUE);
    ASSERT_TRUE(g_application_register(application, nullptr, nullptr));
    permissions =
        std::make_unique<Permissions>(nullptr, [](const std::string&) { return std::optional<std::string>(); });
    desktop = std::make_unique<DesktopNotifications>(application);
    notifications = std::make_unique<WebNotifications>(*browser, *permissions, *desktop);
    server.html("/chat.html", R"(<title>Chat</title><script>window.events = [];
      function notify(title) {
        const n = new Notification(title, {body: 'Body text'});
        for (const type of ['show', 'error', 'close']) n.addEventListener(type, () => events.push(type));
        n.onclick = () => document.title = 'clicked ' + title;
        return n;
      }</script><button style='position:fixed;left:0;top:0;width:300px;height:200px'
      onclick='Notification.requestPermission().then(s => document.title = "answer " + s)'>Ask</button>)");
    // Asks as the page loads, long before any gesture.
    server.html("/eager.html",
                "<title>Eager</title><iframe src='/beta.html'></iframe><script>"
                "Notification.requestPermission().then(s => document.title = 'answer ' + s);</script>");
  }
  void TearDown() override {
    notifications.reset();
    desktop.reset();
    Journey::TearDown();
    service.reset();
    g_clear_object(&application);
  }
  const SitePermission site{"127.0.0.1", SitePermission::Kind::notifications, ""};
  bool permissionIs(const PagePtr& page, const std::string& state) {
    return waitFor([&] { return pageScript(page, "Notification.permission") == state; });
  }
  void startService() {
    service = std::make_unique<NotificationServer>();
    ASSERT_TRUE(waitFor([&] { return service->owned; }));
    ASSERT_TRUE(waitFor([&] { return desktop->available(); })) << "the service counts once it is on the bus";
  }

  GApplication* application = nullptr;
  std::unique_ptr<Permissions> permissions;
  std::unique_ptr<DesktopNotifications> desktop;
  std::unique_ptr<WebNotifications> notifications;
  std::unique_ptr<NotificationServer> service;
};

TEST_F(NotificationsJourney, WithoutAServiceEverySiteIsDeniedWithOneOnlyAGestureBringsThePrompt) {
  auto page = openPage("/chat.html");
  EXPECT_TRUE(permissionIs(page, "denied")) << "no notification service on the bus";
  pageScript(page, "notify('Hello'); ''");
  EXPECT_TRUE(waitFor([&] { return pageScript(page, "events.join()") == "error"; }));

  startService();
  auto eager = openPage("/eager.html");
  ASSERT_TRUE(waitFor([&] { return eager->title.get() == "answer default"; })) << eager->title.get();
  EXPECT_EQ(shownCard(GTK_WIDGET(window->gobj())), nullptr);
  EXPECT_TRUE(waitFor([&] {
    return pageScript(eager, "frames[0].document.title ? typeof frames[0].Notification : ''") == "undefined";
  })) << "WebKit's own notifications are off, also where our script is not";

  // A click is a gesture: the site asks, and the user says no.
  browser->select(page);
  ASSERT_TRUE(nextFrames(2));
  auto* view = dynamic_cast<WebKitView*>(page->liveView());
  ASSERT_NE(view, nullptr);
  click(*Glib::wrap(view->widget()), 100, 100);
  GtkWidget* card = awaitCard(GTK_WIDGET(window->gobj()));
  ASSERT_NE(card, nullptr) << "the prompt";
  EXPECT_EQ(cardText(card), "127.0.0.1 wants to show notifications | Don't Allow | Allow");
  key("Escape");
  ASSERT_TRUE(waitFor([&] { return page->title.get() == "answer denied"; })) << page->title.get();
  EXPECT_EQ(permissions->savedDecision(site), PermissionDecision::block);
  pageScript(page, "notify('Hello'); ''");
  EXPECT_TRUE(waitFor([&] { return pageScript(page, "events.join()") == "error,error"; }));
  EXPECT_TRUE(service->shown.empty());
}

TEST_F(NotificationsJourney, ANotificationReachesTheServiceAndItsClickSelectsTheTabAndFiresClick) {
  startService();
  permissions->set(PermissionDecision::allow, site);
  auto page = openPage("/chat.html");
  ASSERT_TRUE(permissionIs(page, "granted"));
  pageScript(page, "navigator.permissions.query({name: 'notifications'}).then(s => window.state = s.state); ''");
  EXPECT_TRUE(waitFor([&] { return pageScript(page, "String(window.state)") == "granted"; }));

  // Closed at once: the close must not overtake the desktop's answer to the post.
  pageScript(page, "notify('Hello'); window.second = notify('Later'); second.close(); second.close(); ''");
  ASSERT_TRUE(waitFor([&] { return service->shown.size() == 2; }));
  EXPECT_EQ(service->shown[0], "org.quillo.Quillo: Hello\n127.0.0.1\nBody text") << "with Quillo's icon";
  EXPECT_TRUE(waitFor([&] { return service->closes == 1; })) << "close() withdraws it";
  EXPECT_TRUE(waitFor([&] { return pageScript(page, "events.join()") == "close,show"; }))
      << pageScript(page, "events.join()");

  openPage("/beta.html");
  ASSERT_NE(browser->current(), page);
  service->click(1);
  EXPECT_TRUE(waitFor([&] { return browser->current() == page && page->title.get() == "clicked Hello"; }))
      << page->title.get();
}

}  // namespace
}  // namespace quillo::test
