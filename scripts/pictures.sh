#!/usr/bin/env bash
# scripts/pictures.sh: makes the pictures of the window that the pages show, but those of faults.
set -euo pipefail
. "$(dirname "$0")/prepare.sh"

install_packages view test
compositions=$PWD/compositions
[ -x "${brannow:=$PWD/build/default/host/brannow}" ] || {
  echo 'It needs the build of ./test.' >&2
  exit 1
}
work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null; wait; rm -rf "$work"' EXIT

Xorg -displayfd 3 -noreset -config "$PWD/tests/displays.conf" -logfile "$work/xorg.log" -nolisten tcp -dpi 96 \
  -novtswitch -sharevts 3>"$work/display" 2>"$work/xorg.err" &
until [ -s "$work/display" ]; do sleep 0.1; done
DISPLAY=:$(cat "$work/display")
export DISPLAY

# view ARGUMENTS...: opens the window and lets it run for as long as its graph of frames is wide.
view() {
  (cd "$work" && exec "$brannow" view "$@" --cache cache) &
  window=$!
  until xdotool search --onlyvisible --class brannow >/dev/null 2>&1; do
    kill -0 "$window" && sleep 0.1
  done
  sleep 10
}
closes() {
  kill "$window"
  wait "$window"
}
# picture X,Y WIDTHxHEIGHT NAME: that part of the screen.
picture() {
  ffmpeg -nostdin -v error -y -f x11grab -draw_mouse 0 -video_size "$2" -i "$DISPLAY+$1" -frames:v 1 \
    -vf 'trim=end_frame=1,split[a][b];[a]palettegen[p];[b][p]paletteuse' "docs/pictures/$3.png"
}

"$brannow" describe --json "$compositions"/kaleidoscope.vuo |
  sed 's/\("name":"segments"[^}]*"default":\)[0-9]*/\19/' >"$work/nine.json"
view "$compositions"/kaleidoscope.vuo --input "$compositions"/plasma.vuo --size 1000x744 \
  --preset "$work/nine.json"
picture 12,12 1000x744 view
closes
view "$compositions"/aurora.vuo --size 900x640 --output-display 2 --record show.y4m
picture 0,0 1664x768 show
closes
