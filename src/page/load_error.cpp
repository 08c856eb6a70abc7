// Load errors: the title and icon of a failure shown in place of a page.
#include "page/load_error.h"

#include "core/address.h"

namespace quillo {

std::string LoadError::siteName() const {
  std::string name = Address::display(url);
  return name.empty() ? "the page" : name;
}

std::string LoadError::title() const { return "Couldn't open " + siteName() + (insecureURL ? " securely" : ""); }

std::string LoadError::iconName() const {
  // A broken lock for the failed secure attempt; a cloud with a warning otherwise.
  return insecureURL ? "channel-insecure-symbolic" : "network-error-symbolic";
}

}  // namespace quillo
