#!/usr/bin/env bash
# The browser fetches and installs a filter list, a page typed into the palette loads, and the list stopped what it
# should: a "~script" rule lets the tracker's script through but not its image; a rule ending in "^" stops the
# address that ends there or at its query, not a longer path.
set -euo pipefail
quillo=$1
source "$(dirname "$0")/common.bash"
session="$XDG_DATA_HOME/quillo/session.json"

# The page on 127.0.0.1, trackers on 127.0.0.2 and .3: three sites to WebKit. Each request is logged "HOST PATH".
cat > "$work/server.py" <<'PY'
import http.server, sys, threading
log_path, port_path = sys.argv[1], sys.argv[2]
gif = bytes.fromhex("47494638396101000100800000000000ffffff21f90401000000002c00000000010001000002024401003b")
servers = {}
class H(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        host = self.server.server_address[0]
        with open(log_path, "a") as log: log.write(host + " " + self.path + "\n")
        p2, p3 = servers["127.0.0.2"].server_address[1], servers["127.0.0.3"].server_address[1]
        if self.path == "/easyprivacy.txt":
            body = ("[Adblock Plus 2.0]\n! test list\n||127.0.0.2^$~script,third-party\n"
                    "||127.0.0.3:%d/event^\n" % p3).encode()
            kind = "text/plain"
        elif self.path == "/page.html":
            body = ("""<!doctype html><title>Loading trackers</title><script>
var seen = {}, names = ["script", "image", "event", "query", "eventx"];
function done(key, what) { seen[key] = what;
  if (Object.keys(seen).length < names.length) return;
  document.title = names.map(k => k + " " + seen[k]).join(", ");
  document.getElementById("out").textContent = names.map(k => k + ": " + seen[k]).join("\\n"); }
</script><h1>Tracker probe</h1><pre id="out">waiting</pre>
<script src="http://127.0.0.2:%(p2)d/t.js" onload="done('script','loaded')" onerror="done('script','blocked')"></script>
<img src="http://127.0.0.2:%(p2)d/t.gif" onload="done('image','loaded')" onerror="done('image','blocked')">
<img src="http://127.0.0.3:%(p3)d/event" onload="done('event','loaded')" onerror="done('event','blocked')">
<img src="http://127.0.0.3:%(p3)d/event?id=1" onload="done('query','loaded')" onerror="done('query','blocked')">
<img src="http://127.0.0.3:%(p3)d/eventx" onload="done('eventx','loaded')" onerror="done('eventx','blocked')">
""" % {"p2": p2, "p3": p3}).encode()
            kind = "text/html"
        elif self.path.endswith(".js"):
            body, kind = b"var tracked = 1;", "text/javascript"
        else:
            body, kind = gif, "image/gif"
        self.send_response(200); self.send_header("Content-Type", kind)
        self.send_header("Content-Length", str(len(body))); self.end_headers(); self.wfile.write(body)
    def log_message(self, *a): pass
for host in ("127.0.0.1", "127.0.0.2", "127.0.0.3"):
    servers[host] = http.server.ThreadingHTTPServer((host, 0), H)
for s in servers.values(): threading.Thread(target=s.serve_forever, daemon=True).start()
open(port_path, "w").write(str(servers["127.0.0.1"].server_address[1]))
threading.Event().wait()
PY
serve "$work/server.py" "$work/requests.log" "$work/port"
port=$(cat "$work/port")
export QUILLO_EASYPRIVACY_URL="http://127.0.0.1:$port/easyprivacy.txt"
url="http://127.0.0.1:$port/page.html"

list_installed() { grep -qs '"EasyPrivacyUpdated"' "$XDG_CONFIG_HOME/quillo/settings.json"; }
window_shown() { xdotool search --onlyvisible --class quillo >/dev/null 2>&1; }
session_has() { grep -qs "$1" "$session"; }
requested() { grep -q "^$1\$" "$work/requests.log"; }

echo "start; the list is fetched and compiled"
start
wait_for 60 list_installed
wait_for 30 window_shown

echo "type the address into the palette"
window=$(xdotool search --onlyvisible --class quillo | head -1)
xdotool windowfocus --sync "$window" 2>/dev/null || xdotool mousemove --window "$window" 200 200
# One burst: the browser handles the keys in order, the palette opening first.
xdotool key ctrl+e type --delay 40 "$url"
xdotool key Return
wait_for 60 session_has "script loaded, image blocked, event blocked, query blocked, eventx loaded" || {
  echo "session.json:"; cat "$session" 2>/dev/null; echo "requests:"; cat "$work/requests.log"; exit 1; }
[ -n "${QUILLO_SCREENSHOT:-}" ] && import -window root "$QUILLO_SCREENSHOT"

quit

requested "127.0.0.1 /page.html"
requested "127.0.0.2 /t.js" || { echo "the tracker's script was blocked"; exit 1; }
if requested "127.0.0.2 /t.gif"; then echo "the tracker's image was not blocked"; exit 1; fi
if requested "127.0.0.3 /event"; then echo "/event was not blocked"; exit 1; fi
if requested "127.0.0.3 /event?id=1"; then echo "/event?id=1 was not blocked"; exit 1; fi
requested "127.0.0.3 /eventx" || { echo "/eventx was blocked"; exit 1; }
echo "ok"
