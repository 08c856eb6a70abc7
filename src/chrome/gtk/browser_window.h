// The main window: the bar in the title bar, the page area below, and every keyed command as an action.
#pragma once
#include <gtkmm.h>

#include <memory>

#include "browser/browser.h"
#include "chrome/gtk/desktop_keys.h"
#include "chrome/gtk/floating_video.h"
#include "chrome/gtk/split_view.h"
#include "page/gtk/page_stage.h"
#include "palette/gtk/address_bar.h"

namespace quillo {

// The one browser window: the bar in the title bar, the current page filling
// the rest. Every command with a key is an action here ("win.new-tab"), so
// the menu and the keys share one table.
class BrowserWindow : public Gtk::ApplicationWindow {
 public:
  struct Command {
    const char* name;
    const char* title;
    std::vector<const char*> accels;
  };
  // The commands with their titles and keys, in menu order.
  static const std::vector<Command>& commands();

  explicit BrowserWindow(Browser& browser);
  ~BrowserWindow() override;
  // Shows the commands' keys in the application's menus.
  void installAccels(Gtk::Application& app);
  // At start-up: pages make no web views until the window is up and the
  // field takes keys, so restoring a session costs nothing before that.
  void holdPagesUntilShown();

  AddressBar& addressBar() { return addressBar_; }
  Gtk::Overlay& pageOverlay() { return pageOverlay_; }
  // The current page's view, or the two of its split.
  SplitView& pageArea() { return pageArea_; }
  // Where the current page is shown: its web view, or its error view.
  PageStage& pageStage();
  // The small window a floated video plays in.
  FloatingVideo& floatingVideo() { return floatingVideo_; }

 private:
  void addActions();
  void buildMenu();
  void refreshPinTitle();
  void showCurrentPage();
  bool pagePressed(GtkWidget* view, guint button, const Modifiers& modifiers);
  bool onKeyPressed(guint keyval, guint keycode, Gdk::ModifierType state);
  void onKeyReleased(guint keyval, guint keycode, Gdk::ModifierType state);
  // A key while link hints show: true when the hints took it.
  bool hintKey(guint keyval, Gdk::ModifierType state);
  // Tells the chrome about a key for its Ctrl gestures.
  void noteGesture(guint keyval, Gdk::ModifierType state, bool pressed);

  Browser& browser_;
  Gtk::WindowHandle titlebar_;
  Gtk::Box titlebarBox_{Gtk::Orientation::HORIZONTAL};
  Gtk::WindowControls windowControls_{Gtk::PackType::END};
  AddressBar addressBar_;
  Gtk::MenuButton menuButton_;
  Glib::RefPtr<Gio::Menu> pageSection_;
  Gtk::Overlay pageOverlay_;
  SplitView pageArea_;
  // Each side shows its page's web view or, after a failed load, its error.
  PageStage leftStage_, rightStage_;
  // The pages shown, left then right.
  std::weak_ptr<Page> shownLeft_, shownRight_;
  std::vector<sigc::connection> connections_;
  // Move and centre the divider: enabled while the current page is in a split.
  std::vector<Glib::RefPtr<Gio::SimpleAction>> dividerActions_;
  FloatingVideo floatingVideo_{browser_, *this};
  // Ctrl in other programs' windows, heard while this one is not active.
  DesktopKeys desktopKeys_{browser_.chrome, [this] { return is_active(); }};
};

}  // namespace quillo
