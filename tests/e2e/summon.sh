#!/usr/bin/env bash
# Another window covers Quillo's and has the keyboard. `quillo --palette` from a second process, then the exported
# action (`gapplication action … summon`), bring Quillo's window on top with the keyboard in the palette: what is typed
# next opens. The caller's activation token or startup id reaches the window.
set -euo pipefail
quillo=$1
source "$(dirname "$0")/common.bash"
data="$XDG_DATA_HOME/quillo"
for n in 0 1 2; do echo "<title>Page $n</title>" > "$work/p$n.html"; done
start
"$quillo" "$work/p0.html"
wait_for 30 grep -qsF "$work/p0.html" "$data/session.json"
win=$(xdotool search --onlyvisible --pid "$pid" | head -1)
xdotool key Escape  # the page has the keyboard

summoned() {  # summoned N TOKEN COMMAND…
  local n=$1 token=$2 other; shift 2
  xmessage -title "other $n" -geometry 1280x800+0+0 "another window" &
  wait_for 10 eval 'other=$(xdotool search --onlyvisible --name "^other $n$")'
  xdotool windowfocus --sync "$other"
  "$@"
  wait_for 10 eval '[ "$(xdotool getwindowfocus)" = "$win" ]'
  top=$(xwininfo -root -children | grep -oE "^ *(0x0*$(printf '%x' "$win")|0x0*$(printf '%x' "$other")) " | head -1)
  [ $((top)) = "$win" ] || { echo "round $n: Quillo's window is not on top"; xwininfo -root -children; exit 1; }
  xprop -id "$win" _NET_STARTUP_ID | grep -qF "\"$token\"" || { echo "round $n: the window did not get $token"; exit 1; }
  xdotool type --delay 5 "file://$work/p$n.html"
  xdotool key Return
  wait_for 30 grep -qsF "$work/p$n.html" "$data/session.json"
}
summoned 1 summon-test-1 env XDG_ACTIVATION_TOKEN=summon-test-1 timeout 30 "$quillo" --palette
summoned 2 summon-test-2_TIME42 env DESKTOP_STARTUP_ID=summon-test-2_TIME42 gapplication action org.quillo.Quillo summon
quit
echo "ok"
