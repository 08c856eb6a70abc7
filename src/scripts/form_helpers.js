// Shared by the form-detection, fill and one-time-code scripts.
function quilloFormInputs() {
  const found = [];
  const visit = (root) => {
    for (const element of root.querySelectorAll("*")) {
      if (element instanceof HTMLInputElement) found.push(element);
      if (element.shadowRoot) visit(element.shadowRoot);
    }
  };
  visit(document);
  return found.filter((input) => {
    const shown = input.offsetWidth > 0 || input.offsetHeight > 0 || input.getClientRects().length > 0;
    return shown && !input.disabled && !input.readOnly;
  });
}

const quilloCodeWords = /otp|totp|2fa|mfa|one.?time|verification.?code|auth(entication)?.?code|security.?code|passcode|two.?factor/i;
const quilloNotCodeTypes = ["hidden", "password", "email", "checkbox", "radio", "submit", "button", "search", "url"];

// The field named as a code field, and the single-character boxes.
function quilloCodeFields(inputs) {
  const candidates = inputs.filter((input) => !quilloNotCodeTypes.includes(input.type));
  const named = candidates.find((input) => {
    if ((input.getAttribute("autocomplete") || "").toLowerCase().includes("one-time-code")) return true;
    const words = [input.name, input.id, input.placeholder, input.getAttribute("aria-label")]
      .filter((word) => word).join(" ");
    return quilloCodeWords.test(words);
  }) || null;
  const boxes = candidates.filter((input) => input.maxLength === 1);
  return { named, boxes };
}

// Sets a value the way typing would: through the element's own setter, so
// frameworks that wrap the property see it, then input and change events
// that cross shadow roots.
function quilloSet(field, value) {
  field.focus();
  const setter = Object.getOwnPropertyDescriptor(HTMLInputElement.prototype, "value").set;
  setter.call(field, value);
  field.dispatchEvent(new Event("input", { bubbles: true, composed: true }));
  field.dispatchEvent(new Event("change", { bubbles: true, composed: true }));
}

function quilloHostMatches(host) {
  return location.hostname.replace(/^\[|\]$/g, "").toLowerCase() === host;
}
