// The browser hub: tabs, splits, pins, palette state and commands, find, zoom, the session and the attached stores.
#pragma once
#include <sigc++/signal.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "browser/chrome.h"
#include "browser/hint_labels.h"
#include "browser/palette_item.h"
#include "browser/pin.h"
#include "browser/split.h"
#include "core/connections.h"
#include "core/modifiers.h"
#include "core/observable.h"
#include "core/scheduler.h"
#include "core/session.h"
#include "core/sources.h"
#include "core/url.h"
#include "page/page.h"
#include "page/web_view_port.h"
#include "stores/history_import.h"

namespace quillo {

class AppLinks;
class IconStore;
class History;
class Settings;
class SiteZoom;
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
  Published<std::vector<PagePtr>> pages;       // tab order
  Published<std::vector<PagePtr>> recent;      // most recently shown first
  std::map<std::string, PagePtr> pinnedPages;  // live pages of pins, by pin id
  Published<std::optional<int>> cycleIndex;
  Published<bool> isComposingNewTab{false};
  Published<bool> isComposingPrivateTab{false};
  Published<std::vector<ClosedTab>> recentlyClosed;
  std::vector<std::shared_ptr<Split>> splits;

  PagePtr current() const { return recent->empty() ? nullptr : recent->front(); }
  std::vector<PagePtr> recentUnits() const;

  ViewConfiguration makeConfiguration(bool isPrivate);
  // The configuration of a view in the given store.
  ViewConfiguration makeConfiguration(const std::shared_ptr<DataStore>& store);
  // A page with no view yet: it makes one when first shown or loaded.
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

  // ---- Idle unloading ----
  static constexpr std::chrono::seconds kIdleCheckInterval{300};
  static constexpr std::chrono::seconds kIdleThreshold{3600};
  // The pages on screen: the current page and its split partner.
  std::vector<PagePtr> showingPages() const;
  // Unloads every open page that is hidden, was last shown more than an
  // hour ago and holds nothing a reload would lose. Runs every 5 minutes.
  void unloadIdlePages();

  // Opens addresses sent by other programs: an open page showing exactly that
  // address is selected; otherwise a new tab loads it.
  void openIncoming(const std::vector<Url>& urls);
  // Loads typed text: into a new tab while composing one, else the current page.
  // False when the text resolves to nothing.
  bool loadTyped(const std::string& text);
  // Loads an address into a page now, or once the block lists are in.
  void loadWhenSettled(const PagePtr& page, const Url& url);

  // ---- Split view (splits above) ----
  // Fires when a split was made or dissolved (the window lays out again).
  sigc::signal<void()> splitsChanged;
  // Opens the palette to choose what goes beside the current page.
  void startSplit();
  // Shows `page` beside the current page (on the right, as the current side).
  void showBeside(const PagePtr& page);
  void dissolve(const std::shared_ptr<Split>& split);
  // Opens an address in a new page beside `opener`, in the opener's store.
  void openBeside(const PagePtr& opener, const Url& url);
  // A mouse-down on a page's view (`clicked`; none when on no page). With
  // exactly Shift held over a link of the current page, the link opens
  // beside it and the click is used up (true).
  bool openLinkBeside(const Modifiers& modifiers, const Page* clicked);
  // A mouse-down on the other side of the current split makes it current.
  void focusSideUnderPointer(const Page* clicked);
  // The split the current page is in, if any.
  std::shared_ptr<Split> currentSplit() const;
  // Ctrl+Alt+Left/Right: the current split's divider `steps` key steps to the
  // right (negative: left); Ctrl+Alt+0 centres it. Saved as a drag is.
  void moveDivider(int steps);
  void centreDivider();

  // ---- Link hints (browser_hints.cpp) ----
  // What choosing a hint does: follow it (click, focus or load in this tab),
  // or, for links only, open it in a background tab, beside the page, or
  // copy its address, or download it.
  enum class HintAction { follow, background, beside, copy, download };
  // While set the window sends typed keys to the hints, not the page.
  Published<bool> hintsShown{false};
  // Tags what can be clicked (or the links) in view, in every frame of the
  // current page; asked again while shown, ends them.
  void startHints(HintAction action);
  // A typed character narrows the tags by label, or by text when it begins
  // no label; a whole label chooses its element.
  void typeHint(const std::string& text);
  void eraseHint();
  // Return: the first tag still shown.
  void chooseHint();
  void endHints();
  // The tags on the page, in label order; none while hints are not shown.
  std::vector<HintTarget> hintTargets() const { return hints_ ? hints_->targets : std::vector<HintTarget>{}; }

