#include "core/app_support.h"

#include <glib.h>
#include <glib/gstdio.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "core/log.h"

namespace quillo::AppSupport {
namespace {
std::filesystem::path xdg(const char* variable, const char* fallback) {
  const char* value = std::getenv(variable);
  if (value && *value && g_path_is_absolute(value)) return std::filesystem::path(value);
  const char* home = std::getenv("HOME");
  return std::filesystem::path(home && *home ? home : g_get_home_dir()) / fallback;
}
}  // namespace

std::filesystem::path folder() { return xdg("XDG_DATA_HOME", ".local/share") / "quillo"; }
std::filesystem::path configFolder() { return xdg("XDG_CONFIG_HOME", ".config") / "quillo"; }
std::filesystem::path cacheFolder() { return xdg("XDG_CACHE_HOME", ".cache") / "quillo"; }
std::filesystem::path file(std::string_view name) { return folder() / std::string(name); }

bool writeAtomically(const std::filesystem::path& path, std::string_view bytes, std::string_view name) {
  std::error_code ec;
  std::filesystem::create_directories(path.parent_path(), ec);
  GError* error = nullptr;
  // g_file_set_contents writes a temporary file, syncs it and renames it over.
  if (!g_file_set_contents_full(path.c_str(), bytes.data(), gssize(bytes.size()), G_FILE_SET_CONTENTS_CONSISTENT,
                                0644, &error)) {
    logLine("couldn't save " + std::string(name) + ": " + (error ? error->message : "unknown error"));
    g_clear_error(&error);
    return false;
  }
  return true;
}

bool save(const nlohmann::json& value, std::string_view name) {
  std::string bytes;
  try {
    bytes = value.dump();
  } catch (const std::exception& e) {
    logLine("couldn't save " + std::string(name) + ": " + e.what());
    return false;
  }
  return writeAtomically(file(name), bytes, name);
}

ReadResult read(const std::filesystem::path& path) {
  ReadResult result;
  gchar* contents = nullptr;
  gsize length = 0;
  GError* error = nullptr;
  if (!g_file_get_contents(path.c_str(), &contents, &length, &error)) {
    if (error && !g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_NOENT)) {
      result.status = ReadResult::Status::unreadable;
      result.error = error->message;
    }
    g_clear_error(&error);
    return result;
  }
  try {
    result.value = nlohmann::json::parse(contents, contents + length);
    result.status = ReadResult::Status::ok;
  } catch (const std::exception& e) {
    result.status = ReadResult::Status::unreadable;
    result.error = e.what();
  }
  g_free(contents);
  return result;
}

std::optional<std::filesystem::path> keepAside(const std::filesystem::path& path) {
  auto aside = path;
  aside += ".unreadable";
  std::error_code ec;
  std::filesystem::rename(path, aside, ec);
  if (ec) {
    logLine("couldn't keep " + path.filename().string() + " aside: " + ec.message());
    return std::nullopt;
  }
  logLine("couldn't read " + path.filename().string() + "; kept it as " + aside.filename().string() +
          " and started afresh");
  return aside;
}

}  // namespace quillo::AppSupport
