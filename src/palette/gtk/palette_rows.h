// The palette's row widgets: items, the pin grid, split pairs, notices, dividers, and in-place edit fields.
#pragma once
#include <gtkmm.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "browser/browser.h"
#include "palette/gtk/palette_icons.h"
#include "palette/palette_list.h"

namespace quillo {

// What every row needs to know to draw itself, the same for all rows of one
// update of the list.
struct RowState {
  bool searching = false;
  std::optional<int> highlightIndex;              // while searching
  std::optional<PaletteItemID> restingHighlight;  // at rest
  std::optional<PaletteItemID> renaming;
  std::optional<std::string> editingURL;
  std::optional<std::string> confirmingDelete;
  int numberedPins = 0;
};

// What rows ask of the list that holds them.
class RowHost {
 public:
  virtual ~RowHost() = default;
  virtual Browser& browser() = 0;
  virtual TextureCache& textures() = 0;
  virtual IconSource* icons() = 0;
  virtual PermissionSource* permissions() = 0;
  virtual void choose(const PaletteItem& item, bool beside) = 0;
  virtual void removeFromHistory(int resultIndex) = 0;
  // A name or address field in a row opened, or closed with its text
  // (none when cancelled).
  virtual void fieldOpened() = 0;
  virtual void fieldDone(bool isAddress, const std::optional<std::string>& text) = 0;
  // A drag of a pin or the divider is under way or just ended: clicks are not choices.
  virtual bool isDragging() const = 0;
};

// A text field shown in place of a row's name while it is renamed or its
// address edited: Return keeps the text, Escape or leaving the field cancels.
class InlineField : public Gtk::Entry {
 public:
  explicit InlineField(std::function<void(const std::optional<std::string>&)> done);
  ~InlineField() override;
  // Shows the text, all of it selected, and takes the focus once on screen.
  void begin(const std::string& text);
  // Hides the field without reporting (the model ended the edit itself).
  void end();
  bool isActive() const { return active_; }

 private:
  void finish(const std::optional<std::string>& text);
  void takeFocus();
  std::function<void(const std::optional<std::string>&)> done_;
  bool active_ = false;
  sigc::connection mapped_;
};

// One entry of the list on screen. Rows are kept by the entry's identity and
// told about the new entry on every update; they touch their widgets only
// where something changed.
class PaletteRow : public Gtk::Box {
 public:
  PaletteRow(RowHost& host, Gtk::Orientation orientation);
  virtual void show(const PaletteList::Entry& entry, const RowState& state) = 0;
  // The widget that carries the highlight, when this row has it.
  virtual Gtk::Widget* highlightedWidget() { return nullptr; }
  // The pin this row stands for, when it is a pin's row (pins can be dragged).
  virtual const Pin* pin() const { return nullptr; }
  virtual bool isQuickDivider() const { return false; }

 protected:
  RowHost& host_;
};

std::unique_ptr<PaletteRow> makeRow(RowHost& host, const PaletteList::Entry& entry);

// Accessible role and name helpers: roles are set before the row is first
// shown, names whenever the text changes.
void setAccessibleRole(Gtk::Widget& widget, GtkAccessibleRole role);
void setAccessibleName(Gtk::Widget& widget, const std::string& name);
void setAccessibleDescription(Gtk::Widget& widget, const std::string& description);

// Sets a label's text only when it differs, so unchanged rows cost nothing.
void setText(Gtk::Label& label, const std::string& text);

}  // namespace quillo
