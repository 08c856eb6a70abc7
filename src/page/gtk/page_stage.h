// The area under the bar: the current page's web view, or the error view of its failed load.
#pragma once
#include <gtkmm.h>

#include <memory>

#include "page/gtk/page_dialog.h"
#include "page/page.h"

namespace quillo {

// What a failed load shows in place of the page: the failure, and the ways on.
class LoadErrorView : public Gtk::Box {
 public:
  LoadErrorView();
  void show(Page& page, const LoadError& error);

  Gtk::Button& retryButton() { return retry_; }
  Gtk::Button& insecureButton() { return insecure_; }
  Gtk::Label& titleLabel() { return title_; }
  Gtk::Label& messageLabel() { return message_; }

 private:
  Gtk::Box column_{Gtk::Orientation::VERTICAL};
  Gtk::Image icon_;
  Gtk::Label title_, message_, warning_;
  Gtk::Box buttons_{Gtk::Orientation::HORIZONTAL};
  Gtk::Button retry_{"Try Again"}, insecure_{"Continue to HTTP"};
  std::weak_ptr<Page> page_;
};

// What a tab shows while its video floats in the small window.
class FloatingPlaceholder : public Gtk::Box {
 public:
  FloatingPlaceholder();
  void show(Page& page);
  Gtk::Button& backButton() { return back_; }

 private:
  Gtk::Image icon_;
  Gtk::Label label_;
  Gtk::Button back_{"Bring the Video Back"};
  std::weak_ptr<Page> page_;
};

// Takes a page's web view widget out of whatever shows it (a stage or the
// floating window), so another can.
void releasePageWidget(GtkWidget* widget);

// The area under the bar: the current page's web view, or its error view
// while its load has failed. The web view stays in the tree, hidden, so it
// keeps its state. A reader view, while the page has one, lies over it.
// While the page's video floats, its view is in the floating window and a
// placeholder stands in for it. The page's question in front covers all of
// it, and nothing under the question takes keys or clicks.
class PageStage : public Gtk::Box {
 public:
  PageStage();
  ~PageStage() override;
  // Shows this page (none: nothing), following its error from now on.
  void show(const std::shared_ptr<Page>& page);
  std::shared_ptr<Page> page() const { return page_.lock(); }
  LoadErrorView& errorView() { return errorView_; }
  FloatingPlaceholder& placeholder() { return placeholder_; }
  // The reader view's widget while one is shown, else nullptr.
  GtkWidget* readerWidget() const { return readerWidget_; }

 private:
  void refresh();
  void refreshReader();
  void placeWebWidget(bool floats);
  void refreshDialog();
  // The keyboard into what the page shows (its error's "Try Again", else the page).
  void focusPage();
  // Whether the keyboard is in this stage, or nowhere it should stay.
  bool holdsKeyboard();
  std::weak_ptr<Page> page_;
  GtkWidget* webWidget_ = nullptr;
  // The page's area, with its question over it.
  Gtk::Overlay frame_;
  Gtk::Box area_{Gtk::Orientation::HORIZONTAL};
  DialogOverlay dialog_;
  std::shared_ptr<const Alert> shownDialog_;
  Gtk::Overlay overlay_;
  // Kept while its widget is in the tree: the page may drop the view first.
  std::shared_ptr<WebViewPort> reader_;
  GtkWidget* readerWidget_ = nullptr;
  LoadErrorView errorView_;
  FloatingPlaceholder placeholder_;
  sigc::connection pageLink_, readerLink_, floatLink_, focusLink_, dialogLink_, dialogFocusLink_;
  bool errorShown_ = false;
};

}  // namespace quillo
