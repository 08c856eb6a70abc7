#!/usr/bin/env bash
# A private tab stores cookies, storage, IndexedDB and a cached file, and is zoomed: after quit no file holds a trace
# of it. The same in a normal tab does, so the search looks where the engine writes. No file is readable by others,
# including files an older version left readable, and files made before a crash.
set -euo pipefail
quillo=$1
source "$(dirname "$0")/common.bash"
data="$XDG_DATA_HOME/quillo"

cat > "$work/server.py" <<'PY'
import http.server, sys, urllib.parse
class H(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        with open(sys.argv[1], "a") as log: log.write(self.path + "\n")
        path = urllib.parse.urlparse(self.path).path
        mark = path.split("/")[1] if path.count("/") > 1 else ""
        headers = []
        if path.endswith("/page.html"):
            kind = "text/html"
            headers.append(("Set-Cookie", mark + "-header=" + mark + "-hc; Max-Age=86400"))
            body = ("""<!doctype html><html><head><title>%(m)s-title</title>
<script src="/%(m)s/asset.js"></script></head><body>%(m)s-body<script>
document.cookie = "%(m)s-cookie=%(m)s-jc; max-age=86400";
localStorage.setItem("k", "%(m)s-local");
sessionStorage.setItem("k", "%(m)s-session");
let open = indexedDB.open("%(m)s-db", 1);
open.onupgradeneeded = () => open.result.createObjectStore("s");
open.onsuccess = () => {
  let tx = open.result.transaction("s", "readwrite");
  tx.objectStore("s").put("%(m)s-idb", "k");
  tx.oncomplete = () => {
    let read = open.result.transaction("s").objectStore("s").get("k");
    read.onsuccess = () => fetch("/%(m)s/done?" + new URLSearchParams({
      cookie: document.cookie, local: localStorage.getItem("k"), idb: read.result, asset: window.assetLoaded}));
  };
};
addEventListener("resize", () => fetch("/%(m)s/zoomed"));
</script></body></html>""" % {"m": mark}).encode()
        elif path.endswith("/asset.js"):
            kind = "text/javascript"
            headers.append(("Cache-Control", "max-age=3600"))
            body = ("window.assetLoaded = '%s-asset';" % mark).encode()
        else:
            kind, body = "text/plain", b"ok"
        self.send_response(200); self.send_header("Content-Type", kind)
        for k, v in headers: self.send_header(k, v)
        self.send_header("Content-Length", str(len(body))); self.end_headers(); self.wfile.write(body)
    def log_message(self, *a): pass
s = http.server.ThreadingHTTPServer(("127.0.0.1", 0), H)
open(sys.argv[2], "w").write(str(s.server_address[1]))
s.serve_forever()
PY
serve "$work/server.py" "$work/requests.log" "$work/port"
port=$(cat "$work/port")
touch "$work/requests.log"

requested() { grep -q "$1" "$work/requests.log"; }
keys() { xdotool key --clearmodifiers "$@"; }
traces() {  # files under the three folders that contain $1, as UTF-8 or UTF-16 (SQLite keeps both)
  python3 - "$1" "$XDG_DATA_HOME" "$XDG_CONFIG_HOME" "$XDG_CACHE_HOME" <<'PY'
import os, sys
text = sys.argv[1]
forms = [text.encode("utf-8"), text.encode("utf-16-le"), text.encode("utf-16-be")]
for root in sys.argv[2:]:
    for folder, _, files in os.walk(root):
        for name in files:
            path = os.path.join(folder, name)
            if os.path.islink(path) or not os.path.isfile(path):
                continue
            try:
                content = open(path, "rb").read()
            except OSError:
                continue
            if any(form in content for form in forms):
                print(path)
PY
}

visit() {  # visit MARK NEW_TAB_KEYS: open the page in a new tab of that kind by keys, zoom it, quit with Ctrl+Q
  local mark=$1 newtab=$2
  start
  wait_for 10 xdotool search --name . >/dev/null
  xdotool mousemove 200 200
  # The browser handles the keys in order, the palette opening first.
  keys "$newtab"
  xdotool type --delay 5 "http://127.0.0.1:$port/$mark/page.html"
  keys Return
  wait_for 30 requested "/$mark/done"
  grep "/$mark/done" "$work/requests.log" | grep -q "idb=$mark-idb" || { echo "the page stored nothing"; grep "/$mark/" "$work/requests.log"; exit 1; }
  grep "/$mark/done" "$work/requests.log" | grep -q "$mark-local" || { echo "no local storage"; exit 1; }
  keys ctrl+plus
  wait_for 10 requested "/$mark/zoomed"
  keys ctrl+q
  wait $pid
}

# What an older version left: readable by everyone.
mkdir -p "$data" "$XDG_CONFIG_HOME/quillo"
echo '[]' > "$data/pins.json"
echo '{"QuickPinCount": 5}' > "$XDG_CONFIG_HOME/quillo/settings.json"
chmod 755 "$data" "$XDG_CONFIG_HOME/quillo"
chmod 644 "$data/pins.json" "$XDG_CONFIG_HOME/quillo/settings.json"

mark="prv$RANDOM$RANDOM"
echo "private tab ($mark)"
visit "$mark" ctrl+shift+n
found=$(traces "$mark")
[ -z "$found" ] || { echo "the private site left traces in:"; echo "$found"; exit 1; }
found=$(traces "127.0.0.1:$port")
[ -z "$found" ] || { echo "the private site's address was kept in:"; echo "$found"; exit 1; }
for f in session.json history.json zoom.json; do
  ! grep -qs "127.0.0.1" "$data/$f" || { echo "$f knows the private site"; cat "$data/$f"; exit 1; }
done
echo "  no trace in $(find "$XDG_DATA_HOME" "$XDG_CONFIG_HOME" "$XDG_CACHE_HOME" -type f | wc -l) files"

echo "killed while running under a lax umask, the engine's new files are already private"
umask 022
"$quillo" "http://127.0.0.1:$port/killed/page.html" 2>>"$work/log" & pid=$!
wait_for 30 requested "/killed/done"
kill -9 "$pid"; wait "$pid" 2>/dev/null || true
wait_for 30 eval '! running'
loose=$(find "$data" "$XDG_CONFIG_HOME/quillo" "$XDG_CACHE_HOME/quillo" ! -type l -perm /077 -printf '%m %p\n')
[ -z "$loose" ] || { echo "open to others while running:"; echo "$loose"; exit 1; }

normal="nrm$RANDOM$RANDOM"
echo "the same in a normal tab ($normal) is found"
visit "$normal" ctrl+t
for what in "$normal-hc" "$normal-local" "127.0.0.1:$port/$normal/page.html"; do
  [ -n "$(traces "$what")" ] || { echo "the search found no $what: it does not look where the engine writes"; exit 1; }
done
grep -q "127.0.0.1" "$data/zoom.json" || { echo "the normal tab's zoom was not kept"; exit 1; }

echo "no file readable by others"
[ -e "$data/website-data/cookies.sqlite" ] || { echo "the engine kept no cookies"; exit 1; }
loose=$(find "$data" "$XDG_CONFIG_HOME/quillo" "$XDG_CACHE_HOME/quillo" ! -type l -perm /077 -printf '%m %p\n')
if [ -n "$loose" ]; then echo "readable by others:"; echo "$loose"; exit 1; fi
for d in "$data" "$XDG_CONFIG_HOME/quillo" "$XDG_CACHE_HOME/quillo"; do
  [ "$(stat -c %a "$d")" = 700 ] || { echo "$d is $(stat -c %a "$d")"; exit 1; }
done
for f in "$data"/*.json "$XDG_CONFIG_HOME/quillo/settings.json"; do
  [ "$(stat -c %a "$f")" = 600 ] || { echo "$f is $(stat -c %a "$f")"; exit 1; }
done
echo "ok"
