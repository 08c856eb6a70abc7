#!/usr/bin/env bash
# Starts the real browser, sends it an address from a second process, quits
# it, checks session.json, starts it again and sees the tab come back.
# Runs under tools/with-display (private D-Bus, Xvfb, temporary XDG folders).
set -euo pipefail
quillo=$1
source "$(dirname "$0")/common.bash"
session="$XDG_DATA_HOME/quillo/session.json"

# A page served from loopback; the server logs each request line.
cat > "$work/server.py" <<'PY'
import http.server, sys
class H(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        with open(sys.argv[1], "a") as log: log.write(self.path + "\n")
        if self.path == "/easyprivacy.txt":
            body, kind = b"[Adblock Plus 2.0]\n||tracker.test^$third-party\n", "text/plain"
        else:
            body, kind = b"<html><head><title>Restored page</title></head><body>Hello from the test</body></html>", "text/html"
        self.send_response(200); self.send_header("Content-Type", kind)
        self.send_header("Content-Length", str(len(body))); self.end_headers(); self.wfile.write(body)
    def log_message(self, *a): pass
s = http.server.HTTPServer(("127.0.0.1", 0), H)
open(sys.argv[2], "w").write(str(s.server_address[1]))
s.serve_forever()
PY
serve "$work/server.py" "$work/requests.log" "$work/port"
# A stray "%" as real sites have them: it must arrive and be kept as sent.
url="http://127.0.0.1:$(cat "$work/port")/page.html?q=50%off"
# Block-list updates come from here too: no test reaches the internet.
export QUILLO_EASYPRIVACY_URL="http://127.0.0.1:$(cat "$work/port")/easyprivacy.txt"

requests() { local n; n=$(grep -cs '^/page.html' "$work/requests.log") || true; echo "${n:-0}"; }
more_requests_than() { [ "$(requests)" -gt "$1" ]; }
session_has() { grep -qs "$1" "$session"; }

echo "first start"
"$quillo" & first=$!
wait_for 60 running

echo "second process sends $url"
timeout 30 "$quillo" "$url"
wait_for 60 more_requests_than 0
wait_for 30 session_has "Restored page"

echo "quit"
kill -TERM $first
wait $first
grep -q "\"$url\"" "$session" || { echo "session.json lacks the tab:"; cat "$session"; exit 1; }
grep -q '^/easyprivacy.txt' "$work/requests.log" || { echo "no block-list update was asked for"; exit 1; }
grep -q '"EasyPrivacyUpdated"' "$XDG_CONFIG_HOME/quillo/settings.json" || { echo "the update was not recorded"; exit 1; }
before=$(requests)

echo "second start restores the tab and loads it"
"$quillo" & second=$!
wait_for 60 running
wait_for 60 more_requests_than "$before"
kill -TERM $second
wait $second
grep -q "\"$url\"" "$session"
