#!/usr/bin/env bash
# tools/install into a temporary prefix that the desktop does not look in: the entry, D-Bus service, icons and
# AppStream data reach the user's data folder, pass their validators (skipped when missing), and the bus starts the
# installed program through the service to open a file.
set -euo pipefail
quillo=$1
source "$(dirname "$0")/common.bash"
prefix="$work/prefix" share="$XDG_DATA_HOME"
PREFIX="$prefix" QUILLO_INSTALL_BUILT=1 QUILLO_INSTALL_BUILD_DIR="$(dirname "$quillo")" "$(dirname "$0")/../../tools/install" >/dev/null
entry="$share/applications/org.quillo.Quillo.desktop"
validate() { if command -v "$1" >/dev/null; then "$@"; else echo "skipped: no $1"; fi; }
validate desktop-file-validate "$entry"
validate appstreamcli validate --no-net "$share/metainfo/org.quillo.Quillo.metainfo.xml"
[ "$(grep -c "^Exec=$prefix/bin/quillo" "$entry")" = 4 ] || { echo "the entry's commands miss the program:"; cat "$entry"; exit 1; }
icon=$(sed -n 's/^Icon=//p' "$entry")
ls "$share/icons/hicolor/scalable/apps/$icon.svg" "$share/icons/hicolor/symbolic/apps/$icon-symbolic.svg" >/dev/null
gapplication list-apps | grep -qx org.quillo.Quillo || { echo "GIO does not see a D-Bus activatable entry"; exit 1; }

echo "the bus starts the installed program"
bus() { gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus --method "$@"; }
owned() { bus org.freedesktop.DBus.NameHasOwner org.quillo.Quillo | grep -q true; }  # asking would start it
bus org.freedesktop.DBus.UpdateActivationEnvironment "{'DISPLAY': '$DISPLAY', 'XAUTHORITY': '${XAUTHORITY:-}'}" >/dev/null
echo "<title>Opened</title>" > "$work/opened.html"
gapplication launch org.quillo.Quillo "$work/opened.html"  # as the desktop opens a file or link with it
owned
wait_for 30 grep -qsF "file://$work/opened.html" "$XDG_DATA_HOME/quillo/session.json"
pid=$(bus org.freedesktop.DBus.GetConnectionUnixProcessID org.quillo.Quillo | sed 's/.* \([0-9]*\),)/\1/')
wait_for 10 xdotool search --onlyvisible --pid "$pid" >/dev/null  # its window
[ "$(tr '\0' ' ' < "/proc/$pid/cmdline")" = "$prefix/bin/quillo --gapplication-service " ] || { echo "not the service"; exit 1; }
gapplication action org.quillo.Quillo quit
wait_for 30 eval '! owned'
echo "ok"
