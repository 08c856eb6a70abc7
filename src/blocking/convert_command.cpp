// The --convert-filter-list command: an Adblock filter list written out as content-blocker JSON.
#include "blocking/convert_command.h"

#include <glib.h>

#include <iostream>

#include "blocking/easy_privacy.h"

namespace quillo {

int convertFilterListCommand(const std::string& path, std::ostream& out, std::ostream& err) {
  if (path.empty()) {
    err << "Usage: quillo --convert-filter-list FILE\n";
    return 2;
  }
  gchar* contents = nullptr;
  gsize size = 0;
  GError* error = nullptr;
  if (!g_file_get_contents(path.c_str(), &contents, &size, &error)) {
    err << "Quillo: couldn't read the filter list: " << (error ? error->message : path.c_str()) << "\n";
    g_clear_error(&error);
    return 1;
  }
  // Lists are UTF-8; broken sequences become U+FFFD and their rules are
  // skipped rather than failing the whole file.
  gchar* text = g_utf8_make_valid(contents, gssize(size));
  g_free(contents);
  auto converted = EasyPrivacy::convert(text);
  g_free(text);
  out << converted.json << "\n";
  out.flush();
  err << "blocking " << converted.blocking << ", exceptions " << converted.exceptions << ", skipped "
      << converted.skipped << "\n";
  return out ? 0 : 1;
}

int convertFilterListCommand(const std::string& path) { return convertFilterListCommand(path, std::cout, std::cerr); }

}  // namespace quillo
