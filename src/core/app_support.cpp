// The app's data, config and cache folders: private modes, atomic writes, and keeping unreadable files aside.
#include "core/app_support.h"

#include <fcntl.h>
#include <glib.h>
#include <glib/gstdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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

bool makeFolder(const std::filesystem::path& path) {
  if (path.empty() || g_mkdir_with_parents(path.c_str(), kFolderMode) == 0) return true;
  logLine("couldn't create " + path.string() + ": " + std::strerror(errno));
  return false;
}

void secure(const std::filesystem::path& root) {
  auto tighten = [](const std::filesystem::path& path) {
    struct stat info;
    if (lstat(path.c_str(), &info) != 0 || S_ISLNK(info.st_mode)) return;
    if ((info.st_mode & 077) == 0) return;
    if (chmod(path.c_str(), info.st_mode & 07700) != 0)
      logLine("couldn't make " + path.string() + " private: " + std::strerror(errno));
  };
  tighten(root);
  std::error_code ec;
  std::filesystem::recursive_directory_iterator it(root, std::filesystem::directory_options::skip_permission_denied,
                                                   ec);
  for (; !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) tighten(it->path());
}

void secureFolders() {
  for (const auto& root : {folder(), configFolder(), cacheFolder()}) {
    makeFolder(root);
    secure(root);
  }
}

bool writeAtomically(const std::filesystem::path& path, std::string_view bytes, std::string_view name) {
  makeFolder(path.parent_path());
  GError* error = nullptr;
  // g_file_set_contents writes a temporary file, syncs it and renames it over.
  if (!g_file_set_contents_full(path.c_str(), bytes.data(), gssize(bytes.size()), G_FILE_SET_CONTENTS_CONSISTENT,
                                kFileMode, &error)) {
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

namespace {
// Moves from to to unless to exists. Never replaces a file, even when
// another process makes one at the same moment.
int renameNoReplace(const std::filesystem::path& from, const std::filesystem::path& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // A file system without the flag: a hard link fails when the name is taken.
  if (link(from.c_str(), to.c_str()) != 0) return errno;
  unlink(from.c_str());
  return 0;
}
}  // namespace

std::optional<std::filesystem::path> keepAside(const std::filesystem::path& path, std::string_view why) {
  constexpr int kMaxKept = 100;
  int error = 0;
  for (int n = 1; n <= kMaxKept; ++n) {
    auto aside = path;
    aside += n == 1 ? std::string(".unreadable") : ".unreadable." + std::to_string(n);
    error = renameNoReplace(path, aside);
    if (error == EEXIST) continue;
    if (error) break;
    logLine("couldn't read " + path.filename().string() + (why.empty() ? "" : " (" + std::string(why) + ")") +
            "; kept it as " + aside.filename().string());
    return aside;
  }
  logLine("couldn't keep " + path.filename().string() +
          " aside: " + (error ? std::strerror(error) : "too many kept copies already"));
  return std::nullopt;
}

bool readyToReplace(const std::filesystem::path& path, bool& unreadable, std::string_view name) {
  if (!unreadable) return true;
  std::error_code ec;
  if (std::filesystem::exists(path, ec) && !keepAside(path)) {
    logLine("couldn't save " + std::string(name) + ": the unreadable one could not be kept aside");
    return false;
  }
  unreadable = false;
  return true;
}

}  // namespace quillo::AppSupport
