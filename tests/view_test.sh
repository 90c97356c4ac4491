#!/usr/bin/env bash
# view_test.sh BRANNOW COMPOSITIONS: the window as a person with a keyboard meets it, on a display of
# its own.
set -uo pipefail
brannow=$(realpath "$1") compositions=$(realpath "$2")
displays=$(realpath "$(dirname "$0")/displays.conf")
work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null; wait; rm -rf "$work"' EXIT
export HOME=$work XDG_CONFIG_HOME=$work/config XDG_CACHE_HOME=$work/cache XDG_DATA_HOME=$work/data
export XDG_RUNTIME_DIR=$work
cd "$work" || exit 1
failures=0

fail() {
  printf 'FAILED: %s\n' "$1"
  tail -n 3 out err seen said 2>/dev/null
  failures=$((failures + 1))
}

# within SECONDS COMMAND...: tries the command until it succeeds.
within() {
  local end=$((SECONDS + $1))
  shift
  until "$@" >/dev/null 2>&1; do
    [ "$SECONDS" -lt "$end" ] || return 1
    sleep 0.1
  done
}

# view ARGUMENTS...: opens the window and gives it the keyboard.
view() {
  rm -f ./*-0*.png seen
  "$brannow" view "$@" >seen 2>said &
  window=$!
  within 30 focus || fail "opens a window: $*"
}
windows() { xdotool search --onlyvisible --class brannow | sort -n; }
window_id() { windows | head -1; }
focus() { xdotool windowfocus "$(window_id)"; }
resize() { within 30 eval 'xdotool windowsize "$(window_id)" '"$1 $2" || fail 'resizes the window'; }
player() { pgrep -P "$window" vuo-player; }
only_one_player() { [ "$(player | wc -l)" -eq 1 ]; }
player_is_new() { player && [ "$(player)" != "$old_player" ]; }

# saves EXPECTED: whether the picture that the window saves is this one.
saves() {
  local before
  before=$(grep -c '^saved' seen)
  xdotool key s
  within 2 saved_more_than "$before" && cmp "$(ls -t ./*-0*.png | head -1)" "$1"
}
saved_more_than() { [ "$(grep -c '^saved' seen)" -gt "$1" ]; }
shows() { within 30 saves "$1" || fail "$2"; }

closes() {
  kill "$window"
  wait "$window" || fail 'ends well'
  if player; then fail 'left a process'; fi
}

for command in 'missing.vuo' "$compositions/tiles.vuo"; do
  if DISPLAY='' WAYLAND_DISPLAY='' "$brannow" view "$command" >out 2>err; then fail "needs $command"; fi
  cat err >>problems
done
grep -q 'missing.vuo: no such file' problems || fail 'says that there is no such file'
grep -q 'no window can be opened' problems || fail 'says that there is no display'

# Without -noreset it starts anew, and turns clients away meanwhile, when its last window closes.
Xvfb -displayfd 3 -noreset -screen 0 800x600x24 -nolisten tcp 3>display 2>xvfb.log &
within 30 test -s display || { cat xvfb.log && exit 1; }
DISPLAY=:$(cat display)
export DISPLAY

cp "$compositions"/tiles.* .
render() { "$brannow" render tiles.vuo --size 320x180 -o "$1" >out 2>err || fail "renders $1"; }
render first.png
view tiles.vuo --size 320x180
shows first.png 'shows what render gives'

sed -i 's/_seed="7"/_seed="8"/' tiles.vuo
render second.png
if cmp -s first.png second.png; then fail 'another seed is another picture'; fi
shows second.png 'loads a file again that has changed'

sed -i 's/tiles.frag/nowhere.frag/' tiles.vuo
within 30 grep -q nowhere.frag said || fail 'says what does not compile'
shows second.png 'goes on with what ran before'
sed -i 's/nowhere.frag/tiles.frag/; s/_seed="8"/_seed="7"/' tiles.vuo
shows first.png 'loads the mended file'

cp tiles.frag whole.frag
sed -i 's/\(pixel = .*\);/\1.brga;/' tiles.frag
render third.png
if cmp -s first.png third.png; then fail 'another shader is another picture'; fi
shows third.png 'loads a shader that has changed'
sed -i 's/pixel = /pixels = /' tiles.frag
within 30 grep -q "tiles.frag:.*pixels" said || fail 'says what is wrong with a shader'
shows third.png 'goes on with the shader before'
rm tiles.frag
within 30 grep -q 'there is no file .*tiles.frag' said || fail 'says that a shader is gone'
shows third.png 'goes on without the shader'
mv whole.frag tiles.frag
shows first.png 'loads the shader that is back'

within 30 only_one_player || fail 'ends the composition that ran before'
old_player=$(player)
kill -9 "$old_player"
within 30 eval '! player' || fail 'the composition is gone'
shows first.png 'keeps the last picture'
reloads() { xdotool key r && within 5 player_is_new; }
within 30 reloads || fail 'loads again after lost contact'
shows first.png 'shows pictures again'
closes

view tiles.vuo --size 320x180 --fps 25 --record show.y4m
shows first.png 'shows what it records'
resize 200 150
xdotool key v
within 30 grep -q '^recorded show.y4m: [0-9]* frames$' seen || fail 'ends a recording'
xdotool key v
"$brannow" render tiles.vuo --size 200x150 -o small.png >out 2>err
shows small.png 'goes on beside it'
closes
grep -q '^recorded tiles-0001.y4m: [1-9]' seen || fail 'finishes a recording at the end'
"$brannow" render tiles.vuo --size 320x180 --frames 2 --fps 25 -o - >still.y4m 2>err
cmp -n "$(stat -c %s still.y4m)" still.y4m show.y4m || fail 'records what render writes'
recorded="320,180,25/1,$(sed -n 's/^recorded show.y4m: \(.*\) frames/\1/p' seen)"
[ "$(ffprobe -v error -count_frames -show_entries stream=width,height,r_frame_rate,nb_read_frames \
  -of csv=p=0 show.y4m)" = "$recorded" ] || fail "records $recorded"

cat >same.vuo <<'VUO'
digraph Same {
PublishedInputs [type="vuo.in" label="In|<image>image\l|<time>time\l" _image_type="VuoImage" _time_type="VuoReal"];
PublishedOutputs [type="vuo.out" label="Out|<outputImage>outputImage\l" _outputImage_type="VuoImage"];
Same [type="vuo.shader" shader="same.frag"];
PublishedInputs:image -> Same:image;
Same:image -> PublishedOutputs:outputImage;
}
VUO
printf '#version 330 core\nin vec2 uv;\nout vec4 pixel;\nuniform sampler2D image;\nvoid main() { pixel = texture(image, uv); }\n' >same.frag
mkdir sequence && cp second.png sequence/a.png && cp second.png sequence/b.png
view same.vuo --input tiles.vuo --size 320x180
shows first.png 'filters a generator'
closes
view same.vuo --input sequence --size 320x180 --in-process
shows second.png 'filters pictures inside the process'
resize 200 150
shows second.png "keeps the pictures' own size"
closes
sed 's/image -> Same/second -> Same/; s/|<time>/|<second>second\\l&/; s/ _time/ _second_type="VuoImage"&/' \
  same.vuo >two.vuo
"$brannow" describe --json two.vuo | sed 's/"name":"second"/&,"file":"chosen.png"/' >two.json
cp first.png chosen.png
view two.vuo --size 320x180 --preset two.json --paused
shows first.png 'shows a chosen picture'
cp second.png chosen.png
shows second.png 'reads a chosen picture again, in a pause'
closes
cp "$compositions"/lower_third.* .
view lower_third.vuo --size 320x180 --paused
for text in Ada Grace; do
  echo "$text" >lower_third.txt
  "$brannow" render lower_third.vuo --size 320x180 -o "$text.png" >out 2>err
  shows "$text.png" "reads the text $text, in a pause"
done
closes
view tiles.vuo --size 200x100
resize 320 180
shows first.png 'renders at the size of the window'
closes

cp "$compositions"/plasma.* .
"$brannow" describe --json plasma.vuo | sed 's/"default":0.5,/"default":0.75,/' >preset.json
render_at() {
  "$brannow" render plasma.vuo --size 320x180 --preset "$1" --start "$2" -o "$3" >out 2>err ||
    fail "renders $3"
}
render_at preset.json 2.5 at.png
render_at preset.json 2.533333333333333 next.png
if cmp -s at.png next.png; then fail 'another time is another picture'; fi
view plasma.vuo --size 320x180 --start 2.5 --paused --osc 0
within 30 grep -q '^listening' seen || fail 'says where it listens'
port=$(sed -n 's/^listening to OSC on 127.0.0.1://p' seen)
oscsend 127.0.0.1 "$port" /brannow/nothing f 1
oscsend 127.0.0.1 "$port" /brannow/speed f 0.75
shows at.png 'takes values from other programs'
closes
view plasma.vuo --size 320x180 --preset preset.json --start 2.5 --paused
shows at.png 'waits at a time, with a preset'
xdotool key period
shows next.png 'steps'
xdotool key comma
shows at.png 'and back'
xdotool key p
within 30 grep -q 'saved plasma-0001.json' seen || fail 'saves a preset'
closes
render_at plasma-0001.json 2.5 again.png
cmp -s at.png again.png || fail 'the saved preset is that of the picture'

# Two displays of one screen, which Xvfb has not.
Xorg -displayfd 3 -noreset -config "$displays" -logfile "$work/xorg.log" -nolisten tcp \
  -novtswitch -sharevts 3>displays 2>xorg.err &
within 30 test -s displays || { cat xorg.err && exit 1; }
DISPLAY=:$(cat displays)
"$brannow" render tiles.vuo --size 640x480 -o wide.png >out 2>err
view tiles.vuo --size 320x180 --output-display 2
shows wide.png 'draws at the size of the other display'
pixels_of() { ffmpeg -v error "$@" -frames:v 1 -pix_fmt rgb24 -f md5 -; }
fills() {
  [ "$(pixels_of -f x11grab -video_size 640x480 -i "$DISPLAY+1024,0")" = "$(pixels_of -i wide.png)" ]
}
within 30 fills || fail 'fills the other display with the picture alone'
xdotool windowfocus "$(windows | tail -1)" key Escape
within 30 focus
shows first.png 'draws at its own size again'
if fills; then fail 'closes the output'; fi
xdotool key o
within 30 fills || fail 'opens the output again'
closes
if "$brannow" view tiles.vuo --output-display 3 2>err; then fail 'needs a display'; fi
grep -q 'there is no display 3' err || fail 'says which display is not there'
exit "$failures"
