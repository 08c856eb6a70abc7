// The saved session's on-disk format: encoding, decoding, reading and writing "session.json".
#include "core/session.h"

#include <glib.h>

#include <cmath>
#include <memory>

#include "core/app_support.h"
#include "core/log.h"

namespace quillo {
namespace {

using nlohmann::json;

std::string base64Encode(std::string_view bytes) {
  std::unique_ptr<char, decltype(&g_free)> text(
      g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size()), g_free);
  return text.get();
}

// GLib decodes anything, garbage included; only well-formed, padded base64
// is taken, so a damaged blob is dropped rather than handed to the engine.
std::optional<std::string> base64Decode(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  size_t padding = 0;
  for (size_t i = 0; i < text.size(); i++) {
    char c = text[i];
    if (c == '=') {
      if (i + 2 < text.size()) return std::nullopt;
      padding++;
    } else if (padding > 0 || !(g_ascii_isalnum(c) || c == '+' || c == '/')) {
      return std::nullopt;
    }
  }
  if (text.empty()) return std::string();
  std::string copy(text);
  gsize length = 0;
  std::unique_ptr<guchar, decltype(&g_free)> bytes(g_base64_decode(copy.c_str(), &length), g_free);
  return std::string(reinterpret_cast<const char*>(bytes.get()), length);
}

std::optional<std::string> stringField(const json& object, const char* key) {
  auto it = object.find(key);
  if (it == object.end() || !it->is_string()) return std::nullopt;
  return it->get<std::string>();
}

// A non-negative whole number, also when written as 2.0.
std::optional<size_t> indexValue(const json& value) {
  if (value.is_number_unsigned()) return size_t(value.get<uint64_t>());
  if (value.is_number_integer()) {
    auto n = value.get<int64_t>();
    return n >= 0 ? std::optional<size_t>(size_t(n)) : std::nullopt;
  }
  if (value.is_number_float()) {
    double d = value.get<double>();
    if (std::isfinite(d) && d >= 0 && d < 9007199254740992.0 && d == std::floor(d)) return size_t(d);
  }
  return std::nullopt;
}

std::optional<Session::Tab> decodeTab(const json& object) {
  if (!object.is_object()) return std::nullopt;
  auto text = stringField(object, "url");
  if (!text) return std::nullopt;
  auto url = Url::parse(*text);
  if (!url) return std::nullopt;

  Session::Tab tab;
  tab.url = *url;
  tab.title = stringField(object, "title").value_or("");
  tab.customName = stringField(object, "customName");
  if (auto pin = stringField(object, "pinID"); pin && g_uuid_string_is_valid(pin->c_str())) tab.pinID = pin;
  if (auto it = object.find("splitPartner"); it != object.end()) tab.splitPartner = indexValue(*it);
  if (auto it = object.find("splitIsLeft"); it != object.end() && it->is_boolean()) tab.splitIsLeft = it->get<bool>();
  if (auto it = object.find("splitRatio"); it != object.end() && it->is_number()) tab.splitRatio = it->get<double>();
  if (auto blob = stringField(object, "navigation")) tab.navigation = base64Decode(*blob);
  return tab;
}

}  // namespace

json Session::toJSON() const {
  json encodedTabs = json::array();
  for (const auto& tab : tabs) {
    json object = {{"url", tab.url.str()}, {"title", tab.title}};
    if (tab.customName) object["customName"] = *tab.customName;
    if (tab.pinID) object["pinID"] = *tab.pinID;
    if (tab.splitPartner) object["splitPartner"] = *tab.splitPartner;
    if (tab.splitIsLeft) object["splitIsLeft"] = *tab.splitIsLeft;
    if (tab.splitRatio) object["splitRatio"] = *tab.splitRatio;
    if (tab.navigation) object["navigation"] = base64Encode(*tab.navigation);
    encodedTabs.push_back(std::move(object));
  }
  return {{"tabs", std::move(encodedTabs)}, {"recent", recent}};
}

Session Session::fromJSON(const json& value) {
  Session session;
  if (!value.is_object()) return session;

  // Where each tab of the file ended up, so indices still name the same tab
  // after a damaged entry was dropped.
  std::vector<std::optional<size_t>> placeOf;
  if (auto it = value.find("tabs"); it != value.end() && it->is_array()) {
    for (const auto& object : *it) {
      auto tab = decodeTab(object);
      placeOf.push_back(tab ? std::optional<size_t>(session.tabs.size()) : std::nullopt);
      if (tab) session.tabs.push_back(std::move(*tab));
    }
  }
  auto remap = [&](std::optional<size_t> fileIndex) -> std::optional<size_t> {
    if (!fileIndex || *fileIndex >= placeOf.size()) return std::nullopt;
    return placeOf[*fileIndex];
  };

  for (auto& tab : session.tabs) tab.splitPartner = remap(tab.splitPartner);
  if (auto it = value.find("recent"); it != value.end() && it->is_array())
    for (const auto& entry : *it)
      if (auto place = remap(indexValue(entry))) session.recent.push_back(*place);
  return session;
}

Session Session::fromText(std::string_view text) {
  return fromJSON(nlohmann::json::parse(text.begin(), text.end(), nullptr, false));
}

Session Session::read() {
  using Status = AppSupport::ReadResult::Status;
  auto result = AppSupport::read(kFileName);
  if (result.status == Status::ok && result.value.is_object()) return fromJSON(result.value);
  if (result.status == Status::missing) return {};
  // The next save would overwrite a file we could not make sense of; keep it
  // for the user instead, and bring back the last good one.
  AppSupport::keepAside(AppSupport::file(kFileName), result.status == Status::ok ? "not a session" : result.error);
  auto previous = AppSupport::read(kPreviousFileName);
  if (previous.status == Status::ok && previous.value.is_object()) {
    logLine("restored the open tabs from " + std::string(kPreviousFileName));
    return fromJSON(previous.value);
  }
  return {};
}

bool Session::save() const {
  // The file being replaced was written by a save that succeeded (or read
  // back whole at start); it becomes the fallback for a bad write.
  auto current = AppSupport::read(kFileName);
  if (current.status == AppSupport::ReadResult::Status::ok && current.value.is_object())
    AppSupport::save(current.value, kPreviousFileName);
  return AppSupport::save(toJSON(), kFileName);
}

}  // namespace quillo
