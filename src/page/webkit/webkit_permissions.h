// WebKitGTK permission requests and queries: camera, microphone and notifications, answered per site.
#pragma once
#include <webkit/webkit.h>

#include <functional>

#include "page/site_prompts.h"

namespace quillo {

class Permissions;

// Camera and microphone requests of web views, answered from the site
// permissions or by asking over the page. Without a store set, requests are
// denied and queries left to WebKit. WebKit's own notification requests and
// queries are always refused: pages get notifications from the browser's
// script instead.
void usePermissions(Permissions* permissions);

// "permission-request": true when handled (always, for the kinds we know).
// `ask` puts the question to the user, when there is one to put.
bool answerPermissionRequest(WebKitWebView* view, WebKitPermissionRequest* request, siteprompts::Ask ask);
// A frame (by its address) said it is about to ask for the camera or
// microphone; the next media request of the view is taken to be its own.
void noteMediaAsker(WebKitWebView* view, const char* frameURL);
// "query-permission-state": what navigator.permissions reports to the page.
bool answerPermissionQuery(WebKitWebView* view, WebKitPermissionStateQuery* query);

}  // namespace quillo
