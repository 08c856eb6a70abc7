// The window's page area: one page, or a split's two with a draggable divider and a border on the unfocused side.
#pragma once
#include <gtkmm.h>

#include <functional>
#include <memory>

#include "browser/split.h"
#include "core/modifiers.h"

namespace quillo {

// The page area of the window: one page's view, or the two of a split side
// by side with a draggable divider between them. The unfocused side of a
// split wears a thin half-opaque border so the side with the keyboard is
// obvious; clicks reach both sides.
class SplitView : public Gtk::Widget {
 public:
  SplitView();
  ~SplitView() override;

  // Shows `left` alone (no split), or `left` and `right` of `split`, with the
  // focused side marked. Views already shown stay where they are, so a click
  // that changes the focused side is not disturbed.
  void show(GtkWidget* left, GtkWidget* right, const std::shared_ptr<Split>& split, bool rightFocused);

  GtkWidget* left() const { return left_; }
  GtkWidget* right() const { return right_; }
  Gtk::Widget& divider() { return divider_; }

  // A mouse-down on a shown view, before the view sees it. Return true to
  // use the click up (the view then sees neither press nor release).
  std::function<bool(GtkWidget* view, guint button, const Modifiers& modifiers)> onPress;

 protected:
  Gtk::SizeRequestMode get_request_mode_vfunc() const override;
  void measure_vfunc(Gtk::Orientation orientation, int forSize, int& minimum, int& natural, int& minimumBaseline,
                     int& naturalBaseline) const override;
  void size_allocate_vfunc(int width, int height, int baseline) override;
  void snapshot_vfunc(const Glib::RefPtr<Gtk::Snapshot>& snapshot) override;

 private:
  bool onEvent(GdkEvent* event);
  GtkWidget* viewAt(double x, double y) const;

  GtkWidget* left_ = nullptr;
  GtkWidget* right_ = nullptr;
  Gtk::Box divider_;
  std::weak_ptr<Split> split_;
  sigc::connection ratioWatch_;
  bool rightFocused_ = false;
  guint swallowRelease_ = 0;  // the button whose release follows a used-up press
};

}  // namespace quillo
