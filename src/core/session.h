// The saved session: the open tabs a restart brings back, and how "session.json" is read and written.
#pragma once
#include <nlohmann/json.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/url.h"

namespace quillo {

// The open tabs as saved in "session.json": what a restart brings back.
struct Session {
  struct Tab {
    Url url;
    std::string title;
    std::optional<std::string> customName;
    std::optional<std::string> pinID;    // the pin's UUID
    std::optional<size_t> splitPartner;  // index in tabs of the page beside this one
    std::optional<bool> splitIsLeft;
    std::optional<double> splitRatio;       // share of the width given to the left side
    std::optional<std::string> navigation;  // the web view's back/forward state, raw bytes

    bool operator==(const Tab&) const = default;
  };

  std::vector<Tab> tabs;
  std::vector<size_t> recent;  // indices into tabs, most recently shown first

  bool operator==(const Session&) const = default;

  static constexpr std::string_view kFileName = "session.json";
  // The session as it was before the last save.
  static constexpr std::string_view kPreviousFileName = "session.json.previous";

  // Optional fields that are absent are left out; "navigation" is base64.
  nlohmann::json toJSON() const;
  // Never throws. Anything that isn't an object gives an empty session; a tab
  // without a usable "url" is dropped (and the indices that named it with
  // it); optional fields of the wrong type are ignored.
  static Session fromJSON(const nlohmann::json& json);
  static Session fromText(std::string_view text);

  // Reads the saved session: empty when the file is missing. A file that
  // doesn't decode is kept aside and the session before the last save is
  // read instead, when there is one.
  static Session read();
  // Writes it whole, keeping the file it replaces as kPreviousFileName; a
  // failure is logged and the old file stays.
  bool save() const;
};

}  // namespace quillo
