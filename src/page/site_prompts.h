// Sites asking for the camera, microphone or notifications: answered from saved permissions or by the user.
#pragma once
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/sources.h"

namespace quillo {

class Permissions;

// The questions sites put to the user about the camera, the microphone and
// notifications, answered from the site permissions when they can be and
// recorded there when the user answers.
namespace siteprompts {

struct MediaRequest {
  // The requesting site; empty when a frame of another origin asks and it
  // cannot be told which.
  std::string host;
  bool camera = false;
  bool microphone = false;
  // The page keeps its data (not a private tab): only then can the user
  // ask for the answer to be remembered.
  bool persistent = true;
};

// Camera, microphone, or camera then microphone.
std::vector<SitePermission> asked(const MediaRequest& request);
// From the store alone: any block denies, all allowed grants; none to ask.
std::optional<bool> decided(const PermissionSource& permissions, const MediaRequest& request);
// The dialog: "<site> wants to use your camera and microphone", "Allow",
// "Don't Allow", and "Remember for <site>" on persistent pages.
Alert mediaAlert(const MediaRequest& request);
// Records the answer for each asked permission, remembering when asked to.
void record(Permissions& permissions, const MediaRequest& request, bool allowed, bool remember);

// Shows an alert; the answer is the button and whether its box was ticked.
using Ask = std::function<void(const Alert& alert, std::function<void(size_t button, bool checked)> answered)>;

// Decides a media request: from the store without asking, else by asking.
void decideMedia(Permissions& permissions, const MediaRequest& request, const Ask& ask,
                 std::function<void(bool grant)> done);

// A site asking to show notifications: the decision in force, else the
// user's answer, remembered on persistent pages and kept until quit in
// private ones.
void askToNotify(Permissions& permissions, const std::string& host, bool persistent, const Ask& ask,
                 std::function<void(PermissionDecision)> done);

}  // namespace siteprompts
}  // namespace quillo
