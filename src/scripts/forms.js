// Tells the browser whether this frame holds a login form or a one-time-code
// field. Subframes only: the top frame is asked when needed.
(() => {
  if (window === window.top || typeof quillo === "undefined") return;
  let last = null;
  let timer = 0;
  const userWords = /user|login|email/i;
  const report = () => {
    const inputs = quilloFormInputs();
    const login = inputs.some((input) =>
      input.type === "password" ||
      (input.getAttribute("autocomplete") || "").toLowerCase().includes("username") ||
      ((input.type === "text" || input.type === "email") && userWords.test(input.name + " " + input.id)));
    const fields = quilloCodeFields(inputs);
    const code = fields.named !== null || fields.boxes.length >= 4;
    const pair = (login ? "1" : "0") + (code ? "1" : "0");
    if (pair === last) return;
    last = pair;
    quillo.post("quilloForms", { login, code });
  };
  const later = () => {
    clearTimeout(timer);
    timer = setTimeout(report, 300);
  };
  document.addEventListener("DOMContentLoaded", later);
  window.addEventListener("load", later);
  document.addEventListener("focusin", later, true);
  new MutationObserver(later).observe(document, {
    childList: true, subtree: true, attributes: true, attributeFilter: ["style", "class", "hidden", "type"],
  });
})();