  // ---- Flash messages ----
  Published<std::optional<std::string>> flash;
  Published<bool> flashIsError{false};
  void show(const std::string& message, bool isError = false);

  // ---- Find in page ----
  Published<bool> isFinding{false};
  Published<std::string> findText;
  Published<std::optional<bool>> findMatched;
  // How many matches findText has (none until counted; above kFindMatchLimit
  // when too many to count) and which is shown, from 1 (0: none). The engine
  // keeps no current match, so it is followed here.
  Published<std::optional<unsigned>> findCount;
  Published<unsigned> findIndex{0};
  void startFinding();
  void stopFinding();
  void find(const std::string& text);
  void findNext(bool backwards);

  // ---- Palette state ----
  Published<std::string> query;  // the field's text as typed, "/" included
  Published<std::optional<PaletteCommand>> scope;
  // Every assignment clears confirmingDeletePinID.
  Published<std::optional<int>> selectedResult;
  Published<std::optional<std::string>> confirmingDeletePinID;
  Published<std::optional<PaletteItemID>> renamingID;
  Published<std::optional<std::string>> editingURLPinID;
  Published<bool> isChoosingSplitPartner{false};
  Published<int> addressBarFocusRequests{0};
  Published<std::optional<std::string>> addressBarPrefill;
  // Fires when anything the palette list is computed from changed.
  sigc::signal<void()> paletteChanged;

  // Derived afresh on every call; nothing here is cached.
  bool isChoosingCommand() const;
  bool isSearching() const;
  std::vector<PaletteItem> results() const;
  std::vector<PaletteItem> restingItems() const;
  std::vector<Pin> listedPins() const;
  PagePtr highlighted() const;
  // The open page of the highlighted row (a tab, or a pin's page) while the
  // palette has the keyboard, else the current page.
  PagePtr highlightedTab(bool paletteHasKeyboard) const;
  std::optional<PaletteItemID> restingHighlightID() const;
  std::optional<int> highlightIndex() const;
  std::optional<int> activeResult() const;
  std::optional<std::string> permissionsHost() const;
  bool isEditingInList() const { return renamingID.get() || editingURLPinID.get(); }
  bool isChoosingLogin() const { return scope.get() == PaletteCommand::login; }
  bool isManagingPermissions() const { return scope.get() == PaletteCommand::permissions; }
  bool isManagingPins() const { return scope.get() == PaletteCommand::pins; }
  // The inline completion for typed text: none for commands, else history's.
  std::optional<std::string> completion(const std::string& typed) const;

  // ---- Palette commands ----
  void enter(PaletteCommand command);
  void leaveScope();
  void showCommands();
  // Return or a click on a row; beside (Alt held) shows it next to this page.
  void choose(const PaletteItem& item, bool beside = false);
  void open(const PaletteItem& item);
  void run(PaletteCommand command);
  // Submits the field's text: find text while finding, "/history" enters
  // that scope, anything else is loaded as an address or a search.
  void search(const std::string& text);
  // Return in the palette's field (with Alt: beside). Chooses the active row
  // when there is one, else submits the field's text. Returns true when the
  // palette keeps the keyboard (a scope, a new tab being composed, a command
  // that asked for the field); otherwise the palette closes and the page has
  // the keyboard again.
  bool submit(const std::string& fieldText, bool beside = false);
  // Brings the window forward and opens the palette ready for typing.
  void summon();
  // Ctrl+E: closes the palette while it is being edited, else opens it.
  void toggleBar();
  void confirmClearingHistory();
  void setPermission(std::optional<PermissionDecision> decision, const SitePermission& permission);

  // ---- Rename and edit ----
  void renameCurrent();
  void finishRenaming(const std::optional<std::string>& name);
  void startEditingURL(const std::string& pinID);
  void finishEditingURL(const std::optional<std::string>& text);
  void copyHighlighted();
  void copy(const Url& url);
  void removeHighlighted();

  // ---- Session ----
  void scheduleSessionSave();
  void saveSession();
  Session buildSession() const;
  void restoreSession();
  void restoreSession(const Session& session);

  // ---- Start-up ----
  // While set, no page is shown and so none makes its web view: at start-up
  // the window comes up and takes keys first, the engine right after it.
  Published<bool> isDeferringViews{false};
  void stopDeferringViews();

