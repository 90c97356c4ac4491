#!/usr/bin/env bash
# pipelines_test.sh PAGE COMPOSITIONS FOLDER: what users type, without a display; the page's commands
# as they stand there, but for where the samples are. The environment names the plug-in.
set -euo pipefail
page=$1 compositions=$2 work=$3
unset DISPLAY WAYLAND_DISPLAY GST_GL_WINDOW GST_GL_PLATFORM
rm -rf "$work" && mkdir -p "$work" && cd "$work"
fail() { echo "$*" >&2; exit 1; }

sed -n '/^```sh$/,/^```$/{/^```/!p}' "$page" | sed "s|/usr/share/brannow/compositions|$compositions|" >page.sh
bash -euo pipefail page.sh >page.log 2>&1 || { cat page.log >&2; fail "a command of the page fails"; }
grep -q 'Input "segments" of the composition' page.log || fail "gst-inspect tells nothing of an input"
head -c 60 wheel.y4m | grep -q 'W640 H360' || fail "not the composition's own size"
head -c 60 tunnel.y4m | grep -q 'W320 H240' || fail "not the size that was asked for"

# draw FILE PIPELINE...: its pixels
draw() {
  local file=$1
  shift
  gst-launch-1.0 -q "$@" ! gldownload ! video/x-raw,format=RGBA ! filesink location="$file" >"$file.log" 2>&1 ||
    { cat "$file.log" >&2; fail "$file is not drawn"; }
}
wheel=(brannow-plasma num-buffers=5 speed=1.5 ! brannow-kaleidoscope center-y=0.8)
draw first "${wheel[@]}"
draw second "${wheel[@]}"
draw inside brannow-plasma process=inside num-buffers=5 speed=1.5 ! brannow-kaleidoscope process=inside center-y=0.8
draw other brannow-plasma num-buffers=5 speed=1.5 ! brannow-kaleidoscope center-y=0.2
[ "$(stat -c %s first)" = $((5 * 640 * 360 * 4)) ] || fail "pictures are missing"
cmp first second || fail "two runs differ"
cmp first inside || fail "the modes differ"
! cmp -s first other || fail "a property changes nothing"

# A context that can't be shared: the same pixels, and one warning.
Xvfb -displayfd 3 -screen 0 64x64x24 3>display >/dev/null 2>&1 &
xvfb=$!
trap 'kill $xvfb' EXIT
until [ -s display ]; do kill -0 $xvfb; done
DISPLAY=:$(cat display) GST_GL_PLATFORM=glx gst-launch-1.0 "${wheel[@]}" ! gldownload ! \
  video/x-raw,format=RGBA ! filesink location=glx >glx.log 2>&1 || { cat glx.log >&2; fail "nothing with GLX"; }
cmp first glx || fail "pictures that are copied differ"
[ "$(grep -c "^WARNING.*can't share" glx.log)" = 1 ] || fail "not one warning"

GST_TRACERS=leaks GST_DEBUG=GST_TRACER:7 GST_DEBUG_NO_COLOR=1 \
  gst-launch-1.0 "${wheel[@]}" ! fakesink >leaks.log 2>&1
! grep 'object-alive, ' leaks.log | grep -v 'new format' || fail "something is left over"
