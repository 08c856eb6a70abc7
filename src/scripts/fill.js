// Fills a login into this frame, only while it still shows the host the
// browser chose it for. Answers which of the two fields took a value.
(loginUsername, loginPassword, host) => {
  if (!quilloHostMatches(host)) return { username: false, password: false, refused: true };
  const inputs = quilloFormInputs();
  const password = inputs.find((input) => input.type === "password") || null;
  let candidates = inputs.filter((input) =>
    ["text", "email", "tel"].includes(input.type) ||
    (input.getAttribute("autocomplete") || "").toLowerCase().includes("username"));
  // A search box elsewhere on the page is not the login's username.
  if (password && password.form) candidates = candidates.filter((input) => input.form === password.form);
  if (password) {
    candidates = candidates.filter((input) =>
      input.compareDocumentPosition(password) & Node.DOCUMENT_POSITION_FOLLOWING);
  }
  const hinted = candidates.filter((input) =>
    input.type === "email" ||
    (input.getAttribute("autocomplete") || "").toLowerCase().includes("username") ||
    /user|email|login/i.test(input.name + input.id));
  let username = null;
  if (hinted.length) username = hinted[hinted.length - 1];
  else if (password && candidates.length) username = candidates[candidates.length - 1];
  else if (candidates.length) username = candidates[0];
  const filled = { username: false, password: false };
  if (username && loginUsername !== null) {
    quilloSet(username, loginUsername);
    filled.username = true;
  }
  if (password && loginPassword !== null) {
    quilloSet(password, loginPassword);
    filled.password = true;
  }
  return filled;
}
