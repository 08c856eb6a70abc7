// Frame origins: which origins a view's frames show, and whom a JavaScript dialog names as asking.
#pragma once
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace quillo {

// The origins of the frames a view shows, as the web process extension
// reports them. WebKitGTK does not say which frame raised a JavaScript
// dialog, so a dialog names the page's host only while no frame of another
// origin could have asked; a frame must never borrow its host's name.
class FrameOrigins {
 public:
  // A frame began showing a document at `url`. The main frame starting a
  // new document forgets every subframe of the old one.
  void frameLoaded(uint64_t frameID, std::string_view url, bool isMainFrame);
  void frameGone(uint64_t frameID);

  // Whether some frame shows a document of an origin other than the main
  // frame's. about: documents take their parent's origin and don't count.
  bool hasForeignFrames() const;
  // The heading of a dialog from this view: "<host> says" for the main
  // frame's host, "This page says" without one, and "A frame on this page
  // says" when a frame of another origin could have asked.
  std::string dialogHeading(std::string_view mainFrameURL) const;

  // scheme://host:port, lower-cased; empty for about: and unparsable text.
  // Opaque documents (data:, and the like) are their own origin.
  static std::string origin(std::string_view url);

 private:
  std::string mainOrigin_;
  std::map<uint64_t, std::string> subframes_;
};

}  // namespace quillo
