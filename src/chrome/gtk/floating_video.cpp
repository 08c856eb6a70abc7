// The floating video window: a small window of its own that shows only the video a page floats.
#include "chrome/gtk/floating_video.h"

#include "page/gtk/page_stage.h"
#include "page/webkit/webkit_view.h"
// Xlib after GTK: its macros clash with names GTK's headers use.
#include <gdk/x11/gdkx.h>

namespace quillo {

namespace {
constexpr int kWidth = 480, kHeight = 270;
}

FloatingVideo::FloatingVideo(Browser& browser, Gtk::Window& owner) : browser_(browser), owner_(owner) {
  set_default_size(kWidth, kHeight);
  set_hide_on_close(true);
  add_css_class("quillo-floating-video");
  signal_close_request().connect(
      [this] {
        browser_.endFloating();
        return false;
      },
      false);
  auto keys = Gtk::EventControllerKey::create();
  keys->signal_key_pressed().connect(
      [this](guint key, guint, Gdk::ModifierType) {
        if (key != GDK_KEY_Escape) return false;
        browser_.endFloating();
        return true;
      },
      false);
  keys->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
  add_controller(keys);
  signal_realize().connect([this] {
    // Tells X11 window managers not to focus it when it maps.
    GdkSurface* surface = gtk_native_get_surface(GTK_NATIVE(gobj()));
    if (surface && GDK_IS_X11_SURFACE(surface)) gdk_x11_surface_set_user_time(surface, 0);
  });
  signal_map().connect([this] { keepAbove(); });
  // After the page's stage has let go of the view (and handed on the keyboard).
  link_ = browser_.floatingVideo.changed().connect([this] {
    followLater_.disconnect();
    followLater_ = Glib::signal_idle().connect([this] {
      follow();
      return false;
    });
  });
}

FloatingVideo::~FloatingVideo() {
  link_.disconnect();
  titleLink_.disconnect();
  followLater_.disconnect();
  if (widget_ && get_child() && get_child()->gobj() == widget_) unset_child();
}

void FloatingVideo::follow() {
  auto wanted = browser_.floatingVideo.get();
  if (wanted == page_) return;
  titleLink_.disconnect();
  if (widget_) {
    if (get_child() && get_child()->gobj() == widget_) unset_child();
    widget_ = nullptr;
  }
  page_ = wanted;
  auto* view = page_ ? dynamic_cast<WebKitView*>(page_->liveView()) : nullptr;
  if (!view) {
    set_visible(false);
    return;
  }
  widget_ = view->widget();
  releasePageWidget(widget_);
  gtk_window_set_child(gobj(), widget_);
  auto title = [this] { set_title(page_->displayTitle() + " — Quillo"); };
  title();
  titleLink_ = page_->title.changed().connect(title);
  // Like the desktop's own picture in picture: the video floats, and typing
  // goes on where it was. Shown, not presented, so it takes no focus.
  set_visible(true);
}

// GTK has no way to ask for this; X11 window managers take the EWMH hint.
void FloatingVideo::keepAbove() {
  GdkSurface* surface = gtk_native_get_surface(GTK_NATIVE(gobj()));
  if (!surface || !GDK_IS_X11_SURFACE(surface)) return;
  Display* display = gdk_x11_display_get_xdisplay(gdk_surface_get_display(surface));
  XEvent event{};
  event.xclient.type = ClientMessage;
  event.xclient.window = gdk_x11_surface_get_xid(surface);
  event.xclient.message_type = XInternAtom(display, "_NET_WM_STATE", False);
  event.xclient.format = 32;
  event.xclient.data.l[0] = 1;  // add
  event.xclient.data.l[1] = long(XInternAtom(display, "_NET_WM_STATE_ABOVE", False));
  event.xclient.data.l[3] = 1;  // from an application
  XSendEvent(display, DefaultRootWindow(display), False, SubstructureRedirectMask | SubstructureNotifyMask, &event);
  XFlush(display);
}

}  // namespace quillo
