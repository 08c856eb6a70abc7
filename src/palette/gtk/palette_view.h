// The palette's list over the page: rows kept by identity, updated once per frame, made as scrolled, pins dragged.
#pragma once
#include <gtkmm.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "browser/browser.h"
#include "palette/gtk/palette_icons.h"
#include "palette/gtk/palette_rows.h"
#include "palette/palette_list.h"

namespace quillo {

// The list under the address bar: shown over the page while the palette is
// open, drawn from PaletteList's entries. Rows are kept by their entry's
// identity, so a keystroke only touches the rows that changed; rows that
// leave are recycled for the next ones; updates are gathered and made once
// per frame. Only the rows near the top (and the highlight) are made; the
// rest follow as the list is scrolled.
class PaletteView : public Gtk::Box, private RowHost {
 public:
  // Stores the list reads that the browser does not hand out. All optional.
  struct Services {
    IconSource* icons = nullptr;
    PermissionSource* permissions = nullptr;
    // Downloads started during this run, newest first.
    std::function<std::vector<DownloadItemPtr>()> sessionDownloads;
    // The login source's word on an empty login list ("Asking 1Password…").
    std::function<std::optional<std::string>()> loginNotice;
  };

  explicit PaletteView(Browser& browser);
  ~PaletteView() override;

  void setServices(Services services);
  // Whether the browser's state calls for the list: the field is being
  // edited, a tab is being composed, a scope is open, tabs are cycled, or a
  // row is being renamed or edited.
  bool wantsOpen() const;
  // Brings the rows up to date now rather than before the next frame.
  void update();

  // What is on screen, for tests and measurements. rows() may be fewer
  // than entries(): the tail is made when scrolled to.
  const std::vector<PaletteList::Entry>& entries() const { return entries_; }
  std::vector<PaletteRow*> rows() const;
  PaletteRow* rowFor(const PaletteItemID& id) const;
  Gtk::Widget* highlightedWidget() const { return highlighted_; }
  Gtk::Box& list() { return list_; }
  size_t rowsMade() const { return rowsMade_; }
  // Fires after every update that changed what is shown.
  sigc::signal<void()>& updated() { return updated_; }

  // Moves a dragged pin onto another pin's place, or the quick divider below
  // this many pins: what a finished drag does.
  void dropPin(const std::string& id, const std::string& target);
  void dropQuickDivider(int numbered);

 private:
  // Rows are kept by what kind of row they are and the entry's identity.
  using RowKey = std::pair<int, PaletteItemID>;
  static RowKey keyOf(const PaletteList::Entry& entry);

  // RowHost
  Browser& browser() override { return browser_; }
  TextureCache& textures() override { return textures_; }
  IconSource* icons() override { return services_.icons; }
  PermissionSource* permissions() override { return services_.permissions; }
  void choose(const PaletteItem& item, bool beside) override;
  void removeFromHistory(int resultIndex) override;
  void fieldOpened() override;
  void fieldDone(bool isAddress, const std::optional<std::string>& text) override;
  bool isDragging() const override { return drag_.active || drag_.justEnded; }

  void scheduleUpdate();
  RowState currentState() const;
  // Gives the first made_ entries their rows, in order; returns the widget
  // that carries the highlight.
  Gtk::Widget* reconcile(const RowState& state);
  void place(const std::vector<PaletteRow*>& order);
  void watchPages();
  void scrollToHighlight();
  void scrolled();
  std::optional<size_t> highlightedEntry(const RowState& state) const;

  void dragBegin(double x, double y);
  void dragUpdate(double dy);
  void dragEnd(double dy);
  std::vector<PaletteRow*> pinRows();

  Browser& browser_;
  Services services_;
  Gtk::ScrolledWindow scroller_;
  Gtk::Box list_{Gtk::Orientation::VERTICAL};
  std::vector<PaletteList::Entry> entries_;
  std::map<RowKey, std::unique_ptr<PaletteRow>> rows_;
  std::vector<PaletteRow*> order_;
  // Item rows no longer shown, kept to draw the next new ones.
  std::vector<std::unique_ptr<PaletteRow>> spare_;
  // How many entries have rows; the rest are stood for by the spacer.
  size_t made_ = 0;
  size_t limit_ = 0;
  Gtk::Box spacer_{Gtk::Orientation::VERTICAL};
  TextureCache textures_;
  Gtk::Widget* highlighted_ = nullptr;
  size_t rowsMade_ = 0;
  bool editingNow_ = false;
  // What the list showed last; a new query or scope starts again at the top.
  std::string shownQuery_;
  std::optional<PaletteCommand> shownScope_;
  guint updateSource_ = 0;
  guint scrollTick_ = 0;
  int scrollTries_ = 0;
  std::vector<sigc::connection> connections_;
  std::map<const Page*, sigc::connection> pageWatch_;
  sigc::signal<void()> updated_;

  struct Drag {
    bool active = false;     // a pin or the divider is being moved
    bool justEnded = false;  // the release after a drag is not a click
    PaletteRow* row = nullptr;
    double startY = 0;
    int divider = -1;  // where the divider would land, in pins above it
    PaletteRow* target = nullptr;
  } drag_;
  Glib::RefPtr<Gtk::GestureDrag> dragGesture_;
};

// Puts the palette list on top of the page overlay, just under the bar, and
// returns it (owned by the overlay).
PaletteView& installPaletteList(Gtk::Overlay& pageOverlay, Browser& browser);
// The palette list inside a window, if one was installed.
PaletteView* findPaletteList(Gtk::Widget& root);

}  // namespace quillo
