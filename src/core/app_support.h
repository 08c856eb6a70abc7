// The app's data, config and cache folders, and the safe ways stores read and write files in them.
#pragma once
#include <nlohmann/json.hpp>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace quillo::AppSupport {

// $XDG_DATA_HOME/quillo (default ~/.local/share/quillo). Read from the
// environment on every call, so tests can point it elsewhere.
std::filesystem::path folder();
std::filesystem::path file(std::string_view name);
// $XDG_CONFIG_HOME/quillo and $XDG_CACHE_HOME/quillo.
std::filesystem::path configFolder();
std::filesystem::path cacheFolder();

// Only the user may read what Quillo keeps: folders it makes are 0700 and
// files it writes 0600.
inline constexpr int kFolderMode = 0700;
inline constexpr int kFileMode = 0600;

// Creates a folder (and missing parents) readable by the user only; an
// existing folder is left as it is. False, logged, when it cannot be made.
bool makeFolder(const std::filesystem::path& path);
// Creates the data, config and cache folders and takes every permission
// for group and others off them and everything below (files and folders
// others made there before, or that the web engine wrote). Symbolic links
// are not followed.
void secureFolders();
void secure(const std::filesystem::path& root);

// Writes bytes to path through a temporary file that replaces it, creating
// the parent folders. On failure logs "couldn't save <name>: <why>" and
// leaves the old file as it was.
bool writeAtomically(const std::filesystem::path& path, std::string_view bytes, std::string_view name);
// Encodes value and writes it whole to file(name).
bool save(const nlohmann::json& value, std::string_view name);

struct ReadResult {
  enum class Status { missing, ok, unreadable } status = Status::missing;
  nlohmann::json value;
  std::string error;
};
ReadResult read(const std::filesystem::path& path);
inline ReadResult read(std::string_view name) { return read(file(name)); }

// Before a store overwrites a file it could not read, the file is moved to
// "<name>.unreadable" (or ".unreadable.2", ".3", … when an earlier copy is
// already kept: kept copies are never overwritten) so the user's data is
// never destroyed silently. Logs one line, with `why` when given. Returns
// the path it was kept as.
std::optional<std::filesystem::path> keepAside(const std::filesystem::path& path, std::string_view why = {});

// For a store about to write: when its file could not be read
// (`unreadable`), keeps that file aside first and clears the flag. Returns
// whether the write may go ahead; when the file could not be kept aside it
// logs why and the store writes nothing.
bool readyToReplace(const std::filesystem::path& path, bool& unreadable, std::string_view name);

}  // namespace quillo::AppSupport
