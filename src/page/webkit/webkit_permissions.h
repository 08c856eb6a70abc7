#pragma once
#include <webkit/webkit.h>

#include <functional>

namespace quillo {

class Permissions;

// Camera, microphone and notification requests of web views, answered from
// the site permissions or by asking in the window. Without a store set,
// requests are denied and queries left to WebKit.
void usePermissions(Permissions* permissions);

// "permission-request": true when handled (always, for the kinds we know).
// attention is called before the user is asked.
bool answerPermissionRequest(WebKitWebView* view, WebKitPermissionRequest* request,
                             const std::function<void()>& attention);
// "query-permission-state": what navigator.permissions reports to the page.
bool answerPermissionQuery(WebKitWebView* view, WebKitPermissionStateQuery* query);

}  // namespace quillo
