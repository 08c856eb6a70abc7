// The digest of rule JSON that tells whether a stored block list was made from the current rules.
#include "blocking/filter_store.h"

#include <glib.h>

namespace quillo {

std::string sourceDigest(std::string_view json) {
  gchar* hex =
      g_compute_checksum_for_data(G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(json.data()), json.size());
  std::string digest = hex;
  g_free(hex);
  return digest;
}

}  // namespace quillo
