// Floats this frame's main video, or brings a floated one back. The page
// lays the chosen element over everything in the top layer and the browser
// moves the view into its small window, so the window shows only the
// video, still playing where it was. Returns "returned", "floated" or false.
// Given `frameURL`, it floats instead the iframe showing that address (the
// frame itself floated its video); `returning` only brings one back.
((frameURL, returning) => {
  const lifted = [
    ["position", "fixed"], ["inset", "0"], ["left", "0"], ["top", "0"], ["width", "100vw"], ["height", "100vh"],
    ["max-width", "none"], ["max-height", "none"], ["margin", "0"], ["padding", "0"], ["border", "0"],
    ["transform", "none"], ["z-index", "2147483647"], ["background", "#000"], ["object-fit", "contain"],
    ["visibility", "visible"], ["opacity", "1"],
  ];
  const restore = (state) => {
    const element = state.element;
    if (state.popover === null) element.removeAttribute("popover");
    else element.setAttribute("popover", state.popover);
    if (state.style === null) element.removeAttribute("style");
    else element.setAttribute("style", state.style);
    document.documentElement.style.setProperty("overflow", state.rootOverflow, state.rootPriority);
    try {
      if (element.matches(":popover-open")) element.hidePopover();
    } catch (e) {}
  };
  const lift = (element) => {
    const root = document.documentElement.style;
    window.__quilloFloat = {
      element,
      style: element.getAttribute("style"),
      popover: element.getAttribute("popover"),
      rootOverflow: root.getPropertyValue("overflow"),
      rootPriority: root.getPropertyPriority("overflow"),
    };
    for (const [name, value] of lifted) element.style.setProperty(name, value, "important");
    // No scroll bars over the video.
    root.setProperty("overflow", "hidden", "important");
    // The top layer puts it above whatever the page stacks over it.
    if (typeof element.showPopover === "function") {
      element.setAttribute("popover", "manual");
      try {
        element.showPopover();
      } catch (e) {}
    }
  };
  if (window.__quilloFloat) {
    restore(window.__quilloFloat);
    window.__quilloFloat = null;
    return "returned";
  }
  if (returning) return false;
  const area = (element) => {
    const box = element.getBoundingClientRect();
    return box.width * box.height;
  };
  if (frameURL) {
    const plain = (address) => address.split("#")[0];
    const origin = (address) => {
      try {
        return new URL(address).origin;
      } catch (e) {
        return "";
      }
    };
    const frames = [...document.querySelectorAll("iframe")].filter((frame) => area(frame) > 0);
    const frame = frames.find((f) => plain(f.src) === plain(frameURL)) ||
                  frames.filter((f) => origin(f.src) === origin(frameURL)).sort((a, b) => area(b) - area(a))[0];
    if (!frame) return false;
    lift(frame);
    return "floated";
  }
  const candidates = [...document.querySelectorAll("video")]
                         .filter((video) => video.readyState > 0 && area(video) > 0)
                         .map((video) => ({video, playing: !video.paused && !video.ended, area: area(video)}))
                         .sort((a, b) => (b.playing - a.playing) || (b.area - a.area));
  if (!candidates.length) return false;
  const video = candidates[0].video;
  // Sites that forbid floating their video are overruled on purpose.
  video.removeAttribute("disablepictureinpicture");
  lift(video);
  return "floated";
})
