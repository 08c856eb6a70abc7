// The palette's list: the rows, headings, pin grid and notices the views draw, rebuilt from the browser.
#pragma once
#include <optional>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "browser/palette_item.h"
#include "browser/pin.h"
#include "core/sources.h"

namespace quillo {

class Browser;

// What the list under the address bar shows, row by row: the browser's
// results or resting items with section headings, the pin grid, notices for
// empty scopes, dividers, split pairs and this session's downloads. Built
// afresh from the browser on every change; the views draw it.
class PaletteList {
 public:
  class Entry {
   public:
    enum class Kind { item, sectionStart, pinGrid, notice, splitGroup, download, quickDivider, divider };

    // An ordinary row; resultIndex is its place in Browser::results() when
    // it comes from a search.
    struct Item {
      PaletteItem item;
      std::optional<int> resultIndex;
    };
    // The first row of a section, drawn with its heading above it.
    struct SectionStart {
      std::string heading;
      PaletteItem item;
      int resultIndex = 0;
    };
    struct PinGrid {
      std::vector<Pin> pins;
    };
    struct Notice {
      std::string text;
    };
    // The two pages of a split, left then right.
    struct SplitGroup {
      PagePtr left;
      PagePtr right;
    };
    struct Download {
      DownloadItemPtr item;
    };
    struct QuickDivider {};
    // `which` tells the two plain dividers of the resting list apart.
    struct Divider {
      int which = 0;
    };
    using Value = std::variant<Item, SectionStart, PinGrid, Notice, SplitGroup, Download, QuickDivider, Divider>;

    template <class T,
              class = std::enable_if_t<std::is_constructible_v<Value, T&&> && !std::is_same_v<std::decay_t<T>, Entry>>>
    Entry(T&& value) : value_(std::forward<T>(value)) {}  // NOLINT(google-explicit-constructor)

    Kind kind() const { return Kind(value_.index()); }
    const Value& value() const { return value_; }
    template <class T>
    const T* as() const {
      return std::get_if<T>(&value_);
    }
    // The row's item, for item and section rows.
    const PaletteItem* item() const;
    std::optional<int> resultIndex() const;
    // Stable across rebuilds: a row's identity is its item's.
    PaletteItemID id() const;

   private:
    Value value_;
  };

  // What the list needs that the browser does not hold.
  struct Extras {
    // Downloads started during this run, newest first.
    std::vector<DownloadItemPtr> sessionDownloads;
    // What the login source says about an empty list ("Asking 1Password…").
    std::optional<std::string> loginNotice;
  };

  static std::vector<Entry> build(const Browser& browser, const Extras& extras = {});

  // The section a result belongs to; none for rows that start no section.
  static std::optional<std::string> heading(const PaletteItem& item);
  // The quick divider's line for this many numbered pins, and its hint.
  static std::string quickDividerText(int numbered);
  static std::string quickDividerExplanation();
  // The notice an empty scope shows, if it has one.
  static std::optional<std::string> emptyNotice(const Browser& browser, const Extras& extras);
  // Under the commands where other programs' keys cannot be heard (Wayland).
  static constexpr const char* kCtrlInsideOnly =
      "Double-tap Ctrl works inside Quillo only on Wayland · for a desktop shortcut, use: quillo --palette";
};

}  // namespace quillo
