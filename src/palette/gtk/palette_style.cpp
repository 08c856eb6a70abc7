// The palette's CSS: the card over the page, its rows, headings, pin tiles and dividers, in the theme's colours.
#include "palette/gtk/palette_style.h"

#include <gtkmm.h>

namespace quillo {
namespace {

// The palette drops over the page as a quiet card. Colours come from the
// theme so light and dark both look right; nothing here names a colour
// except through the theme's own names.
// Borders keep one colour on every side: a border whose sides differ in
// colour is drawn with mesh gradients, which software rendering makes slow.
constexpr const char* kPaletteCss = R"css(
.quillo-palette {
  /* A touch of the text colour lifts the card off a white page in light and
     off a dark page in dark. */
  background-color: mix(@theme_base_color, @theme_fg_color, 0.03);
  color: @theme_text_color;
  border: 1px solid alpha(@borders, 0.7);
  border-top-width: 0;
  border-radius: 0 0 12px 12px;
  box-shadow: 0 8px 24px alpha(black, 0.16), 0 2px 6px alpha(black, 0.08);
  margin: 0 10px 24px 10px;
  padding: 4px 0 6px 0;
}
.quillo-palette-list {
  padding: 0 6px;
}
.quillo-palette-heading {
  font-size: 0.78em;
  font-weight: bold;
  letter-spacing: 0.04em;
  color: alpha(currentColor, 0.5);
  padding: 10px 10px 3px 10px;
}
.quillo-palette-row {
  min-height: 30px;
  padding: 2px 8px;
  border-radius: 7px;
}
.quillo-palette-row:hover {
  background-color: alpha(currentColor, 0.05);
}
.quillo-palette-row.highlighted,
.quillo-split-half.highlighted {
  background-color: alpha(@theme_selected_bg_color, 0.16);
}
.quillo-palette-row.dragging {
  background-color: alpha(@theme_selected_bg_color, 0.10);
  box-shadow: inset 0 0 0 1px alpha(@theme_selected_bg_color, 0.5);
}
.quillo-palette-row .icon {
  color: alpha(currentColor, 0.7);
}
.quillo-palette-address,
.quillo-palette-hint {
  color: alpha(currentColor, 0.5);
}
.quillo-palette-address {
  font-size: 0.92em;
}
.quillo-palette-hint {
  font-size: 0.85em;
}
.quillo-palette-hint.warning {
  color: @error_color;
}
/* An error flash in the caption reads as one, not as a quiet hint. */
.quillo-caption.error {
  color: @error_color;
  opacity: 1;
}
.quillo-palette-remove {
  min-height: 22px;
  min-width: 22px;
  padding: 0;
  opacity: 0.35;
}
.quillo-palette-row:hover .quillo-palette-remove,
.quillo-palette-row.highlighted .quillo-palette-remove {
  opacity: 1;
}
.quillo-palette-choice {
  min-height: 22px;
  padding: 0 6px;
  font-size: 0.85em;
  color: alpha(currentColor, 0.6);
}
.quillo-palette-choice:hover {
  color: currentColor;
}
.quillo-palette-field {
  min-height: 26px;
}
.quillo-split-half {
  border-radius: 6px;
  padding: 0 6px;
}
.quillo-pin-grid {
  padding: 8px 4px 4px 4px;
}
.quillo-pin-tile {
  border-radius: 10px;
  padding: 8px 4px 6px 4px;
  min-width: 72px;
}
.quillo-pin-tile:hover {
  background-color: alpha(currentColor, 0.05);
}
.quillo-pin-tile.highlighted {
  background-color: alpha(@theme_selected_bg_color, 0.16);
}
.quillo-pin-icon {
  background-color: alpha(currentColor, 0.06);
  border-radius: 10px;
  padding: 8px;
  color: alpha(currentColor, 0.75);
}
.quillo-pin-number {
  font-size: 0.72em;
  font-weight: bold;
  color: alpha(currentColor, 0.45);
}
.quillo-pin-name {
  font-size: 0.88em;
}
.quillo-palette-notice {
  color: alpha(currentColor, 0.55);
  padding: 14px 10px;
}
.quillo-palette-divider {
  margin: 6px 10px;
  background-color: alpha(@borders, 0.5);
}
.quillo-quick-divider {
  margin: 4px 0;
  padding: 4px 8px;
  border: 0 solid alpha(@theme_selected_bg_color, 0.55);
  border-top-width: 2px;
  color: alpha(currentColor, 0.7);
}
.quillo-quick-divider.dragging {
  background-color: alpha(@theme_selected_bg_color, 0.10);
}
.quillo-quick-divider .quillo-palette-hint {
  font-size: 0.8em;
}
/* The open scope, as a chip before the field. */
.quillo-chip {
  padding: 1px 10px;
  min-height: 0;
  border-radius: 999px;
  background: alpha(@theme_selected_bg_color, 0.16);
  color: @theme_fg_color;
  font-weight: bold;
  font-size: 0.9em;
}
/* A private tab tints the whole bar, so it is plain at a glance. */
.titlebar.quillo-private {
  background: mix(@theme_bg_color, #7b3fb0, 0.28);
}
.titlebar.quillo-private .quillo-caption {
  color: mix(@theme_fg_color, #7b3fb0, 0.35);
  opacity: 1;
}
)css";

}  // namespace

void ensurePaletteStyle() {
  static bool loaded = false;
  auto display = Gdk::Display::get_default();
  if (loaded || !display) return;
  auto provider = Gtk::CssProvider::create();
  provider->load_from_data(kPaletteCss);
  Gtk::StyleContext::add_provider_for_display(display, provider, GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
  loaded = true;
}

}  // namespace quillo
