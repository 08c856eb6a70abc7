// Pins' identities, and how pins are written to and read from pins.json.
#include "browser/pin.h"

#include <glib.h>

#include <algorithm>
#include <cctype>

namespace quillo {
namespace {

std::string base64(const Bytes& bytes) {
  gchar* text = g_base64_encode(bytes.data(), bytes.size());
  std::string out(text);
  g_free(text);
  return out;
}

std::optional<Bytes> unbase64(const std::string& text) {
  // GLib decodes whatever it is given; reject what is not base64 at all.
  bool valid = std::all_of(text.begin(), text.end(), [](unsigned char c) {
    return std::isalnum(c) || c == '+' || c == '/' || c == '=' || c == '\n' || c == '\r';
  });
  if (!valid) return std::nullopt;
  gsize length = 0;
  guchar* data = g_base64_decode(text.c_str(), &length);
  Bytes out(data, data + length);
  g_free(data);
  return out;
}

}  // namespace

std::string Pin::newID() {
  gchar* uuid = g_uuid_string_random();
  std::string id(uuid);
  g_free(uuid);
  std::transform(id.begin(), id.end(), id.begin(), [](unsigned char c) { return char(std::toupper(c)); });
  return id;
}

std::size_t addToolbarPins(std::vector<Pin>& pins, const std::vector<ImportedBookmark>& bookmarks) {
  std::size_t added = 0;
  for (const auto& bookmark : bookmarks) {
    if (!bookmark.onToolbar) continue;
    if (std::any_of(pins.begin(), pins.end(), [&](const Pin& pin) { return pin.url == bookmark.url; })) continue;
    pins.push_back(Pin{Pin::newID(), bookmark.url, bookmark.title, std::nullopt, std::nullopt});
    ++added;
  }
  return added;
}

nlohmann::json encodePins(const std::vector<Pin>& pins) {
  auto list = nlohmann::json::array();
  for (const auto& pin : pins) {
    nlohmann::json object = {{"id", pin.id}, {"url", pin.url.str()}, {"title", pin.title}};
    if (pin.iconData) object["iconData"] = base64(*pin.iconData);
    if (pin.customName) object["customName"] = *pin.customName;
    list.push_back(std::move(object));
  }
  return list;
}

std::optional<std::vector<Pin>> decodePins(const nlohmann::json& json, std::string* why) {
  auto fail = [&](std::string reason) -> std::optional<std::vector<Pin>> {
    if (why) *why = std::move(reason);
    return std::nullopt;
  };
  if (!json.is_array()) return fail("not a list of pins");
  std::vector<Pin> pins;
  for (size_t i = 0; i < json.size(); ++i) {
    const auto& item = json[i];
    const std::string where = "pin " + std::to_string(i + 1);
    if (!item.is_object()) return fail(where + " is not an object");
    auto text = [&](const char* key) -> const nlohmann::json* {
      auto found = item.find(key);
      return found != item.end() && found->is_string() ? &*found : nullptr;
    };
    auto absent = [&](const char* key) {
      auto found = item.find(key);
      return found == item.end() || found->is_null();
    };
    const auto* id = text("id");
    const auto* url = text("url");
    const auto* title = text("title");
    if (!id || id->get_ref<const std::string&>().empty()) return fail(where + " has no id");
    if (!url) return fail(where + " has no address");
    if (!title) return fail(where + " has no title");
    auto parsed = Url::parse(url->get_ref<const std::string&>());
    if (!parsed) return fail(where + " has an address that is not a URL");
    Pin pin{id->get<std::string>(), *parsed, title->get<std::string>(), std::nullopt, std::nullopt};
    if (const auto* icon = text("iconData")) {
      pin.iconData = unbase64(icon->get<std::string>());
      if (!pin.iconData) return fail(where + " has an icon that is not base64");
    } else if (!absent("iconData")) {
      return fail(where + " has an icon that is not base64");
    }
    if (const auto* name = text("customName"))
      pin.customName = name->get<std::string>();
    else if (!absent("customName"))
      return fail(where + " has a name that is not text");
    pins.push_back(std::move(pin));
  }
  return pins;
}

}  // namespace quillo
