// Starting Quillo at login: the desktop entry in $XDG_CONFIG_HOME/autostart, what it says and whether it is on.
#include "app/autostart.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

#include "core/app_support.h"
#include "core/log.h"
#include "core/text.h"

namespace quillo::Autostart {

std::filesystem::path file() {
  // The config folder's parent is $XDG_CONFIG_HOME, with its fallback.
  return AppSupport::configFolder().parent_path() / "autostart" / "org.quillo.Quillo.desktop";
}

std::string execWord(std::string_view word) {
  constexpr std::string_view reserved = " \t\n\"'\\><~|&;$*?#()`";
  const bool quoted = word.find_first_of(reserved) != std::string_view::npos;
  std::string exec;
  for (char c : word) {
    if (quoted && (c == '"' || c == '`' || c == '$' || c == '\\')) exec += '\\';
    if (c == '%') exec += '%';  // a lone % starts a field code
    exec += c;
  }
  if (quoted) exec = '"' + exec + '"';
  // The key file unescapes its values before the Exec line is split.
  std::string value;
  for (char c : exec) {
    if (c == '\\')
      value += "\\\\";
    else if (c == '\n')
      value += "\\n";
    else if (c == '\t')
      value += "\\t";
    else
      value += c;
  }
  return value;
}

std::string entry(std::string_view program) {
  return "[Desktop Entry]\n"
         "Type=Application\n"
         "Name=Quillo\n"
         "Icon=org.quillo.Quillo\n"
         "Exec=" +
         execWord(program) +
         " --background\n"
         "Terminal=false\n"
         "X-GNOME-Autostart-enabled=true\n";
}

bool startsAtLogin(std::string_view text) {
  bool inEntry = false, sawEntry = false, on = true;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = trimSpaces(text.substr(start, end - start));
    start = end + 1;
    if (line.empty() || line[0] == '#') continue;
    if (line[0] == '[') {
      inEntry = line == "[Desktop Entry]";
      sawEntry = sawEntry || inEntry;
      continue;
    }
    auto equals = line.find('=');
    if (!inEntry || equals == std::string_view::npos) continue;
    std::string_view key = trimSpaces(line.substr(0, equals)), value = trimSpaces(line.substr(equals + 1));
    if ((key == "Hidden" && value == "true") || (key == "X-GNOME-Autostart-enabled" && value == "false")) on = false;
  }
  return sawEntry && on;
}

bool isEnabled() {
  std::ifstream in(file(), std::ios::binary);
  if (!in) return false;
  return startsAtLogin(std::string(std::istreambuf_iterator<char>(in), {}));
}

bool setEnabled(bool enabled, std::string_view program) {
  if (enabled) return AppSupport::writeAtomically(file(), entry(program), "the login item");
  std::error_code error;
  std::filesystem::remove(file(), error);
  if (error) logLine("couldn't remove the login item " + file().string() + ": " + error.message());
  return !error;
}

std::string runningProgram() {
  std::error_code error;
  std::string path = std::filesystem::read_symlink("/proc/self/exe", error).string();
  if (error || path.empty()) return "quillo";
  // A program rebuilt while running still starts from its path.
  constexpr std::string_view deleted = " (deleted)";
  if (path.ends_with(deleted)) path.resize(path.size() - deleted.size());
  return path;
}

}  // namespace quillo::Autostart
