#!/usr/bin/env bash
# Kills the browser at random moments while tabs open: every file still parses and only the last moments are lost;
# then a damaged session.json comes back from the save before. QUILLO_CRASH_ROUNDS (4), QUILLO_CRASH_RANDOM (clock).
set -euo pipefail
quillo=$1
rounds=${QUILLO_CRASH_ROUNDS:-4}
start=${QUILLO_CRASH_RANDOM:-$(( $(date +%s) % 32768 ))}
RANDOM=$start
echo "random start $start, $rounds rounds (QUILLO_CRASH_RANDOM=$start repeats it)"
source "$(dirname "$0")/common.bash"
data="$XDG_DATA_HOME/quillo"

cat > "$work/server.py" <<'PY'
import http.server, sys
class H(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        with open(sys.argv[1], "a") as log: log.write(self.path + "\n")
        body = ("<html><head><title>Page %s</title></head><body>%s</body></html>" % (self.path, self.path)).encode()
        self.send_response(200); self.send_header("Content-Type", "text/html")
        self.send_header("Content-Length", str(len(body))); self.end_headers(); self.wfile.write(body)
    def log_message(self, *a): pass
s = http.server.ThreadingHTTPServer(("127.0.0.1", 0), H)
open(sys.argv[2], "w").write(str(s.server_address[1]))
s.serve_forever()
PY
serve "$work/server.py" "$work/requests.log" "$work/port"
base="http://127.0.0.1:$(cat "$work/port")"

gone() { ! running; }
now() { date +%s.%N; }

# The session is written 1 s after the last change (2 s at most), history 2 s (4 s); each bound gets a second of
# slack. What an earlier round found saved must still be there.
check() {  # check KILL_TIME
  python3 - "$data" "$work/opened" "$1" "$XDG_CONFIG_HOME/quillo" "$work/kept" <<'PY'
import json, os, sys
data, opened, killed, config, kept_file = sys.argv[1], sys.argv[2], float(sys.argv[3]), sys.argv[4], sys.argv[5]
for root in (data, config):
    for name in os.listdir(root) if os.path.isdir(root) else []:
        path = os.path.join(root, name)
        if name.endswith(".json") or name.endswith(".previous"):
            with open(path) as f:
                text = f.read()
            if not text.strip():
                sys.exit("empty file: " + path)
            try:
                json.loads(text)
            except ValueError as e:
                sys.exit("torn file %s: %s" % (path, e))
        if ".unreadable" in name:
            sys.exit("a file was found unreadable: " + path)
session = json.load(open(os.path.join(data, "session.json"))) if os.path.exists(os.path.join(data, "session.json")) else {"tabs": []}
tabs = {t["url"] for t in session["tabs"]}
history = json.load(open(os.path.join(data, "history.json"))) if os.path.exists(os.path.join(data, "history.json")) else []
visited = {e["url"] for e in history}
kept = json.load(open(kept_file)) if os.path.exists(kept_file) else {"tabs": [], "visits": []}
for url in kept["tabs"]:
    if url not in tabs:
        sys.exit("tab %s, saved in an earlier round, was lost" % url)
for url in kept["visits"]:
    if url not in visited:
        sys.exit("visit to %s, saved in an earlier round, was lost" % url)
for line in open(opened):
    when, url = line.split()
    age = killed - float(when)
    if age > 3.0 and url not in tabs:
        sys.exit("tab %s opened %.1f s before the kill is not in session.json" % (url, age))
    if age > 6.0 and url not in visited:
        sys.exit("visit to %s %.1f s before the kill is not in history.json" % (url, age))
    if url in tabs: kept["tabs"].append(url)
    if url in visited: kept["visits"].append(url)
json.dump(kept, open(kept_file, "w"))
print("  %d tabs, %d history entries, all files parse" % (len(tabs), len(visited)))
PY
}

n=0
for round in $(seq "$rounds"); do
  : > "$work/opened"  # this round's tabs; the last moments before a kill may be lost
  start
  for _ in $(seq $((1 + RANDOM % 3))); do
    n=$((n + 1))
    url="$base/r$round/t$n"
    timeout 30 "$quillo" "$url"
    echo "$(now) $url" >> "$work/opened"
    sleep "0.$((RANDOM % 10))"
  done
  sleep "$((RANDOM % 4)).$((RANDOM % 10))"
  killed=$(now)
  kill -9 $pid
  wait $pid 2>/dev/null || true
  wait_for 30 gone
  echo "round $round: killed $(awk -v k="$killed" '{t=$1} END {printf "%.1f", k - t}' "$work/opened") s after the last tab"
  check "$killed"
done

echo "a normal quit, so the save before is kept too; the tab comes back and loads"
# A stray "%" as real sites have them: it must arrive and be kept as sent.
last="$base/last?q=50%off"
start
timeout 30 "$quillo" "$last"
wait_for 30 grep -qF "\"$last\"" "$data/session.json"
quit
loads() { [ "$(grep -cF '/last?q=50%off' "$work/requests.log")" -ge "$1" ]; }
start
wait_for 60 loads 2
quit
[ -s "$data/session.json.previous" ] || { echo "no session.json.previous"; exit 1; }
expected=$(python3 -c 'import json,sys; print(sorted(t["url"] for t in json.load(open(sys.argv[1]))["tabs"]))' "$data/session.json.previous")

echo "a damaged session.json restores from session.json.previous"
head -c 40 "$data/session.json" > "$work/torn" && cp "$work/torn" "$data/session.json"
"$quillo" 2>"$work/restart.log" & pid=$!
wait_for 60 running
wait_for 10 grep -q "restored the open tabs from session.json.previous" "$work/restart.log"
quit
cmp -s "$work/torn" "$data/session.json.unreadable" || { echo "the damaged file was not kept"; exit 1; }
actual=$(python3 -c 'import json,sys; print(sorted(t["url"] for t in json.load(open(sys.argv[1]))["tabs"]))' "$data/session.json")
[ "$actual" = "$expected" ] || { echo "restored $actual, expected $expected"; exit 1; }
echo "ok"
