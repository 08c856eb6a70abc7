// A pinned site, and how pins are written to and read from pins.json.
#pragma once
#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <vector>

#include "core/sources.h"
#include "core/url.h"
#include "stores/history_import.h"

namespace quillo {

// A pinned site. While open, it owns one live page (Browser::pinnedPages).
struct Pin {
  std::string id;  // a UUID, fixed at creation
  Url url;
  std::string title;
  std::optional<Bytes> iconData;
  std::optional<std::string> customName;

  // What rows show: the custom name, else the title.
  const std::string& displayName() const { return customName ? *customName : title; }
  bool operator==(const Pin&) const = default;

  // A fresh identity, in the canonical upper-case form.
  static std::string newID();
};

// Appends a pin for each toolbar bookmark whose address no pin has yet, in
// their order; returns how many were added.
std::size_t addToolbarPins(std::vector<Pin>& pins, const std::vector<ImportedBookmark>& bookmarks);

// "pins.json": an array of {"id", "url", "title", "iconData"?, "customName"?},
// icons in base64, absent optionals left out.
nlohmann::json encodePins(const std::vector<Pin>& pins);
// nullopt when any element is malformed: the file is then unreadable as a
// whole and is kept, never half-read and overwritten. `why` says what failed.
std::optional<std::vector<Pin>> decodePins(const nlohmann::json& json, std::string* why = nullptr);

}  // namespace quillo
