// The window's page area: one page, or a split's two with a draggable divider and a border on the unfocused side.
#include "chrome/gtk/split_view.h"

#include <algorithm>

namespace quillo {

namespace {

constexpr float kBorderWidth = 2;
constexpr float kBorderOpacity = 0.5;

// The divider is a quiet strip with a line down its middle; it darkens under
// the pointer and while dragged.
constexpr const char* kSplitCss = R"css(
.quillo-split-divider {
  background-color: @theme_bg_color;
  background-image: linear-gradient(to right, transparent 3px, alpha(@borders, 0.9) 3px,
                                    alpha(@borders, 0.9) 4px, transparent 4px);
}
.quillo-split-divider:hover, .quillo-split-divider.dragging {
  background-color: mix(@theme_bg_color, @theme_fg_color, 0.12);
}
)css";

void ensureStyle() {
  static bool loaded = false;
  auto display = Gdk::Display::get_default();
  if (loaded || !display) return;
  auto provider = Gtk::CssProvider::create();
  provider->load_from_data(kSplitCss);
  Gtk::StyleContext::add_provider_for_display(display, provider, GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
  loaded = true;
}

Modifiers modifiersOf(Gdk::ModifierType state) {
  auto held = [state](Gdk::ModifierType mask) { return (state & mask) == mask; };
  Modifiers modifiers;
  modifiers.shift = held(Gdk::ModifierType::SHIFT_MASK);
  modifiers.ctrl = held(Gdk::ModifierType::CONTROL_MASK);
  modifiers.alt = held(Gdk::ModifierType::ALT_MASK);
  modifiers.super = held(Gdk::ModifierType::SUPER_MASK);
  return modifiers;
}

}  // namespace

SplitView::SplitView() : Glib::ObjectBase("QuilloSplitView") {
  ensureStyle();
  set_hexpand(true);
  set_vexpand(true);
  set_overflow(Gtk::Overflow::HIDDEN);

  divider_.add_css_class("quillo-split-divider");
  divider_.set_cursor(Gdk::Cursor::create("col-resize"));
  divider_.set_tooltip_text("Drag to resize");
  divider_.set_parent(*this);
  divider_.set_visible(false);
  gtk_accessible_update_property(GTK_ACCESSIBLE(divider_.gobj()), GTK_ACCESSIBLE_PROPERTY_LABEL, "Split divider", -1);

  auto drag = Gtk::GestureDrag::create();
  drag->set_button(GDK_BUTTON_PRIMARY);
  // The divider moves under the pointer as it is dragged: where the pointer
  // is, is read against this widget, which stays put.
  auto follow = [this, gesture = drag.get()] {
    auto* raw = GTK_GESTURE(gesture->gobj());
    double x = 0, y = 0, inX = 0, inY = 0;
    if (!gtk_gesture_get_point(raw, gtk_gesture_single_get_current_sequence(GTK_GESTURE_SINGLE(raw)), &x, &y)) return;
    if (!divider_.translate_coordinates(*this, x, y, inX, inY)) return;
    if (auto split = split_.lock()) split->drag(inX, get_width());
  };
  drag->signal_drag_begin().connect([this](double, double) { divider_.add_css_class("dragging"); });
  drag->signal_drag_update().connect([follow](double, double) { follow(); });
  drag->signal_drag_end().connect([this, follow](double, double) {
    follow();
    divider_.remove_css_class("dragging");
  });
  divider_.add_controller(drag);

  // Before the views: a click that opens a link beside must not also follow it.
  GtkEventController* presses = gtk_event_controller_legacy_new();
  gtk_event_controller_set_propagation_phase(presses, GTK_PHASE_CAPTURE);
  g_signal_connect(presses, "event", G_CALLBACK(+[](GtkEventController*, GdkEvent* event, gpointer self) {
                     return gboolean(static_cast<SplitView*>(self)->onEvent(event));
                   }),
                   this);
  gtk_widget_add_controller(GTK_WIDGET(gobj()), presses);
}

SplitView::~SplitView() {
  ratioWatch_.disconnect();
  if (left_) gtk_widget_unparent(left_);
  if (right_) gtk_widget_unparent(right_);
  divider_.unparent();
}

void SplitView::show(GtkWidget* left, GtkWidget* right, const std::shared_ptr<Split>& split, bool rightFocused) {
  if (!split) right = nullptr;
  // Views leaving the area are taken out; the rest stay put.
  GtkWidget* before[] = {left_, right_};
  left_ = left;
  right_ = right;
  for (GtkWidget* old : before)
    if (old && old != left_ && old != right_) gtk_widget_unparent(old);
  for (GtkWidget* view : {left_, right_})
    if (view && gtk_widget_get_parent(view) != GTK_WIDGET(gobj())) {
      if (gtk_widget_get_parent(view)) gtk_widget_unparent(view);
      gtk_widget_set_parent(view, GTK_WIDGET(gobj()));
    }
  // The divider sits between the views in focus order and for assistive tools.
  if (left_ && right_) {
    gtk_widget_insert_after(GTK_WIDGET(divider_.gobj()), GTK_WIDGET(gobj()), left_);
    gtk_widget_insert_after(right_, GTK_WIDGET(gobj()), GTK_WIDGET(divider_.gobj()));
  }
  divider_.set_visible(left_ && right_);

  if (split_.lock() != split) {
    ratioWatch_.disconnect();
    split_ = split;
    if (split) ratioWatch_ = split->ratio.changed().connect([this] { queue_allocate(); });
  }
  rightFocused_ = rightFocused;
  queue_allocate();
  queue_draw();
}

Gtk::SizeRequestMode SplitView::get_request_mode_vfunc() const { return Gtk::SizeRequestMode::CONSTANT_SIZE; }

void SplitView::measure_vfunc(Gtk::Orientation orientation, int, int& minimum, int& natural, int& minimumBaseline,
                              int& naturalBaseline) const {
  minimum = natural = 0;
  minimumBaseline = naturalBaseline = -1;
  for (GtkWidget* view : {left_, right_}) {
    if (!view) continue;
    int min = 0, nat = 0;
    gtk_widget_measure(view, GtkOrientation(orientation), -1, &min, &nat, nullptr, nullptr);
    if (orientation == Gtk::Orientation::HORIZONTAL) {
      minimum += min;
      natural += nat;
    } else {
      minimum = std::max(minimum, min);
      natural = std::max(natural, nat);
    }
  }
  if (orientation == Gtk::Orientation::HORIZONTAL && left_ && right_) {
    minimum += Split::kDividerWidth;
    natural += Split::kDividerWidth;
  }
}

void SplitView::size_allocate_vfunc(int width, int height, int) {
  auto split = split_.lock();
  if (!left_) return;
  if (!right_ || !split) {
    GtkAllocation all = {0, 0, width, height};
    gtk_widget_size_allocate(left_, &all, -1);
    return;
  }
  const int leftWidth = Split::leftWidth(width, split->ratio.get());
  const int rightX = leftWidth + Split::kDividerWidth;
  GtkAllocation left = {0, 0, leftWidth, height};
  GtkAllocation divider = {leftWidth, 0, Split::kDividerWidth, height};
  GtkAllocation right = {rightX, 0, std::max(width - rightX, 0), height};
  gtk_widget_size_allocate(left_, &left, -1);
  gtk_widget_size_allocate(GTK_WIDGET(divider_.gobj()), &divider, -1);
  gtk_widget_size_allocate(right_, &right, -1);
}

void SplitView::snapshot_vfunc(const Glib::RefPtr<Gtk::Snapshot>& snapshot) {
  for (GtkWidget* child : {left_, GTK_WIDGET(divider_.gobj()), right_})
    if (child && gtk_widget_get_visible(child)) gtk_widget_snapshot_child(GTK_WIDGET(gobj()), child, snapshot->gobj());
  if (!left_ || !right_) return;
  // The side without the keyboard: a thin half-opaque frame.
  GtkWidget* unfocused = rightFocused_ ? left_ : right_;
  graphene_rect_t bounds;
  if (!gtk_widget_compute_bounds(unfocused, GTK_WIDGET(gobj()), &bounds)) return;
  GdkRGBA colour;
  gtk_style_context_get_color(gtk_widget_get_style_context(GTK_WIDGET(gobj())), &colour);
  colour.alpha *= kBorderOpacity;
  GskRoundedRect outline;
  gsk_rounded_rect_init_from_rect(&outline, &bounds, 0);
  const float widths[4] = {kBorderWidth, kBorderWidth, kBorderWidth, kBorderWidth};
  const GdkRGBA colours[4] = {colour, colour, colour, colour};
  gtk_snapshot_append_border(snapshot->gobj(), &outline, widths, colours);
}

GtkWidget* SplitView::viewAt(double x, double y) const {
  for (GtkWidget* view : {left_, right_}) {
    if (!view || !gtk_widget_get_mapped(view)) continue;
    graphene_rect_t bounds;
    if (!gtk_widget_compute_bounds(view, GTK_WIDGET(gobj()), &bounds)) continue;
    graphene_point_t point = GRAPHENE_POINT_INIT(float(x), float(y));
    if (graphene_rect_contains_point(&bounds, &point)) return view;
  }
  return nullptr;
}

bool SplitView::onEvent(GdkEvent* event) {
  const auto type = gdk_event_get_event_type(event);
  if (type == GDK_BUTTON_RELEASE && swallowRelease_ && gdk_button_event_get_button(event) == swallowRelease_) {
    swallowRelease_ = 0;
    return true;
  }
  if (type != GDK_BUTTON_PRESS || !onPress) return false;
  // Events come in the surface's coordinates; the window's own origin may
  // be inset from it (client-side shadows).
  auto* native = get_native();
  if (!native) return false;
  double x = 0, y = 0, dx = 0, dy = 0;
  if (!gdk_event_get_position(event, &x, &y)) return false;
  gtk_native_get_surface_transform(native->gobj(), &dx, &dy);
  graphene_point_t inNative = GRAPHENE_POINT_INIT(float(x - dx), float(y - dy)), here;
  if (!gtk_widget_compute_point(GTK_WIDGET(native->gobj()), GTK_WIDGET(gobj()), &inNative, &here)) return false;
  GtkWidget* view = viewAt(here.x, here.y);
  if (!view) return false;
  const guint button = gdk_button_event_get_button(event);
  if (!onPress(view, button, modifiersOf(Gdk::ModifierType(gdk_event_get_modifier_state(event))))) return false;
  swallowRelease_ = button;
  return true;
}

}  // namespace quillo
