// The --import command: another browser's history and bookmarks brought over from a terminal, without a window.
#include "app/import_command.h"

#include <glib.h>
#include <unistd.h>

#include <ostream>

#include "browser/pin.h"
#include "core/app_support.h"
#include "core/settings.h"
#include "stores/history.h"

namespace quillo {

int importCommand(const std::string& what, std::ostream& out, std::ostream& err) {
  auto source = importSourceNamed(what);
  if (!source) {
    err << "quillo: no browser history found for \"" << what << "\"\n";
    return 1;
  }
  // Pins first: a file that can't be read is the user's, and stays untouched.
  std::vector<Pin> pins;
  auto stored = AppSupport::read(std::string_view("pins.json"));
  if (stored.status == AppSupport::ReadResult::Status::unreadable ||
      (stored.status == AppSupport::ReadResult::Status::ok && !decodePins(stored.value))) {
    err << "quillo: couldn't read " << AppSupport::file("pins.json").string() << "; nothing imported\n";
    return 1;
  }
  if (stored.status == AppSupport::ReadResult::Status::ok) pins = *decodePins(stored.value);

  GLibScheduler scheduler;
  History history(scheduler);  // starts reading history.json meanwhile
  // Progress on one line that rewrites itself, where someone watches it.
  const bool watched = isatty(STDERR_FILENO);
  auto read = readImportSource(*source, [&](double fraction) {
    if (watched) err << "\rImporting from " << source->browser << "… " << int(fraction * 100) << " %" << std::flush;
  });
  if (watched) err << "\n";
  if (auto* error = std::get_if<std::string>(&read)) {
    err << "quillo: " << *error << "\n";
    return 1;
  }
  auto& data = std::get<ImportedData>(read);
  while (!history.isLoaded()) g_main_context_iteration(nullptr, TRUE);

  const std::size_t pinsBefore = pins.size();
  const std::size_t added = addToolbarPins(pins, data.bookmarks);
  if (added) {
    Settings settings(Settings::defaultFile());
    // Like pinning by hand: while every pin is numbered, new ones are too.
    long long numbered = settings.integer("QuickPinCount").value_or(9);
    if (numbered == (long long)pinsBefore)
      settings.set("QuickPinCount", std::min<long long>(9, numbered + (long long)added));
    if (!AppSupport::save(encodePins(pins), "pins.json")) return 1;
  }
  const std::size_t pages = data.pages.size();
  bool merged = false;
  history.merge(importedHistory(std::move(data)), [&](std::size_t) { merged = true; });
  while (!merged) g_main_context_iteration(nullptr, TRUE);
  history.saveNow();
  out << importedSummary(pages, added, source->browser) << "\n";
  return 0;
}

}  // namespace quillo