  // ---- Content blocking ----
  // Pages hold their first load until the stored block lists are installed.
  Published<bool> isBlockListSettled{false};
  void installBlockLists(std::vector<std::shared_ptr<ContentFilter>> lists);
  void settleBlockLists();
  const std::vector<std::shared_ptr<ContentFilter>>& blockLists() const { return blockLists_; }

  // ---- Pins ----
  // Every assignment saves "pins.json".
  Published<std::vector<Pin>> pins;
  // How many leading pins are numbered Ctrl+1-9; every assignment is stored
  // under "QuickPinCount" once settings are attached.
  Published<int> quickPinCount{kDefaultQuickPinCount};
  std::map<std::string, Bytes> pinIcons;  // by pin id
  static constexpr int kDefaultQuickPinCount = 9;
  static constexpr int kMaxQuickPins = 9;

  // Reads "pins.json". An unreadable file leaves no pins and is kept until
  // the pins are next changed.
  void loadPins();
  bool hasPin(const std::string& pinID) const;
  const Pin* findPin(const std::string& pinID) const;
  void pin(const PagePtr& page);
  void unpin(const Pin& pin);
  void togglePinForCurrentTab();
  void openPin(int number);
  PagePtr livePage(const Pin& pin);
  void movePin(const std::string& id, const std::string& target);
  void arrangePins(const std::vector<std::string>& ids, int numbered);
  std::optional<Bytes> icon(const Pin& pin) const;
  // The row the palette highlights: searching, in a scope or at rest.
  std::optional<PaletteItem> highlightedRow() const;
  // Keys on the palette's highlighted pin row; each is false (the key passes
  // on) when the highlighted row is not a pin's.
  // Alt+Up/Down: the pin one place up or down the order; the highlight follows.
  bool moveHighlightedPin(int step);
  // Alt+Shift+Up/Down: one pin fewer or more numbered Ctrl+1-9.
  bool moveQuickDivider(int step);
  // Ctrl+Shift+E edits the pin's address in its row, Ctrl+I (`address`
  // false) a pin's or a tab's name.
  bool editHighlighted(bool address);
  // The keys the highlighted pin row answers to, for the caption (or that a
  // second Shift+Delete deletes it); none for other rows, in a scope (its
  // own hint says them) or while editing.
  std::optional<std::string> highlightedRowKeys() const;
  // Session restore attaches pages only to pins that still exist.
  std::function<bool(const std::string& pinID)> pinExists = [this](const std::string& id) { return hasPin(id); };

  // ---- Importing from other browsers ----
  // The profiles the import scope lists, counted; none while being looked for.
  Published<std::optional<std::vector<ImportSource>>> importSources;
  Published<bool> isImporting{false};
  struct ImportResult {
    std::size_t pages = 0, pins = 0;
    std::optional<std::string> error;
  };
  // Looks for other browsers' profiles and counts them, on a worker thread.
  void findImportSources();
  // Reads the profile on a worker thread, with its progress in the flash;
  // then brings its pages into history and its toolbar into the pins, all
  // at once, and flashes what came over (or why nothing did). `done` gets
  // the same on the main thread.
  void importFrom(const ImportSource& source, std::function<void(const ImportResult&)> done = {});

  // ---- Reader mode (the current page, the focused side of a split) ----
  void toggleReader();
  void closeReader();

  // ---- Sound ----
  // Mutes or unmutes a page (the highlighted tab's, by Ctrl+M).
  void toggleMuted(const PagePtr& page);

  // ---- Floating video (one at a time, like the desktop's own) ----
  // Floats the current page's video in the small window, or brings it back.
  void pictureInPicture();
  // Brings the floating video back into its page (its window was closed).
  void endFloating();
  // The page whose view shows in the floating window, if any.
  Published<PagePtr> floatingVideo;

  // ---- Zoom (the current page; the level is remembered for its site) ----
  void zoomIn();
  void zoomOut();
  void actualSize();

