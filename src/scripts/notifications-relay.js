// Carries the page's notification messages (notifications.js) to the
// browser as "quilloNotify" asks, and the answers back. Runs in our world,
// in main frames; texts cross between the worlds, objects would not.
(() => {
  if (typeof quillo === "undefined") return;
  document.addEventListener("quillo-notify", (event) => {
    let asked;
    try {
      asked = JSON.parse(event.detail);
    } catch (e) {
      return;
    }
    if (!asked || typeof asked !== "object") return;
    let message = asked.message;
    // Only a user's gesture brings up the prompt, whatever the page sends.
    const activation = navigator.userActivation;
    if (message && message.type === "request" && activation && !activation.isActive) message = {type: "permission"};
    quillo.ask("quilloNotify", message, (value) => {
      const detail = JSON.stringify({seq: asked.seq, value: value === undefined ? null : value});
      document.dispatchEvent(new CustomEvent("quillo-notify-reply", {detail}));
    });
  });
  document.dispatchEvent(new CustomEvent("quillo-notify-ready"));
})();
