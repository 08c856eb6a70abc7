# What the end-to-end scripts share: $work (removed at exit, every job killed), serve SCRIPT ARGS… (a Python server
# that writes its port to its last argument), wait_for SECONDS COMMAND…, running (a Quillo answers on the bus),
# start ($quillo in the background as $pid, once it answers) and quit (ended with TERM, and gone).
work=$(mktemp -d)
trap 'kill -9 $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT

serve() {
  python3 "$@" &
  local port_file=${*: -1}
  for _ in $(seq 100); do [ -s "$port_file" ] && return 0; sleep 0.1; done
  echo "the test server did not start" >&2; return 1
}

wait_for() {
  local limit=$1; shift
  for _ in $(seq $((limit * 10))); do "$@" && return 0; sleep 0.1; done
  echo "timed out waiting for: $*" >&2
  [ -f "$work/requests.log" ] && tail -5 "$work/requests.log" >&2
  return 1
}

running() { gdbus introspect --session --dest org.quillo.Quillo --object-path /org/quillo/Quillo >/dev/null 2>&1; }

start() { "$quillo" 2>>"$work/log" & pid=$!; wait_for 60 running; }
quit() { kill -TERM "$pid"; wait "$pid"; }
