// The palette's login scope: the site's 1Password logins, filling the chosen one, then watching for a one-time code.
#include "features/one_password_logins.h"

#include <glib.h>

#include <algorithm>

#include "browser/browser.h"
#include "core/address.h"
#include "core/text.h"
#include "page/page.h"

namespace quillo {

using namespace OnePassword;

namespace {

// The page's host as frames report theirs: lower case, IPv6 without brackets.
std::string hostOf(const Page& page) {
  auto url = page.savedURL();
  if (!url) return {};
  std::string host = asciiLower(url->host());
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  return host;
}

using Frames = std::vector<std::pair<uint64_t, std::string>>;

// Asks frames one after another whether they show a code field; lives as
// long as an answer is awaited.
struct CodeProbe : std::enable_shared_from_this<CodeProbe> {
  Frames frames;
  size_t index = 0;
  std::weak_ptr<Page> page;
  std::weak_ptr<bool> alive;
  std::function<void(std::optional<std::pair<uint64_t, std::string>>)> found;

  void step() {
    auto target = page.lock();
    if (alive.expired() || !target || index >= frames.size()) {
      found(std::nullopt);
      return;
    }
    auto self = shared_from_this();
    const auto& [frame, host] = frames[index];
    target->oneTimeCodeField(std::nullopt, frame, host, [self](bool has) {
      if (has) {
        self->found(self->frames[self->index]);
        return;
      }
      ++self->index;
      self->step();
    });
  }
};

}  // namespace

struct OnePasswordLogins::Watch {
  uint64_t serial = 0;
  Login login;
  std::weak_ptr<Page> page;
  std::string pageHost;
  Clock::time_point deadline;
  TaskHandle timer;
};

OnePasswordLogins::OnePasswordLogins(Browser& browser, Tool& tool) : browser_(browser), tool_(tool) {
  connections_.push_back(browser_.scope.changed().connect([this] { scopeChanged(); }));
}

OnePasswordLogins::~OnePasswordLogins() {
  for (auto& connection : connections_) connection.disconnect();
  alive_.reset();
}

void OnePasswordLogins::setNotice(std::optional<std::string> notice) {
  notice_ = std::move(notice);
  changed.emit();
}

void OnePasswordLogins::scopeChanged() {
  if (browser_.scope.get() == PaletteCommand::login) return;
  // Leaving the scope ends the wait for the tool; a list cut short is asked for again next time.
  if (listCall_.pending()) {
    listCall_.cancel();
    loginsHost_.reset();
    logins_.clear();
    notice_.reset();
  }
  fillCall_.cancel();
}

// ---- Listing ----

void OnePasswordLogins::load() {
  auto page = browser_.current();
  if (!page) {
    setNotice(kOpenASite);
    return;
  }
  if (page->isPrivate()) {
    listCall_.cancel();
    logins_.clear();
    loginsHost_.reset();
    setNotice(kPrivate);
    return;
  }
  const std::string host = hostOf(*page);
  if (host.empty()) {
    listCall_.cancel();
    logins_.clear();
    loginsHost_.reset();
    setNotice(kOpenASite);
    return;
  }
  if (loginsHost_ == host) return;  // the list already loaded (or on its way)

  std::vector<std::string> hosts{host};
  for (const auto& [id, frame] : page->formFrames)
    if (frame.hasLogin && std::find(hosts.begin(), hosts.end(), frame.host) == hosts.end()) hosts.push_back(frame.host);

  loginsHost_ = host;
  logins_.clear();
  setNotice(kAsking);
  std::weak_ptr<bool> alive = alive_;
  std::string shown = Address::display(page->savedURL());
  listCall_ = tool_.run(listArguments(), [this, alive, hosts, shown](Outcome outcome) {
    if (alive.expired()) return;
    if (outcome.failure) {
      loginsHost_.reset();  // asked again when the scope next opens
      setNotice(outcome.failure->description());
      return;
    }
    auto decoded = decodeLogins(*outcome.output);
    if (!decoded) {
      loginsHost_.reset();
      setNotice(kUnreadable);
      return;
    }
    logins_ = forHosts(std::move(*decoded), hosts);
    if (logins_.empty())
      setNotice(noLoginsFor(shown));
    else
      setNotice(std::nullopt);
  });
}

// ---- Filling ----

void OnePasswordLogins::fill(const Login& login) {
  auto page = browser_.current();
  if (page && page->isPrivate()) {
    browser_.show(kPrivate, true);
    return;
  }
  const std::string pageHost = page ? hostOf(*page) : std::string();
  if (pageHost.empty()) {
    browser_.show(kOpenASite, true);
    return;
  }
  bool forThisPage = belongs(login, pageHost);
  for (const auto& [id, frame] : page->formFrames)
    if (frame.hasLogin && belongs(login, frame.host)) forThisPage = true;
  if (!forThisPage) {
    browser_.show(kDifferentSite, true);
    return;
  }

  browser_.show(kFilling);
  std::weak_ptr<bool> alive = alive_;
  std::weak_ptr<Page> weakPage = page;
  fillCall_ = tool_.run(credentialsArguments(login.id), [this, alive, weakPage, pageHost, login](Outcome outcome) {
    if (alive.expired()) return;
    if (outcome.failure) {
      browser_.show(outcome.failure->description(), true);
      return;
    }
    auto credentials = decodeCredentials(*outcome.output);
    if (!credentials) {
      browser_.show(kUnreadable, true);
      return;
    }
    auto page = weakPage.lock();
    if (!page || hostOf(*page) != pageHost) {
      credentials->wipe();
      browser_.show(kPageChanged, true);
      return;
    }
    // Only frames of the login's own site ever see its secrets.
    Frames targets;
    if (belongs(login, pageHost)) targets.emplace_back(0, pageHost);
    for (const auto& [id, frame] : page->formFrames)
      if (frame.hasLogin && belongs(login, frame.host)) targets.emplace_back(id, frame.host);

    struct Tally {
      size_t remaining = 0;
      bool any = false;
    };
    auto tally = std::make_shared<Tally>(Tally{targets.size(), false});
    const bool hasCode = credentials->hasOneTimeCode;
    if (targets.empty()) {
      credentials->wipe();
      filled(login, page, pageHost, false, hasCode);
      return;
    }
    for (const auto& [frame, host] : targets) {
      page->fill(credentials->username, credentials->password, frame, host,
                 [this, alive, tally, weakPage, pageHost, login, hasCode](Page::FillResult result) {
                   if (alive.expired()) return;
                   tally->any = tally->any || result.username || result.password;
                   if (--tally->remaining > 0) return;
                   auto page = weakPage.lock();
                   if (page) filled(login, page, pageHost, tally->any, hasCode);
                 });
    }
    credentials->wipe();
  });
}

void OnePasswordLogins::filled(const Login& login, const std::shared_ptr<Page>& page, const std::string& pageHost,
                               bool anyFilled, bool hasOneTimeCode) {
  if (anyFilled) {
    closePalette();
    if (hasOneTimeCode) watchForOneTimeCode(login, page, pageHost);
    return;
  }
  if (!hasOneTimeCode) {
    browser_.show(kNoLoginForm, true);
    return;
  }
  // No login form, but perhaps the code step of a login already under way.
  std::weak_ptr<bool> alive = alive_;
  std::weak_ptr<Page> weakPage = page;
  findCodeFrame(login, page, [this, alive, weakPage, pageHost, login](auto found) {
    if (alive.expired()) return;
    auto page = weakPage.lock();
    if (!found || !page) {
      browser_.show(kNoLoginForm, true);
      return;
    }
    closePalette();
    fillOneTimeCode(login, page, pageHost, found->first, found->second);
  });
}

void OnePasswordLogins::closePalette() {
  browser_.scope = std::nullopt;
  browser_.query = std::string();
  browser_.selectedResult = std::nullopt;
  browser_.showCurrent();
}

// ---- One-time codes ----

void OnePasswordLogins::watchForOneTimeCode(const Login& login, const std::shared_ptr<Page>& page,
                                            const std::string& pageHost) {
  static uint64_t serials = 0;
  auto watch = std::make_unique<Watch>();
  watch->serial = ++serials;
  watch->login = login;
  watch->page = page;
  watch->pageHost = pageHost;
  watch->deadline = browser_.scheduler().now() + kCodeWatchTime;
  watch_ = std::move(watch);  // a newer watch replaces the older one
  watch_->timer = browser_.scheduler().after(kCodeWatchInterval, [this] { watchRound(); });
}

void OnePasswordLogins::watchRound() {
  if (!watch_) return;
  auto page = watch_->page.lock();
  const std::string host = page ? hostOf(*page) : std::string();
  // The user went elsewhere, or the page closed: the watch ends quietly.
  if (!page || host.empty() || !sameSite(host, watch_->pageHost)) {
    watch_.reset();
    return;
  }
  std::weak_ptr<bool> alive = alive_;
  const uint64_t serial = watch_->serial;
  findCodeFrame(watch_->login, page, [this, alive, serial](auto found) {
    if (alive.expired() || !watch_ || watch_->serial != serial) return;
    auto page = watch_->page.lock();
    if (found && page) {
      Login login = watch_->login;
      std::string pageHost = watch_->pageHost;
      watch_.reset();
      fillOneTimeCode(login, page, pageHost, found->first, found->second);
      return;
    }
    if (!page || browser_.scheduler().now() + kCodeWatchInterval > watch_->deadline) {
      watch_.reset();
      return;
    }
    watch_->timer = browser_.scheduler().after(kCodeWatchInterval, [this] { watchRound(); });
  });
}

void OnePasswordLogins::findCodeFrame(const Login& login, const std::shared_ptr<Page>& page,
                                      std::function<void(std::optional<std::pair<uint64_t, std::string>>)> found) {
  // The main frame first, then the subframes that reported a code field;
  // only frames of the login's own site are asked.
  auto probe = std::make_shared<CodeProbe>();
  if (const std::string mainHost = hostOf(*page); belongs(login, mainHost)) probe->frames.emplace_back(0, mainHost);
  for (const auto& [id, frame] : page->formFrames)
    if (frame.hasCode && belongs(login, frame.host)) probe->frames.emplace_back(id, frame.host);
  probe->page = page;
  probe->alive = alive_;
  probe->found = std::move(found);
  probe->step();
}

void OnePasswordLogins::fillOneTimeCode(const Login& login, const std::shared_ptr<Page>& page,
                                        const std::string& pageHost, uint64_t frame, const std::string& frameHost) {
  // A code goes only to a frame of the login's own site.
  if (!belongs(login, frameHost)) {
    browser_.show(kNoCodeField, true);
    return;
  }
  browser_.show(kGettingCode);
  std::weak_ptr<bool> alive = alive_;
  std::weak_ptr<Page> weakPage = page;
  codeCall_ =
      tool_.run(oneTimeCodeArguments(login.id), [this, alive, weakPage, pageHost, frame, frameHost](Outcome outcome) {
        if (alive.expired()) return;
        if (outcome.failure) {
          browser_.show(outcome.failure->description(), true);
          return;
        }
        auto code = decodeOneTimeCode(*outcome.output);
        wipe(*outcome.output);
        if (code.failure) {
          browser_.show(code.failure->description(), true);
          return;
        }
        auto page = weakPage.lock();
        const std::string host = page ? hostOf(*page) : std::string();
        if (!page || host.empty() || !sameSite(host, pageHost)) {
          wipe(*code.output);
          browser_.show(kPageChangedCode, true);
          return;
        }
        page->oneTimeCodeField(code.output, frame, frameHost, [this, alive](bool done) {
          if (alive.expired()) return;
          if (!done) {
            browser_.show(kNoCodeField, true);
            return;
          }
          browser_.flash = std::nullopt;
          browser_.chrome.update();
        });
        wipe(*code.output);
      });
}

}  // namespace quillo
