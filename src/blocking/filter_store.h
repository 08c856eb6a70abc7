// Where compiled block lists are kept between runs, and the digest that tells a stale one.
#pragma once
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "page/web_view_port.h"

namespace quillo {

// Where compiled content-blocker lists are kept between runs (WebKit's
// content filter store in the browser, a fake in tests). Callbacks always
// arrive later, on the main thread.
class FilterStore {
 public:
  virtual ~FilterStore() = default;

  // The compiled list, or nullptr and the compiler's message.
  using Compiled = std::function<void(std::shared_ptr<ContentFilter> filter, std::string error)>;
  struct Stored {
    std::shared_ptr<ContentFilter> filter;  // nullptr when absent or unusable
    std::string sourceDigest;               // sourceDigest() of the JSON it was compiled from
  };
  using Loaded = std::function<void(Stored stored)>;

  // Compiles the rule JSON and stores it under identifier. A list stored
  // earlier under that identifier stays untouched when this fails.
  virtual void compile(const std::string& identifier, std::string json, Compiled done) = 0;
  // Looks up the list stored under identifier.
  virtual void load(const std::string& identifier, Loaded done) = 0;
};

// A short fingerprint of rule JSON, to tell whether a stored list was
// compiled from the JSON this build would produce.
std::string sourceDigest(std::string_view json);

}  // namespace quillo
