#!/usr/bin/env bash
# After a normal run (a page that stores cookies and local storage, a quit),
# nothing under Quillo's data, config and cache folders may be readable by
# other accounts, including files an older version left readable.
# Runs under tools/with-display.
set -euo pipefail
quillo=$1
source "$(dirname "$0")/common.bash"
data="$XDG_DATA_HOME/quillo"

cat > "$work/server.py" <<'PY'
import http.server, sys
class H(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        body = b"<html><head><title>Stored</title></head><body><script>localStorage.setItem('k', 'v'); document.title = 'Stored ' + localStorage.getItem('k');</script></body></html>"
        self.send_response(200); self.send_header("Content-Type", "text/html")
        self.send_header("Set-Cookie", "kept=1; Max-Age=86400")
        self.send_header("Cache-Control", "max-age=3600")
        self.send_header("Content-Length", str(len(body))); self.end_headers(); self.wfile.write(body)
    def log_message(self, *a): pass
s = http.server.HTTPServer(("127.0.0.1", 0), H)
open(sys.argv[1], "w").write(str(s.server_address[1]))
s.serve_forever()
PY
serve "$work/server.py" "$work/port"
url="http://127.0.0.1:$(cat "$work/port")/page.html"


# What an older version left: readable by everyone.
mkdir -p "$data" "$XDG_CONFIG_HOME/quillo"
echo '[]' > "$data/pins.json"
echo '{"QuickPinCount": 5}' > "$XDG_CONFIG_HOME/quillo/settings.json"
chmod 755 "$data" "$XDG_CONFIG_HOME/quillo"
chmod 644 "$data/pins.json" "$XDG_CONFIG_HOME/quillo/settings.json"

"$quillo" & pid=$!
wait_for 60 running
timeout 30 "$quillo" "$url"
wait_for 30 grep -qs "Stored v" "$data/session.json"
kill -TERM $pid
wait $pid

for f in session.json history.json; do [ -f "$data/$f" ] || { echo "no $f written"; exit 1; }; done
[ -e "$data/website-data/cookies.sqlite" ] || { echo "the engine kept no cookies"; exit 1; }
loose=$(find "$data" "$XDG_CONFIG_HOME/quillo" "$XDG_CACHE_HOME/quillo" ! -type l -perm /077 -printf '%m %p\n')
if [ -n "$loose" ]; then echo "readable by others:"; echo "$loose"; exit 1; fi
for d in "$data" "$XDG_CONFIG_HOME/quillo" "$XDG_CACHE_HOME/quillo"; do
  [ "$(stat -c %a "$d")" = 700 ] || { echo "$d is $(stat -c %a "$d")"; exit 1; }
done
for f in "$data"/*.json "$XDG_CONFIG_HOME/quillo/settings.json"; do
  [ "$(stat -c %a "$f")" = 600 ] || { echo "$f is $(stat -c %a "$f")"; exit 1; }
done
echo "ok: $(find "$data" "$XDG_CONFIG_HOME/quillo" "$XDG_CACHE_HOME/quillo" | wc -l) entries, none readable by others"
