// With a null code, tells whether this frame shows a one-time-code field;
// with a code, types it into the field, or one character per box.
(code, host) => {
  if (!quilloHostMatches(host)) return false;
  const fields = quilloCodeFields(quilloFormInputs());
  if (code === null) return fields.named !== null || fields.boxes.length >= 4;
  if (fields.named) {
    quilloSet(fields.named, code);
    return true;
  }
  const characters = Array.from(code);
  if (fields.boxes.length >= 4 && fields.boxes.length >= characters.length) {
    characters.forEach((character, i) => quilloSet(fields.boxes[i], character));
    return true;
  }
  return false;
}