  // ---- Stores and services the palette reads (attached by the app) ----
  void attach(History& history);
  void attach(Settings& settings);
  void attach(LoginSource& logins);
  void attach(PermissionSource& permissions);
  void attach(DownloadSource& downloads);
  void attach(Clipboard& clipboard);
  void attach(Alerts& alerts);
  void attach(IconSource& icons);
  // Every page, open or made later, follows the zoom levels of its site.
  void attach(SiteZoom& siteZoom);
  // Links of other schemes go to the desktop's programs through this.
  void attach(AppLinks& appLinks);
  // Site icons: every page finds its icon through the store.
  void attach(IconStore& icons);
  // A page found its site's icon: a pin opened from it keeps it, if the pin
  // had none.
  void iconFound(const Bytes& image, const PagePtr& page);
  // How long pages wait for a load the browser started to commit.
  Duration loadTimeout = Page::kLoadTimeout;
  // Features that other parts of the program provide; unset ones do nothing.
  struct FeatureHooks {
    // Reader mode on or off; the answer is false only when there was no article.
    std::function<void(const PagePtr&, std::function<void(bool shown)>)> toggleReader;
    std::function<void()> makeDefault;
    // A page's "quilloNotify" message (web notifications).
    std::function<void(const PagePtr&, const FrameMessage&)> notify;
  } features;

  // ---- Hooks the window answers ----
  sigc::signal<void()> bringForwardRequested;
  sigc::signal<void()> hideRequested;
  sigc::signal<void()> quitRequested;
  // Fires when the current page changed, or the current page's state did.
  sigc::signal<void()> currentPageChanged;

  // Page callbacks into the stores; set by whoever owns the stores.
  std::function<void(const Url&)> recordVisit;
  std::function<void(const std::string&, const Url&)> recordTitle;

 private:
  void setRecent(std::vector<PagePtr> order);
  // Mirrors a page's floating into floatingVideo.
  void followFloating(const PagePtr& page);
  // The palette side (browser_palette.cpp).
  void initPalette();
  // Opens the palette afresh: no scope, no selection, focus on the field.
  void openPalette();
  void savePins();
  std::string searchText() const;
  void pullSelectionBack();

  void wire(const PagePtr& page);
  // The current page and its split partner load what they were waiting to.
  void loadShownIfPending(const PagePtr& page);
  Page::ViewMaker viewMaker();
  void scheduleIdleCheck();
  bool isOpen(const PagePtr& page) const;
  void dissolveSplit(const PagePtr& page);
  bool anyPrivatePage() const;

  WebEngine& engine_;
  Scheduler& scheduler_;
  std::shared_ptr<DataStore> privateDataStore_;
  std::vector<std::shared_ptr<ContentFilter>> blockLists_;
  struct Hints {
    std::weak_ptr<Page> page;
    std::optional<Url> url;  // the page's when hints began: a navigation ends them
    HintAction action = HintAction::follow;
    std::vector<HintTarget> targets;
    // Each target's frame (by the token its script chose) and index there.
    std::vector<std::pair<std::string, size_t>> places;
    std::string typed;
    sigc::connection watch;
  };
  std::optional<Hints> hints_;
  unsigned hintRequests_ = 0;  // answers to older requests are stale
  void hintsCollected(unsigned request, std::vector<nlohmann::json> frames);
  void narrowHints();
  void actOnHint(size_t index);
  TaskHandle flashTask_;
  // Searches findText from the start (or the end), counting its matches.
  void findAfresh(bool backwards);
  // Answers to older find requests (or counts) are stale.
  unsigned findRequests_ = 0, findCounts_ = 0;
  TaskHandle pendingSessionSave_;
  Clock::time_point firstUnsavedSessionChange_{};
  TaskHandle focusTask_;
  TaskHandle idleCheck_;
  sigc::connection currentPageConnection_;
  std::shared_ptr<bool> aliveToken_ = std::make_shared<bool>(true);
  History* history_ = nullptr;
  Settings* settings_ = nullptr;
  LoginSource* loginSource_ = nullptr;
  PermissionSource* permissionSource_ = nullptr;
  DownloadSource* downloadSource_ = nullptr;
  Clipboard* clipboard_ = nullptr;
  Alerts* alerts_ = nullptr;
  IconSource* iconSource_ = nullptr;
  SiteZoom* siteZoom_ = nullptr;
  AppLinks* appLinks_ = nullptr;
  IconStore* iconStore_ = nullptr;
  // Worker threads post back through this; cut when the browser goes.
  struct WorkerLink;
  std::shared_ptr<WorkerLink> workers_;
  void linkWorkers();
  void unlinkWorkers();
  bool pinsFileUnreadable_ = false;
  bool loadingPalette_ = false;
  // Connections to stores that may outlive the browser; cut on destruction.
  Connections storeLinks_;

 public:
  // Expires with the browser: asynchronous work checks it before coming back.
  std::weak_ptr<bool> aliveToken() const { return aliveToken_; }
  // Exposed for tests: whether a private store is alive.
  bool hasPrivateDataStore() const { return privateDataStore_ != nullptr; }
};

}  // namespace quillo
