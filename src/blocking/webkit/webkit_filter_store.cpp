// Block lists compiled and kept in WebKit's content filter store, with the JSON to compile them again from.
#include "blocking/webkit/webkit_filter_store.h"

#include <webkit/webkit.h>

#include <memory>
#include <system_error>

#include "core/app_support.h"
#include "core/log.h"
#include "page/webkit/webkit_content_filter.h"

namespace quillo {

namespace {

// What every pending call carries. The cancellable is the store's: once it
// is cancelled the store is gone and the call is dropped without a callback.
struct Request {
  WebKitUserContentFilterStore* store;
  GCancellable* cancellable;
  std::filesystem::path folder;
  std::string identifier;

  Request(WebKitUserContentFilterStore* s, GCancellable* c, std::filesystem::path f, std::string id)
      : store(WEBKIT_USER_CONTENT_FILTER_STORE(g_object_ref(s))),
        cancellable(G_CANCELLABLE(g_object_ref(c))),
        folder(std::move(f)),
        identifier(std::move(id)) {}
  Request(const Request& other) : Request(other.store, other.cancellable, other.folder, other.identifier) {}
  ~Request() {
    g_object_unref(cancellable);
    g_object_unref(store);
  }
  bool dropped() const { return g_cancellable_is_cancelled(cancellable); }
  std::filesystem::path sourceFile() const { return folder / (identifier + ".json"); }
  std::filesystem::path digestFile() const { return folder / (identifier + ".digest"); }
};

struct CompileRequest : Request {
  CompileRequest(const Request& base, GBytes* j, bool keep, FilterStore::Compiled d)
      : Request(base), json(j), keepSource(keep), done(std::move(d)) {}
  ~CompileRequest() { g_bytes_unref(json); }
  GBytes* json;
  bool keepSource;
  FilterStore::Compiled done;
};

struct LoadRequest : Request {
  LoadRequest(const Request& base, FilterStore::Loaded d) : Request(base), done(std::move(d)) {}
  FilterStore::Loaded done;
};

GBytes* takeBytes(std::string text) {
  auto* owned = new std::string(std::move(text));
  return g_bytes_new_with_free_func(
      owned->data(), owned->size(), [](gpointer data) { delete static_cast<std::string*>(data); }, owned);
}

std::string readDigest(const std::filesystem::path& path) {
  gchar* contents = nullptr;
  gsize size = 0;
  if (!g_file_get_contents(path.c_str(), &contents, &size, nullptr)) return {};
  std::string text(contents, size);
  g_free(contents);
  return text;
}

std::string errorText(GError* error) { return error && error->message ? error->message : "unknown error"; }

// Writes the rule JSON and its digest beside the compiled list, off the
// main thread (the EasyPrivacy JSON is several megabytes).
struct SourceWrite {
  std::filesystem::path source, digest;
  GBytes* json;
};

void writeSource(gpointer data, gpointer) {
  std::unique_ptr<SourceWrite> write(static_cast<SourceWrite*>(data));
  gsize size = 0;
  const char* bytes = static_cast<const char*>(g_bytes_get_data(write->json, &size));
  if (!bytes) bytes = "";
  std::string digest = sourceDigest(std::string_view(bytes, size));
  GError* error = nullptr;
  AppSupport::makeFolder(write->source.parent_path());
  auto flags = G_FILE_SET_CONTENTS_CONSISTENT;
  if (!g_file_set_contents_full(write->source.c_str(), bytes, gssize(size), flags, AppSupport::kFileMode, &error) ||
      !g_file_set_contents_full(write->digest.c_str(), digest.data(), gssize(digest.size()), flags,
                                AppSupport::kFileMode, &error)) {
    logLine("couldn't save " + write->source.filename().string() + ": " + errorText(error));
    g_clear_error(&error);
  }
  g_bytes_unref(write->json);
}

GThreadPool* writerPool() {
  // One thread, so writes for one identifier land in the order they were
  // made. Each file is replaced atomically, so a write cut short at exit
  // leaves the previous one.
  static GThreadPool* pool = g_thread_pool_new(writeSource, nullptr, 1, FALSE, nullptr);
  return pool;
}

void saved(GObject* source, GAsyncResult* result, gpointer data) {
  std::unique_ptr<CompileRequest> request(static_cast<CompileRequest*>(data));
  GError* error = nullptr;
  WebKitUserContentFilter* filter =
      webkit_user_content_filter_store_save_finish(WEBKIT_USER_CONTENT_FILTER_STORE(source), result, &error);
  std::string why = errorText(error);
  g_clear_error(&error);
  std::shared_ptr<ContentFilter> compiled;
  if (filter) {
    compiled = std::make_shared<WebKitContentFilter>(filter);
    webkit_user_content_filter_unref(filter);
  }
  if (request->dropped()) return;
  if (!compiled) {
    request->done(nullptr, why);
    return;
  }
  if (request->keepSource) {
    g_thread_pool_push(writerPool(),
                       new SourceWrite{request->sourceFile(), request->digestFile(), g_bytes_ref(request->json)},
                       nullptr);
  }
  request->done(std::move(compiled), {});
}

void compile(const Request& base, GBytes* json, bool keepSource, FilterStore::Compiled done) {
  auto* request = new CompileRequest(base, json, keepSource, std::move(done));
  webkit_user_content_filter_store_save(request->store, request->identifier.c_str(), json, request->cancellable, &saved,
                                        request);
}

// A list WebKit could not load, made again from the JSON kept beside it.
void sourceRead(GObject* source, GAsyncResult* result, gpointer data) {
  std::unique_ptr<LoadRequest> request(static_cast<LoadRequest*>(data));
  gchar* contents = nullptr;
  gsize length = 0;
  GError* error = nullptr;
  bool read = g_file_load_contents_finish(G_FILE(source), result, &contents, &length, nullptr, &error);
  std::string why = errorText(error);
  g_clear_error(&error);
  if (request->dropped()) {
    g_free(contents);
    return;
  }
  if (!read) {
    logLine("couldn't read " + request->sourceFile().filename().string() + ": " + why);
    request->done({});
    return;
  }
  std::string digest = readDigest(request->digestFile());
  compile(*request, g_bytes_new_take(contents, length), false,
          [identifier = request->identifier, digest, done = std::move(request->done)](
              std::shared_ptr<ContentFilter> filter, std::string error) {
            if (!filter) {
              logLine("couldn't compile content filter " + identifier + " again: " + error);
              done({});
              return;
            }
            done(FilterStore::Stored{std::move(filter), digest});
          });
}

void loaded(GObject* source, GAsyncResult* result, gpointer data) {
  std::unique_ptr<LoadRequest> request(static_cast<LoadRequest*>(data));
  GError* error = nullptr;
  WebKitUserContentFilter* filter =
      webkit_user_content_filter_store_load_finish(WEBKIT_USER_CONTENT_FILTER_STORE(source), result, &error);
  bool notFound = g_error_matches(error, WEBKIT_USER_CONTENT_FILTER_ERROR, WEBKIT_USER_CONTENT_FILTER_ERROR_NOT_FOUND);
  std::string why = errorText(error);
  g_clear_error(&error);
  std::shared_ptr<ContentFilter> stored;
  if (filter) {
    stored = std::make_shared<WebKitContentFilter>(filter);
    webkit_user_content_filter_unref(filter);
  }
  if (request->dropped()) return;
  if (stored) {
    request->done(FilterStore::Stored{std::move(stored), readDigest(request->digestFile())});
    return;
  }
  // WebKit reports a list it can no longer read (one compiled by another
  // version, say) as missing or as an error; either way the JSON kept
  // beside it can make it again.
  std::filesystem::path sourcePath = request->sourceFile();
  if (!g_file_test(sourcePath.c_str(), G_FILE_TEST_IS_REGULAR)) {
    if (!notFound) logLine("couldn't load content filter " + request->identifier + ": " + why);
    request->done({});
    return;
  }
  GFile* file = g_file_new_for_path(sourcePath.c_str());
  GCancellable* cancellable = request->cancellable;
  g_file_load_contents_async(file, cancellable, &sourceRead, request.release());
  g_object_unref(file);
}

}  // namespace

WebKitFilterStore::WebKitFilterStore() : WebKitFilterStore(AppSupport::folder() / "content-filters") {}

WebKitFilterStore::WebKitFilterStore(std::filesystem::path folder)
    : folder_(std::move(folder)),
      store_(webkit_user_content_filter_store_new(folder_.c_str())),
      cancellable_(g_cancellable_new()) {}

WebKitFilterStore::~WebKitFilterStore() {
  g_cancellable_cancel(cancellable_);
  g_object_unref(cancellable_);
  g_object_unref(store_);
}

void WebKitFilterStore::compile(const std::string& identifier, std::string json, Compiled done) {
  quillo::compile(Request(store_, cancellable_, folder_, identifier), takeBytes(std::move(json)), true,
                  std::move(done));
}

void WebKitFilterStore::load(const std::string& identifier, Loaded done) {
  auto* request = new LoadRequest(Request(store_, cancellable_, folder_, identifier), std::move(done));
  webkit_user_content_filter_store_load(store_, identifier.c_str(), cancellable_, &loaded, request);
}

}  // namespace quillo
