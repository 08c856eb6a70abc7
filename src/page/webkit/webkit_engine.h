// The WebKitGTK engine: the one web context, its settings, and the persistent and private network sessions.
#pragma once
#include <webkit/webkit.h>

#include <filesystem>
#include <memory>

#include "page/web_view_port.h"

namespace quillo {

// A website data store backed by a WebKitNetworkSession. Holds the app's only
// strong reference (views hold theirs inside WebKit), so an ephemeral session
// ends with the last view or holder of this object.
class WebKitDataStore final : public DataStore {
 public:
  // Takes over the caller's reference.
  explicit WebKitDataStore(WebKitNetworkSession* session) : session_(session) {}
  ~WebKitDataStore() override { g_object_unref(session_); }
  WebKitDataStore(const WebKitDataStore&) = delete;
  WebKitDataStore& operator=(const WebKitDataStore&) = delete;

  bool isPersistent() const override { return !webkit_network_session_is_ephemeral(session_); }
  WebKitNetworkSession* session() const { return session_; }

 private:
  WebKitNetworkSession* session_;
};

// The one web context of the app: the web process extension, the shared
// settings and the persistent session. Main thread only; GTK must be
// initialised first.
class WebKitEngine final : public WebEngine {
 public:
  WebKitEngine();
  ~WebKitEngine() override;
  WebKitEngine(const WebKitEngine&) = delete;
  WebKitEngine& operator=(const WebKitEngine&) = delete;

  std::shared_ptr<DataStore> persistentStore() override { return persistent_; }
  std::shared_ptr<DataStore> makePrivateStore() override;
  std::unique_ptr<WebViewPort> makeView(const ViewConfiguration& configuration) override;

  WebKitWebContext* context() const { return context_; }
  WebKitSettings* settings() const { return settings_; }
  // The folder the web process extension is loaded from.
  const std::filesystem::path& extensionFolder() const { return extensionFolder_; }

 private:
  WebKitWebContext* context_ = nullptr;
  WebKitSettings* settings_ = nullptr;
  // For views that run no content scripts (the reader), made when first asked for.
  WebKitSettings* scriptlessSettings_ = nullptr;
  static WebKitSettings* makeSettings();
  WebKitSettings* scriptlessSettings();
  std::filesystem::path extensionFolder_;
  std::shared_ptr<WebKitDataStore> persistent_;
};

// Where the extension is looked for: $QUILLO_EXTENSION_DIR when set, else the
// build tree's folder when it holds the module, else the installed folder.
std::filesystem::path chooseExtensionFolder();

}  // namespace quillo
