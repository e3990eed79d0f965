#!/bin/bash
# Pictures of the desktop window for the documentation. Starts its own X
# server (Xvfb), runs Tavrol there with the stand-in chemistry programs of
# tests/fixtures and jobs in every state, and writes one PNG per tab, one of
# the about box, one of the help viewer, and one of every context menu and
# dialog (those the window's own picture taker, tavrol_screens, opens).
#
#   bash scripts/screenshots.sh [OUTPUT_DIR] [BUILD_DIR]
#
# OUTPUT_DIR defaults to docs/screenshots, BUILD_DIR to build. Needs Xvfb and
# xdotool (scripts/install-deps.sh) and a build with -DTAVROL_BUILD_TESTS=ON,
# which makes the small X helper tavrol_xtool that takes the pictures of the
# tabs, and tavrol_screens: Tavrol itself, which once asked opens its menus
# and dialogs one by one and writes their pictures.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
out=$(realpath -m "${1:-$root/docs/screenshots}")
build=$(realpath -m "${2:-$root/build}")
tavrol="$build/tests/tavrol_screens"
xtool="$build/tests/tavrol_xtool"
fixtures="$root/tests/fixtures"
for tool in "$tavrol" "$xtool"; do
    [ -x "$tool" ] || { echo "screenshots.sh: $tool is missing; build first" >&2; exit 1; }
done
command -v Xvfb >/dev/null && command -v xdotool >/dev/null ||
    { echo "screenshots.sh: needs Xvfb and xdotool" >&2; exit 1; }
mkdir -p "$out"

work=$(mktemp -d)
pids=()
cleanup() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

# A display and a pair of ports that nobody else uses.
display=""
for number in $(seq 150 199); do
    [ -e "/tmp/.X11-unix/X$number" ] || [ -e "/tmp/.X$number-lock" ] && continue
    Xvfb ":$number" -screen 0 1600x1200x24 -nolisten tcp >/dev/null 2>&1 &
    pids+=($!)
    for _ in $(seq 100); do [ -e "/tmp/.X11-unix/X$number" ] && break; sleep 0.1; done
    if [ -e "/tmp/.X11-unix/X$number" ]; then display=":$number"; break; fi
done
[ -n "$display" ] || { echo "screenshots.sh: no free X display" >&2; exit 1; }

export DISPLAY=$display QT_QPA_PLATFORM=xcb HOME="$work/home"
export XDG_CONFIG_HOME="$HOME/.config" TAVROLPREFS_DIR="$HOME/prefs"
export TAVROL_GUI_PORT=${TAVROL_GUI_PORT:-35871} TAVROL_CONSOLE_PORT=${TAVROL_CONSOLE_PORT:-35872}
export GAUSS_EXEDIR="$fixtures/gaussian/g16" TAVROL_OMBRIX_EXE="$fixtures/ombrix/bin/ombrix"
mkdir -p "$HOME/prefs" "$HOME/.config" "$HOME/jobs"
unset STANDIN_EXIT STANDIN_SLEEP STANDIN_CRASH WAYLAND_DISPLAY

export TAVROL_SCREENS_DIR="$out" TAVROL_SCREENS_START="$work/start"
rm -f "$out/screens.done"
(cd "$HOME" && exec "$tavrol") 2>/dev/null &
pids+=($!)
window=$(timeout 30 xdotool search --sync --onlyvisible --name '^TavrolGUI 1\.1\.15, ' | head -n 1)
[ -n "$window" ] || { echo "screenshots.sh: the window did not appear" >&2; exit 1; }

# One request on one connection, as a client sends it.
request() {
    python3 - "$TAVROL_GUI_PORT" "$1" <<'EOF'
import socket, sys
s = socket.create_connection(("127.0.0.1", int(sys.argv[1])), timeout=10)
s.sendall(sys.argv[2].encode())
s.shutdown(socket.SHUT_WR)
try:
    s.recv(1)
except OSError:
    pass
s.close()
EOF
}

# A job of the stand-in: its input file says how long it runs and how it ends.
submit() { # name queue behaviour...
    local name=$1 queue=$2 file="$HOME/jobs/$1.gjf"
    shift 2
    printf '#standin %s\n' "$@" >"$file"
    request "clientname=screenshots
clientuid=$(id -u)
action=submitjob
jobtypename=Gaussian
jobqueue=$queue
jobinputfile=$file
jobname=$name"
}

# Finished jobs of every ending, then jobs that wait and run.
submit benzene-opt none sleep=0 exit=0
submit water-freq none sleep=0 exit=0
submit methane-scan none sleep=0 exit=1
submit ethanol-td none sleep=0 crash=SEGV
sleep 3
submit caffeine-opt long sleep=900
submit aspirin-freq long sleep=900
submit glucose-irc long sleep=900
submit ammonia-sp short sleep=900
submit formaldehyde-nmr short sleep=900
submit co2-cube queueless sleep=900
submit hcn-formchk queueless sleep=900
sleep 3

grab() { # window file
    sleep 1
    "$xtool" grab "$1" "$out/$2"
    echo "wrote $out/$2"
}

xdotool windowfocus --sync "$window"
tabs=(long-jobs-queue short-jobs-queue queueless-jobs running-jobs finished-jobs job-types)
for index in "${!tabs[@]}"; do
    [ "$index" -gt 0 ] && xdotool key --clearmodifiers ctrl+Tab
    grab "$window" "main-window-$((index + 1))-${tabs[$index]}.png"
done
xdotool key --clearmodifiers ctrl+Tab # back to the first tab

# The buttons by their place in the row: About and Help at the right.
read -r width height < <(xdotool getwindowgeometry --shell "$window" |
    awk -F= '/WIDTH/{w=$2} /HEIGHT/{h=$2} END{print w, h}')
about_x=$((width - ${ABOUT_FROM_RIGHT:-70}))
help_x=$((width - ${HELP_FROM_RIGHT:-170}))
buttons_y=$((height - ${BUTTONS_FROM_BOTTOM:-27}))

xdotool mousemove --window "$window" "$about_x" "$buttons_y" click 1
about=$(timeout 20 xdotool search --sync --onlyvisible --name '^About TavrolGUI$' | head -n 1)
grab "$about" about-box.png
xdotool windowfocus --sync "$about" key Return

xdotool mousemove --window "$window" "$help_x" "$buttons_y" click 1
help=$(timeout 20 xdotool search --sync --onlyvisible --name '^Tavrol Help' | head -n 1)
grab "$help" help-viewer.png
"$xtool" close "$help"

# The menus and dialogs, pictured by Tavrol itself.
touch "$TAVROL_SCREENS_START"
for _ in $(seq 600); do [ -e "$out/screens.done" ] && break; sleep 0.2; done
[ -e "$out/screens.done" ] || { echo "screenshots.sh: the menus and dialogs were not pictured" >&2; exit 1; }
rm -f "$out/screens.done"
