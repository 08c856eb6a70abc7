// Passes a frame's "about to ask for the camera or microphone" on to the
// browser; our web process extension adds which frame it came from.
document.addEventListener("quillo-media-asked", () => {
  if (typeof quillo !== "undefined") quillo.post("quilloMediaAsked", "");
}, true);
