// Links for other programs ("mailto:"): the desktop program that opens them, and sites' remembered answers.
#pragma once
#include <optional>
#include <string>

#include "core/url.h"

namespace quillo {

// Links of schemes the browser does not load ("mailto:", "zoommtg:") go to
// the desktop's program for the scheme. This is what pages need for that:
// the program, and the sites' remembered answers.
class AppLinks {
 public:
  virtual ~AppLinks() = default;
  // The name of the program that opens the address; none when there is none.
  virtual std::optional<std::string> appName(const Url& url) = 0;
  virtual void open(const Url& url) = 0;
  // What was saved for `site` opening links of `scheme` (lower case):
  // true to allow, false to block, none to ask.
  virtual std::optional<bool> savedDecision(const std::string& site, const std::string& scheme) = 0;
  virtual void saveAllowed(const std::string& site, const std::string& scheme) = 0;
};

}  // namespace quillo
