// What the palette lists through other owners: logins, site permissions, downloads, clipboard, alerts and icons.
#pragma once
#include <sigc++/signal.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/alert.h"
#include "core/url.h"

namespace quillo {

// What the palette lists and edits but does not own: 1Password logins, site
// permissions and downloads come from their own stores, and the clipboard,
// alerts and icons from the views. Each is reached through a small interface
// here; until one is attached its list is empty and its actions do nothing.

using Bytes = std::vector<uint8_t>;

// ---- Logins ----

struct Login {
  std::string id;
  std::string title;
  std::optional<std::string> username;
  std::vector<std::string> hosts;
};

class LoginSource {
 public:
  virtual ~LoginSource() = default;
  // The logins loaded for the current site, in 1Password's order.
  virtual std::vector<Login> logins() const = 0;
  // Starts loading the logins of the current site (the login scope opened).
  virtual void load() = 0;
  // Fills a login into the current page.
  virtual void fill(const Login& login) = 0;
  // Fires when the loaded list changed.
  sigc::signal<void()> changed;
};

// ---- Site permissions ----

struct SitePermission {
  enum class Kind { camera, microphone, notifications, app };
  std::string host;
  Kind kind = Kind::camera;
  std::string scheme;  // the app's URL scheme, lower case; only for Kind::app

  // "camera", "microphone", "notifications", or "app:" + scheme.
  std::string key() const;
  bool operator==(const SitePermission&) const = default;
};

enum class PermissionDecision { allow, block };

class PermissionSource {
 public:
  virtual ~PermissionSource() = default;
  // Camera, microphone and notifications of the host, then its app permissions.
  virtual std::vector<SitePermission> listed(const std::string& host) const = 0;
  // Every permission with a decision, by host then kind.
  virtual std::vector<SitePermission> all() const = 0;
  virtual std::optional<PermissionDecision> savedDecision(const SitePermission& permission) const = 0;
  // The decision in force: the saved one, else one kept until quit.
  virtual std::optional<PermissionDecision> decision(const SitePermission& permission) const {
    return savedDecision(permission);
  }
  // Remembers a decision; none returns the site to asking.
  virtual void set(std::optional<PermissionDecision> decision, const SitePermission& permission) = 0;
  // "Camera", "Microphone", "Notifications", "Open <app>"; without a name
  // for the app, "Open <scheme>: links".
  virtual std::string title(const SitePermission& permission) const;
  sigc::signal<void()> changed;
};

// ---- Downloads ----

// One download in the list; identified by its object.
class DownloadItem {
 public:
  virtual ~DownloadItem() = default;
  virtual std::string filename() const = 0;
  virtual std::optional<Url> source() const = 0;
  // Finished, but the file has since been moved or deleted.
  virtual bool isMissing() const = 0;
  enum class State { downloading, finished, failed };
  virtual State state() const { return State::finished; }
  // Progress from 0 to 1.
  virtual double fraction() const { return 1.0; }
  // Why it failed, for people; empty unless failed.
  virtual std::string failure() const { return {}; }
};
using DownloadItemPtr = std::shared_ptr<DownloadItem>;

class DownloadSource {
 public:
  virtual ~DownloadSource() = default;
  // Newest first.
  virtual std::vector<DownloadItemPtr> items() const = 0;
  // Cancels it if running and drops it from the list.
  virtual void remove(const DownloadItemPtr& item) = 0;
  // Shows the file in the file manager.
  virtual void reveal(const DownloadItemPtr& item) = 0;
  sigc::signal<void()> changed;
};

// ---- Services of the views ----

class Clipboard {
 public:
  virtual ~Clipboard() = default;
  virtual void setText(const std::string& text) = 0;
};

// Questions of the whole window, belonging to no page (a page asks its own
// through Page::ask).
class Alerts {
 public:
  virtual ~Alerts() = default;
  // Must not block: the answer (the index of the button chosen) arrives
  // later, on the main thread.
  virtual void ask(const Alert& alert, std::function<void(size_t button)> answered) = 0;
};

class Page;

// Site icons as image bytes (PNG, ICO...), decoded by the views.
class IconSource {
 public:
  virtual ~IconSource() = default;
  // The icon the page is showing now, if one was found.
  virtual std::optional<Bytes> pageIcon(const Page& page) const = 0;
  // An icon already cached for the host; never starts a fetch.
  virtual std::optional<Bytes> cachedIcon(const std::string& host) const = 0;
};

}  // namespace quillo
