// The WebKitGTK engine: the one web context, its settings, and the persistent and private network sessions.
#include "page/webkit/webkit_engine.h"

#include <cstdlib>
#include <system_error>

#include "core/app_support.h"
#include "core/log.h"
#include "page/user_agent.h"
#include "page/webkit/webkit_content_filter.h"
#include "page/webkit/webkit_view.h"
#include "stores/webkit/webkit_downloads.h"

namespace quillo {

namespace {

constexpr const char* kExtensionModule = "libquilloextension.so";
constexpr const char* kScriptWorld = "quillo";

// What every session gets, persistent or private.
void prepare(WebKitNetworkSession* session) {
  WebKitDownloads::follow(session);
  watchDownloads(session);
}

WebKitNetworkSession* makePersistentSession() {
  std::filesystem::path data = AppSupport::folder() / "website-data";
  std::filesystem::path cache = AppSupport::cacheFolder() / "website-cache";
  AppSupport::makeFolder(data);
  AppSupport::makeFolder(cache);
  WebKitNetworkSession* session = webkit_network_session_new(data.c_str(), cache.c_str());
  // Without this WebKit keeps cookies in memory only, even here.
  webkit_cookie_manager_set_persistent_storage(webkit_network_session_get_cookie_manager(session),
                                               (data / "cookies.sqlite").c_str(),
                                               WEBKIT_COOKIE_PERSISTENT_STORAGE_SQLITE);
  prepare(session);
  return session;
}

WebKitUserContentManager* makeContentManager(const ViewConfiguration& configuration) {
  WebKitUserContentManager* manager = webkit_user_content_manager_new();
  for (const auto& filter : configuration.filters) {
    if (auto* webkitFilter = dynamic_cast<WebKitContentFilter*>(filter.get()))
      webkit_user_content_manager_add_filter(manager, webkitFilter->raw());
  }
  for (const UserScript& script : configuration.scripts) {
    auto frames = script.allFrames ? WEBKIT_USER_CONTENT_INJECT_ALL_FRAMES : WEBKIT_USER_CONTENT_INJECT_TOP_FRAME;
    auto time = script.atDocumentStart ? WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START
                                       : WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_END;
    WebKitUserScript* userScript =
        script.isolated
            ? webkit_user_script_new_for_world(script.source.c_str(), frames, time, kScriptWorld, nullptr, nullptr)
            : webkit_user_script_new(script.source.c_str(), frames, time, nullptr, nullptr);
    webkit_user_content_manager_add_script(manager, userScript);
    webkit_user_script_unref(userScript);
  }
  return manager;
}

}  // namespace

std::filesystem::path chooseExtensionFolder() {
  if (const char* overridden = std::getenv("QUILLO_EXTENSION_DIR"); overridden && *overridden) return overridden;
  std::filesystem::path built = QUILLO_EXTENSION_BUILD_DIR;
  std::error_code error;
  if (std::filesystem::exists(built / kExtensionModule, error)) return built;
  return QUILLO_EXTENSION_INSTALL_DIR;
}

WebKitSettings* WebKitEngine::makeSettings() {
  WebKitSettings* settings = webkit_settings_new();
  webkit_settings_set_enable_developer_extras(settings, TRUE);
  webkit_settings_set_enable_fullscreen(settings, TRUE);
  // A local page reads no other local file, and no page reads any: these are
  // WebKit's defaults, held here so they never change by accident.
  webkit_settings_set_allow_file_access_from_file_urls(settings, FALSE);
  webkit_settings_set_allow_universal_access_from_file_urls(settings, FALSE);
  webkit_settings_set_user_agent(settings, withSafariToken(webkit_settings_get_user_agent(settings)).c_str());
  // Pages get notifications from the browser's own script (features/web_notifications),
  // asked and answered per site; WebKit's own path would bypass that.
  WebKitFeatureList* features = webkit_settings_get_all_features();
  for (gsize i = 0; i < webkit_feature_list_get_length(features); ++i) {
    WebKitFeature* feature = webkit_feature_list_get(features, i);
    if (g_strcmp0(webkit_feature_get_identifier(feature), "Notifications") == 0)
      webkit_settings_set_feature_enabled(settings, feature, FALSE);
  }
  webkit_feature_list_unref(features);
  return settings;
}

WebKitEngine::WebKitEngine() {
  context_ = webkit_web_context_new();
  extensionFolder_ = chooseExtensionFolder();
  std::error_code error;
  if (std::filesystem::exists(extensionFolder_ / kExtensionModule, error)) {
    // Outside the sandbox's view the module is skipped without a word.
    webkit_web_context_add_path_to_sandbox(context_, extensionFolder_.c_str(), TRUE);
    webkit_web_context_set_web_process_extensions_directory(context_, extensionFolder_.c_str());
  } else {
    logLine("web process extension not found in " + extensionFolder_.string() +
            "; hover links and frame scripts are off");
  }

  settings_ = makeSettings();

  persistent_ = std::make_shared<WebKitDataStore>(makePersistentSession());
}

WebKitSettings* WebKitEngine::scriptlessSettings() {
  if (!scriptlessSettings_) {
    // The same settings, but the content's own scripts never run. What such
    // a view shows is still, so it is drawn without compositing: it comes
    // on screen far sooner where GL is done in software.
    scriptlessSettings_ = makeSettings();
    webkit_settings_set_enable_javascript_markup(scriptlessSettings_, FALSE);
    webkit_settings_set_hardware_acceleration_policy(scriptlessSettings_, WEBKIT_HARDWARE_ACCELERATION_POLICY_NEVER);
  }
  return scriptlessSettings_;
}

WebKitEngine::~WebKitEngine() {
  persistent_.reset();
  if (scriptlessSettings_) g_object_unref(scriptlessSettings_);
  g_object_unref(settings_);
  g_object_unref(context_);
}

std::shared_ptr<DataStore> WebKitEngine::makePrivateStore() {
  WebKitNetworkSession* session = webkit_network_session_new_ephemeral();
  prepare(session);
  return std::make_shared<WebKitDataStore>(session);
}

std::unique_ptr<WebViewPort> WebKitEngine::makeView(const ViewConfiguration& configuration) {
  std::shared_ptr<DataStore> store = configuration.store ? configuration.store : persistent_;
  auto* webkitStore = dynamic_cast<WebKitDataStore*>(store.get());
  if (!webkitStore) {
    logLine("a view was asked for with a data store of another engine; using the persistent one");
    store = persistent_;
    webkitStore = persistent_.get();
  }
  WebKitUserContentManager* manager = makeContentManager(configuration);
  WebKitSettings* settings = configuration.javaScript ? settings_ : scriptlessSettings();
  auto* related = dynamic_cast<const WebKitView*>(configuration.sharesProcessWith);
  if (related && related->store() != store) related = nullptr;  // a related view takes its session
  auto* view = related ? WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "related-view", related->raw(), "settings",
                                                      settings, "user-content-manager", manager, nullptr))
                       : WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "web-context", context_, "network-session",
                                                      webkitStore->session(), "settings", settings,
                                                      "user-content-manager", manager, nullptr));
  g_object_unref(manager);
  return std::make_unique<WebKitView>(view, std::move(store), configuration.filters);
}

}  // namespace quillo
