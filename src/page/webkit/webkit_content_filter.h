// A WebKitGTK content-blocking rule list, wrapped as the model's content filter.
#pragma once
#include <webkit/webkit.h>

#include <string>

#include "page/web_view_port.h"

namespace quillo {

// A compiled rule list from WebKitUserContentFilterStore, as the model sees
// it. Holds its own reference; the same filter can go into every view.
class WebKitContentFilter final : public ContentFilter {
 public:
  explicit WebKitContentFilter(WebKitUserContentFilter* filter)
      : filter_(webkit_user_content_filter_ref(filter)),
        identifier_(webkit_user_content_filter_get_identifier(filter)) {}
  ~WebKitContentFilter() override { webkit_user_content_filter_unref(filter_); }
  WebKitContentFilter(const WebKitContentFilter&) = delete;
  WebKitContentFilter& operator=(const WebKitContentFilter&) = delete;

  const std::string& identifier() const override { return identifier_; }
  WebKitUserContentFilter* raw() const { return filter_; }

 private:
  WebKitUserContentFilter* filter_;
  std::string identifier_;
};

}  // namespace quillo
