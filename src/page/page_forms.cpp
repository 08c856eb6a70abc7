// The page's side of logins and one-time codes: which frames reported forms,
// and the scripts that fill them.
#include <glib.h>

#include "core/text.h"
#include "page/page.h"
#include "scripts/resources.h"

namespace quillo {

namespace {

// A script that runs one of the form scripts (an arrow function) with these
// arguments, after the helpers they share.
std::string formCall(std::string_view body, const nlohmann::json& arguments) {
  std::string script = "(() => {\n";
  script += scripts::resource("form_helpers.js");
  script += "\nreturn (";
  script += body;
  script += ")(...";
  script += arguments.dump();
  script += ");\n})()";
  return script;
}

std::string lowerHost(const Url& url) {
  std::string host = asciiLower(url.host());
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  return host;
}

nlohmann::json orNull(const std::optional<std::string>& text) {
  return text ? nlohmann::json(*text) : nlohmann::json();
}

void wipeScript(std::string& script) {
  std::fill(script.begin(), script.end(), '\0');
  script.clear();
}

}  // namespace

void Page::noteFormFrame(uint64_t frame, const std::string& frameURL, bool hasLogin, bool hasCode) {
  auto url = Url::parse(frameURL);
  if (!url || url->host().empty()) {
    formFrames.erase(frame);
    return;
  }
  formFrames[frame] = FormFrame{frame, lowerHost(*url), hasLogin, hasCode};
}

void Page::fill(const std::optional<std::string>& username, const std::optional<std::string>& password, uint64_t frame,
                const std::string& host, std::function<void(FillResult)> done) {
  // A page without a view (restored, unloaded) has no form to fill.
  if (!webView_) {
    if (done) done(FillResult{});
    return;
  }
  nlohmann::json arguments = nlohmann::json::array({orNull(username), orNull(password), host});
  std::string script = formCall(scripts::resource("fill.js"), arguments);
  for (auto& value : arguments)
    if (value.is_string()) wipeScript(value.get_ref<std::string&>());
  webView_->evaluate(script, frame, true, [done = std::move(done)](std::optional<nlohmann::json> result, std::string) {
    FillResult filled;
    if (result && result->is_object()) {
      filled.username = result->value("username", false);
      filled.password = result->value("password", false);
    }
    if (done) done(filled);
  });
  wipeScript(script);
}

void Page::oneTimeCodeField(const std::optional<std::string>& code, uint64_t frame, const std::string& host,
                            std::function<void(bool)> done) {
  if (!webView_) {
    if (done) done(false);
    return;
  }
  nlohmann::json arguments = nlohmann::json::array({orNull(code), host});
  std::string script = formCall(scripts::resource("one_time_code.js"), arguments);
  for (auto& value : arguments)
    if (value.is_string()) wipeScript(value.get_ref<std::string&>());
  webView_->evaluate(script, frame, true, [done = std::move(done)](std::optional<nlohmann::json> result, std::string) {
    if (done) done(result && result->is_boolean() && result->get<bool>());
  });
  wipeScript(script);
}

}  // namespace quillo
