// Says which frame asks for the camera or microphone, which WebKit's own
// request does not. Runs in the page's world before the page's scripts and
// only raises an event; the browser's world passes it on with the frame.
// The prototype is wrapped, not navigator.mediaDevices: that object may not
// exist yet when this runs.
(() => {
  const prototype = typeof MediaDevices === "function" ? MediaDevices.prototype : null;
  if (!prototype || typeof prototype.getUserMedia !== "function") return;
  const original = prototype.getUserMedia;
  const getUserMedia = function (...args) {
    document.dispatchEvent(new CustomEvent("quillo-media-asked"));
    return original.apply(this, args);
  };
  Object.defineProperty(prototype, "getUserMedia", {value: getUserMedia, configurable: true, writable: true});
})();
