// The floating video window: a small window of its own that shows only the video a page floats.
#pragma once
#include <gtkmm.h>

#include <memory>

#include "browser/browser.h"

namespace quillo {

// Follows the browser's floating page: while one floats, its web view lives
// here (the page shows only the video), kept above other windows where the
// window manager allows. Closing it, or Escape, brings the video back.
class FloatingVideo : public Gtk::Window {
 public:
  // The keyboard stays with `owner` when a video starts floating.
  FloatingVideo(Browser& browser, Gtk::Window& owner);
  ~FloatingVideo() override;
  // The page whose video shows here, if any.
  std::shared_ptr<Page> page() const { return page_; }

 private:
  void follow();
  void keepAbove();
  Browser& browser_;
  Gtk::Window& owner_;
  std::shared_ptr<Page> page_;
  GtkWidget* widget_ = nullptr;
  sigc::connection link_, titleLink_, followLater_;
};

}  // namespace quillo
