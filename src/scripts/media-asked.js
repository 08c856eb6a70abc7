// Says which frame asks for the camera or microphone, which WebKit's own
// request does not. Runs in the page's world before the page's scripts and
// only raises an event; the browser's world passes it on with the frame.
(() => {
  const devices = navigator.mediaDevices;
  if (!devices || typeof devices.getUserMedia !== "function") return;
  const original = devices.getUserMedia;
  const getUserMedia = function (...args) {
    document.dispatchEvent(new CustomEvent("quillo-media-asked"));
    return original.apply(this, args);
  };
  Object.defineProperty(devices, "getUserMedia", {value: getUserMedia, configurable: true, writable: true});
})();
