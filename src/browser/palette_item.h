// One palette row: a pin, tab, command, login, history entry, download, site permission or browser to import from.
#pragma once
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <variant>

#include "browser/palette_command.h"
#include "browser/pin.h"
#include "core/sources.h"
#include "core/url.h"
#include "stores/history_entry.h"

namespace quillo {

class Page;
using PagePtr = std::shared_ptr<Page>;

// A row's identity across recomputations: a text for rows that are values,
// the object for rows that are objects (tabs, downloads).
using PaletteItemID = std::variant<std::string, const void*>;

// One row of the palette. The order of the cases is the order of Kind.
class PaletteItem {
 public:
  enum class Kind { pin, tab, command, login, history, download, permission, importSource };
  using Value =
      std::variant<Pin, PagePtr, PaletteCommand, Login, HistoryEntry, DownloadItemPtr, SitePermission, ImportSource>;

  // Rows are made straight from their payloads: PaletteItem(pin), PaletteItem(page).
  template <class T, class = std::enable_if_t<!std::is_same_v<std::decay_t<T>, PaletteItem> &&
                                              std::is_constructible_v<Value, T&&>>>
  PaletteItem(T&& payload) : value_(std::forward<T>(payload)) {}  // NOLINT(google-explicit-constructor)

  Kind kind() const { return Kind(value_.index()); }
  const Value& value() const { return value_; }
  const Pin* pin() const { return std::get_if<Pin>(&value_); }
  const PagePtr* tab() const { return std::get_if<PagePtr>(&value_); }
  const PaletteCommand* command() const { return std::get_if<PaletteCommand>(&value_); }
  const Login* login() const { return std::get_if<Login>(&value_); }
  const HistoryEntry* history() const { return std::get_if<HistoryEntry>(&value_); }
  const DownloadItemPtr* download() const { return std::get_if<DownloadItemPtr>(&value_); }
  const SitePermission* permission() const { return std::get_if<SitePermission>(&value_); }
  const ImportSource* importSource() const { return std::get_if<ImportSource>(&value_); }

  PaletteItemID id() const;
  // The address the row stands for, for opening and copying.
  std::optional<Url> address() const;

  static PaletteItemID idOf(const Page& page) { return static_cast<const void*>(&page); }

 private:
  Value value_;
};

}  // namespace quillo
