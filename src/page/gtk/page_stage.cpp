// The area under the bar: the current page's web view, or the error view of its failed load.
#include "page/gtk/page_stage.h"

#include "page/webkit/webkit_view.h"

namespace quillo {

namespace {

constexpr const char* kStageCss = R"css(
.quillo-load-error {
  background-color: @theme_base_color;
  color: @theme_text_color;
}
.quillo-load-error-icon {
  color: alpha(currentColor, 0.45);
}
.quillo-load-error-title {
  font-size: 1.5em;
  font-weight: bold;
}
.quillo-load-error-message {
  color: alpha(currentColor, 0.75);
}
.quillo-floating-placeholder {
  background-color: @theme_base_color;
  color: alpha(@theme_text_color, 0.6);
}
.quillo-load-error-warning {
  color: alpha(currentColor, 0.75);
  font-size: 0.92em;
}
)css";

void ensureStyle() {
  static bool installed = false;
  if (installed) return;
  installed = true;
  auto provider = Gtk::CssProvider::create();
  provider->load_from_data(kStageCss);
  Gtk::StyleContext::add_provider_for_display(Gdk::Display::get_default(), provider,
                                              GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
}

void configureLabel(Gtk::Label& label, const char* cssClass) {
  label.set_wrap(true);
  label.set_wrap_mode(Pango::WrapMode::WORD_CHAR);
  label.set_justify(Gtk::Justification::CENTER);
  label.set_max_width_chars(60);
  label.set_selectable(false);
  label.add_css_class(cssClass);
}

}  // namespace

LoadErrorView::LoadErrorView() : Gtk::Box(Gtk::Orientation::VERTICAL) {
  ensureStyle();
  add_css_class("quillo-load-error");
  set_hexpand(true);
  set_vexpand(true);
  column_.set_valign(Gtk::Align::CENTER);
  column_.set_halign(Gtk::Align::CENTER);
  column_.set_vexpand(true);
  column_.set_spacing(12);
  column_.set_margin(24);
  icon_.set_pixel_size(64);
  icon_.add_css_class("quillo-load-error-icon");
  configureLabel(title_, "quillo-load-error-title");
  g_object_set(title_.gobj(), "accessible-role", GTK_ACCESSIBLE_ROLE_HEADING, nullptr);
  configureLabel(message_, "quillo-load-error-message");
  configureLabel(warning_, "quillo-load-error-warning");
  warning_.set_text(LoadError::kInsecureWarning);
  buttons_.set_spacing(8);
  buttons_.set_halign(Gtk::Align::CENTER);
  buttons_.set_margin_top(8);
  retry_.add_css_class("suggested-action");
  buttons_.append(retry_);
  buttons_.append(insecure_);
  column_.append(icon_);
  column_.append(title_);
  column_.append(message_);
  column_.append(warning_);
  column_.append(buttons_);
  append(column_);

  retry_.signal_clicked().connect([this] {
    if (auto page = page_.lock()) page->retryAfterError();
  });
  insecure_.signal_clicked().connect([this] {
    if (auto page = page_.lock()) page->continueInsecurely();
  });
}

void LoadErrorView::show(Page& page, const LoadError& error) {
  page_ = page.weak_from_this();
  icon_.set_from_icon_name(error.iconName());
  title_.set_text(error.title());
  message_.set_text(error.message);
  message_.set_visible(!error.message.empty());
  warning_.set_visible(error.insecureURL.has_value());
  insecure_.set_visible(error.insecureURL.has_value());
}

FloatingPlaceholder::FloatingPlaceholder() : Gtk::Box(Gtk::Orientation::VERTICAL) {
  ensureStyle();
  add_css_class("quillo-floating-placeholder");
  set_hexpand(true);
  set_vexpand(true);
  set_valign(Gtk::Align::FILL);
  auto* column = Gtk::make_managed<Gtk::Box>(Gtk::Orientation::VERTICAL);
  column->set_valign(Gtk::Align::CENTER);
  column->set_halign(Gtk::Align::CENTER);
  column->set_vexpand(true);
  column->set_spacing(12);
  icon_.set_from_icon_name("video-x-generic-symbolic");
  icon_.set_pixel_size(48);
  configureLabel(label_, "quillo-floating-placeholder-label");
  label_.set_text("This tab's video plays in its own window");
  back_.set_halign(Gtk::Align::CENTER);
  back_.set_tooltip_text("Or close the video's window, or run /pip again");
  column->append(icon_);
  column->append(label_);
  column->append(back_);
  append(*column);
  back_.signal_clicked().connect([this] {
    if (auto page = page_.lock()) page->stopFloating();
  });
}

void FloatingPlaceholder::show(Page& page) { page_ = page.weak_from_this(); }

void releasePageWidget(GtkWidget* widget) {
  GtkWidget* parent = widget ? gtk_widget_get_parent(widget) : nullptr;
  if (!parent) return;
  if (GTK_IS_OVERLAY(parent) && gtk_overlay_get_child(GTK_OVERLAY(parent)) == widget)
    gtk_overlay_set_child(GTK_OVERLAY(parent), nullptr);
  else if (GTK_IS_WINDOW(parent))
    gtk_window_set_child(GTK_WINDOW(parent), nullptr);
}

PageStage::PageStage() : Gtk::Box(Gtk::Orientation::HORIZONTAL) {
  overlay_.set_hexpand(true);
  overlay_.set_vexpand(true);
  overlay_.set_visible(false);
  area_.append(overlay_);
  errorView_.set_visible(false);
  area_.append(errorView_);
  placeholder_.set_visible(false);
  area_.append(placeholder_);
  frame_.set_hexpand(true);
  frame_.set_vexpand(true);
  frame_.set_child(area_);
  frame_.add_overlay(dialog_);
  append(frame_);
  // Keys that still reach the page under a question (it had the keyboard
  // some other way) go to the question instead.
  auto keys = Gtk::EventControllerKey::create();
  keys->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
  keys->signal_key_pressed().connect(
      [this](guint, guint, Gdk::ModifierType) {
        if (!dialog_.isUp() || dialog_.hasKeyboard()) return false;
        dialog_.takeKeyboard();
        return true;
      },
      false);
  add_controller(keys);
}

PageStage::~PageStage() {
  pageLink_.disconnect();
  readerLink_.disconnect();
  floatLink_.disconnect();
  focusLink_.disconnect();
  dialogLink_.disconnect();
  dialogFocusLink_.disconnect();
}

void PageStage::show(const std::shared_ptr<Page>& page) {
  if (page == page_.lock() && (page || !webWidget_)) {
    refresh();
    return;
  }
  pageLink_.disconnect();
  readerLink_.disconnect();
  floatLink_.disconnect();
  focusLink_.disconnect();
  dialogLink_.disconnect();
  dialogFocusLink_.disconnect();
  if (readerWidget_) {
    gtk_overlay_remove_overlay(overlay_.gobj(), readerWidget_);
    readerWidget_ = nullptr;
    reader_.reset();
  }
  if (webWidget_) {
    if (gtk_overlay_get_child(overlay_.gobj()) == webWidget_) gtk_overlay_set_child(overlay_.gobj(), nullptr);
    webWidget_ = nullptr;
  }
  page_ = page;
  errorShown_ = false;
  if (page) {
    if (auto* view = dynamic_cast<WebKitView*>(&page->webView())) {
      webWidget_ = view->widget();
      gtk_widget_set_hexpand(webWidget_, TRUE);
      gtk_widget_set_vexpand(webWidget_, TRUE);
    }
    pageLink_ = page->loadError.changed().connect([this] { refresh(); });
    readerLink_ = page->readerView.changed().connect([this] { refreshReader(); });
    floatLink_ = page->videoFloats.changed().connect([this] { refresh(); });
    focusLink_ = page->focusPlaceholder.connect([this] { placeholder_.backButton().grab_focus(); });
    dialogLink_ = page->dialog.changed().connect([this] { refreshDialog(); });
    dialogFocusLink_ = page->focusDialog.connect([this] { dialog_.takeKeyboard(); });
  }
  refresh();
  refreshReader();
  refreshDialog();
}

bool PageStage::holdsKeyboard() {
  auto* root = dynamic_cast<Gtk::Window*>(get_root());
  auto* focus = root ? root->get_focus() : nullptr;
  return !focus || focus->is_ancestor(*this) || !focus->get_mapped();
}

void PageStage::refreshReader() {
  auto page = page_.lock();
  auto wanted = page ? page->readerView.get() : nullptr;
  if (wanted == reader_) return;
  bool keyboardHere = holdsKeyboard();
  if (readerWidget_) {
    gtk_overlay_remove_overlay(overlay_.gobj(), readerWidget_);
    readerWidget_ = nullptr;
  }
  reader_ = wanted;
  if (auto* view = dynamic_cast<WebKitView*>(reader_.get())) {
    readerWidget_ = view->widget();
    gtk_widget_set_hexpand(readerWidget_, TRUE);
    gtk_widget_set_vexpand(readerWidget_, TRUE);
    gtk_overlay_add_overlay(overlay_.gobj(), readerWidget_);
  }
  // The keyboard goes with what is read: into the article when it comes,
  // back to the page when it goes. Typing in the bar is never interrupted.
  if (!keyboardHere) return;
  if (readerWidget_)
    gtk_widget_grab_focus(readerWidget_);
  else if (webWidget_ && !errorShown_)
    gtk_widget_grab_focus(webWidget_);
}

// The page's view is here unless its video floats: then it is in the
// floating window, and comes back from there when the video does.
void PageStage::placeWebWidget(bool floats) {
  if (!webWidget_) return;
  const bool here = gtk_overlay_get_child(overlay_.gobj()) == webWidget_;
  if (floats && here) {
    bool keyboardHere = holdsKeyboard();
    gtk_overlay_set_child(overlay_.gobj(), nullptr);
    if (keyboardHere) placeholder_.backButton().grab_focus();
  } else if (!floats && !here) {
    const bool wasAway = gtk_widget_get_parent(webWidget_) != nullptr;
    releasePageWidget(webWidget_);
    gtk_overlay_set_child(overlay_.gobj(), webWidget_);
    if (wasAway && placeholder_.backButton().has_focus()) gtk_widget_grab_focus(webWidget_);
  }
}

void PageStage::refresh() {
  auto page = page_.lock();
  const bool floats = page && page->videoFloats.get();
  if (page) placeholder_.show(*page);
  // Shown first: it takes the keyboard when the page had it.
  if (floats) placeholder_.set_visible(true);
  placeWebWidget(floats);
  placeholder_.set_visible(floats);
  const auto* error = page && page->loadError.get() && !floats ? &*page->loadError.get() : nullptr;
  if (error) errorView_.show(*page, *error);
  bool wasShown = errorShown_;
  errorShown_ = error != nullptr;
  overlay_.set_visible(webWidget_ && !errorShown_ && !floats);
  errorView_.set_visible(errorShown_);
  if (errorShown_ && !wasShown) {
    // The keyboard follows the page: when it was in the page, it moves to
    // "Try Again"; typing in the bar is never interrupted.
    if (holdsKeyboard()) errorView_.retryButton().grab_focus();
  } else if (!errorShown_ && wasShown && errorView_.retryButton().has_focus() && webWidget_) {
    gtk_widget_grab_focus(webWidget_);
  }
}

void PageStage::refreshDialog() {
  auto page = page_.lock();
  auto wanted = page ? page->dialog.get() : nullptr;
  if (wanted == shownDialog_) return;
  // Typing elsewhere (the bar, the other side) is never interrupted: the
  // question takes the keyboard when the page comes to have it.
  const bool keyboardHere = holdsKeyboard();
  shownDialog_ = wanted;
  if (wanted) {
    std::weak_ptr<Page> weak = page;
    dialog_.present(*wanted, [weak, wanted](const AlertAnswer& answer) {
      if (auto page = weak.lock()) page->answerDialog(wanted, answer);
    });
    if (keyboardHere) dialog_.takeKeyboard();
    area_.set_can_focus(false);
  } else {
    dialog_.dismiss();
    area_.set_can_focus(true);
    if (keyboardHere) focusPage();
  }
}

void PageStage::focusPage() {
  if (errorShown_)
    errorView_.retryButton().grab_focus();
  else if (auto page = page_.lock())
    page->focus();
}

}  // namespace quillo
