// The message names and parameter formats the browser and its web process extension share.
#pragma once
// Both sides include it, so it uses nothing beyond the language.

namespace quillo::extension {

// The script world of the browser's own page scripts.
inline constexpr char kWorld[] = "quillo";

// Web process to view: a script in the "quillo" world called
// quillo.post(name, payload). Parameters "(stsbs)": name, frame id, frame
// address, whether it is the main frame, payload as JSON text.
inline constexpr char kPost[] = "quillo-post";
// Web process to view: quillo.ask(name, payload, callback), a post that
// waits for an answer. Parameters as for kPost; reply parameters "(s)": the
// answer as JSON text, which the callback gets (null if none comes).
inline constexpr char kAsk[] = "quillo-ask";

// View to web process: run a script in one frame. Parameters "(tsb)": frame
// id, script, whether to run it in the "quillo" world (else the page's).
// Reply parameters "(bs)": true and the result as JSON text, or false and
// the error text.
inline constexpr char kEvalInFrame[] = "quillo-eval-in-frame";

// Web process to view: a frame began showing a document. Parameters
// "(tsb)": frame id, the document's address, whether it is the main frame.
// Sent by the extension itself, never on a page's behalf.
inline constexpr char kFrameLoaded[] = "quillo-frame-loaded";
// Web process to view: a frame went away. Parameters "(t)": frame id.
inline constexpr char kFrameGone[] = "quillo-frame-gone";
// View to web process: run a script in every frame of the page. Parameters
// "(sb)": script, whether to run it in the "quillo" world. Reply parameters
// "(bs)": true and a JSON array of the frames' results (main frame first;
// null for a frame whose script failed), or false and the error text.
inline constexpr char kEvalInEveryFrame[] = "quillo-eval-in-every-frame";

}  // namespace quillo::extension
