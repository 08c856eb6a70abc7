#pragma once
#include <sigc++/signal.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "chrome/chrome.h"
#include "core/observable.h"
#include "core/scheduler.h"
#include "core/session.h"
#include "core/split.h"
#include "core/url.h"
#include "page/page.h"
#include "page/web_view_port.h"

namespace quillo {

using PagePtr = std::shared_ptr<Page>;

// The one model object: owns every page, the recent order, splits, pins and
// palette state. Main thread only.
class Browser {
 public:
  struct ClosedTab {
    Url url;
    std::optional<std::string> customName;
    std::optional<std::string> navigation;
    size_t position = 0;
  };
  static constexpr size_t kClosedTabLimit = 20;

  Browser(WebEngine& engine, Scheduler& scheduler);
  ~Browser();
  Browser(const Browser&) = delete;
  Browser& operator=(const Browser&) = delete;

  Scheduler& scheduler() { return scheduler_; }
  WebEngine& engine() { return engine_; }
  Chrome chrome;

  // ---- Tabs ----
  Published<std::vector<PagePtr>> pages;   // tab order
  Published<std::vector<PagePtr>> recent;  // most recently shown first
  std::map<std::string, PagePtr> pinnedPages;  // live pages of pins, by pin id
  Published<std::optional<int>> cycleIndex;
  Published<bool> isComposingNewTab{false};
  Published<bool> isComposingPrivateTab{false};
  Published<std::vector<ClosedTab>> recentlyClosed;
  std::vector<std::shared_ptr<Split>> splits;

  PagePtr current() const { return recent->empty() ? nullptr : recent->front(); }
  std::vector<PagePtr> recentUnits() const;

  ViewConfiguration makeConfiguration(bool isPrivate);
  PagePtr makePage(bool isPrivate);
  // Wraps a web view the engine already made (a site's new window).
  PagePtr makePage(std::unique_ptr<WebViewPort> webView);
  void add(const PagePtr& page, bool showing);
  void select(const PagePtr& page);
  void showCurrent();
  void newTab();
  void newPrivateTab();
  void cancelNewTab();
  void closeCurrentTab();
  void close(const PagePtr& page);
  void remember(const PagePtr& closing);
  void reopenClosedTab();
  void cycle(bool backward);

  // Opens addresses sent by other programs: an open page showing exactly that
  // address is selected; otherwise a new tab loads it.
  void openIncoming(const std::vector<Url>& urls);
  // Loads typed text: into a new tab while composing one, else the current page.
  // False when the text resolves to nothing.
  bool loadTyped(const std::string& text);

  // ---- Flash messages ----
  Published<std::optional<std::string>> flash;
  Published<bool> flashIsError{false};
  void show(const std::string& message, bool isError = false);

  // ---- Find in page ----
  Published<bool> isFinding{false};
  Published<std::string> findText;
  Published<std::optional<bool>> findMatched;
  void startFinding();
  void stopFinding();
  void find(const std::string& text);
  void findNext(bool backwards);

  // ---- Palette state (the palette grows from these) ----
  Published<std::string> query;
  Published<std::optional<int>> selectedResult;
  Published<int> addressBarFocusRequests{0};
  Published<std::optional<std::string>> addressBarPrefill;
  // Submits the field's text: find text while finding, else loads it.
  void search(const std::string& text);
  // Brings the window forward and opens the palette ready for typing.
  void summon();

  // ---- Session ----
  void scheduleSessionSave();
  void saveSession();
  Session buildSession() const;
  void restoreSession();
  void restoreSession(const Session& session);

  // ---- Content blocking ----
  // Pages hold their first load until the stored block lists are installed.
  Published<bool> isBlockListSettled{false};
  void installBlockLists(std::vector<std::shared_ptr<ContentFilter>> lists);
  void settleBlockLists();
  const std::vector<std::shared_ptr<ContentFilter>>& blockLists() const { return blockLists_; }

  // ---- Pins (filled in by the pin store) ----
  std::function<bool(const std::string& pinID)> pinExists;

  // ---- Hooks the window answers ----
  sigc::signal<void()> bringForwardRequested;
  sigc::signal<void()> hideRequested;
  // Fires when the current page changed, or the current page's state did.
  sigc::signal<void()> currentPageChanged;

  // Page callbacks into the stores; set by whoever owns the stores.
  std::function<void(const Url&)> recordVisit;
  std::function<void(const std::string&, const Url&)> recordTitle;

 private:
  void setRecent(std::vector<PagePtr> order);
  void wire(const PagePtr& page);
  void dissolveSplit(const PagePtr& page);
  bool anyPrivatePage() const;

  WebEngine& engine_;
  Scheduler& scheduler_;
  std::shared_ptr<DataStore> privateDataStore_;
  std::vector<std::shared_ptr<ContentFilter>> blockLists_;
  TaskHandle flashTask_;
  TaskHandle pendingSessionSave_;
  TaskHandle focusTask_;
  sigc::connection currentPageConnection_;
  std::shared_ptr<bool> aliveToken_ = std::make_shared<bool>(true);

 public:
  // Exposed for tests: whether a private store is alive.
  bool hasPrivateDataStore() const { return privateDataStore_ != nullptr; }
};

}  // namespace quillo
