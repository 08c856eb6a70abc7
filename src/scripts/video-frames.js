// Tells the browser which subframes show a video, so a video playing in an
// embedded player can be floated too. The top frame is asked directly.
if (window.top !== window) {
  const report = (event) => {
    if (event.target instanceof HTMLVideoElement && typeof quillo !== "undefined") quillo.post("quilloVideo", event.type);
  };
  document.addEventListener("loadedmetadata", report, true);
  document.addEventListener("playing", report, true);
}
