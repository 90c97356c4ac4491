#!/usr/bin/env bash
# command_test.sh BRANNOW COMPOSITIONS: the command as a person meets it.
set -uo pipefail
brannow=$(realpath "$1") compositions=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work XDG_CONFIG_HOME=$work/config XDG_CACHE_HOME=$work/cache XDG_DATA_HOME=$work/data
cd "$work" || exit 1
failures=0

fail() {
  printf 'FAILED: %s\n' "$1"
  cat out err
  failures=$((failures + 1))
}

# refuses WORDS ARGUMENTS...: ends with an error that contains WORDS, and without a picture.
refuses() {
  local words=$1
  shift
  if "$brannow" "$@" >out 2>err; then fail "should fail: $*"; fi
  grep -qF -- "$words" err || grep -qF -- "$words" out || fail "says '$words': $*"
  if compgen -G '*.png' >/dev/null; then fail "left a picture: $*"; fi
}

cat >broken.vuo <<'VUO'
digraph G {
PublishedInputs [type="vuo.in" label="In|<width>width\l|<height>height\l" _width_type="VuoInteger" _height_type="VuoInteger"];
PublishedOutputs [type="vuo.out" label="Out|<outputImage>outputImage\l" _outputImage_type="VuoImage"];
Nowhere [type="vuo.shader" shader="nowhere.frag"];
Nowhere:image -> PublishedOutputs:outputImage;
}
VUO
printf 'just text\n' >text.vuo
tiles=$compositions/tiles.vuo

refuses 'no such file' render missing.vuo
refuses 'text.vuo:1:1: ' render text.vuo
refuses 'no image generator' render "$compositions/invert.vuo"
refuses 'nowhere.frag' render broken.vuo
refuses '--frobnicate' render "$tiles" --frobnicate
refuses 'needs rgba or y4m' render "$tiles" --format avi
refuses 'needs a size' render "$tiles" --size 0x9
refuses 'has no input nothing' render "$tiles" --set nothing=1
refuses 'NAME=VALUE' render "$tiles" --set nothing
refuses 'follows' render "$tiles" --set width=7
refuses 'no preset' render "$tiles" --preset "$tiles"
refuses 'No such file or directory' render "$tiles" --size 16x9 -o "$work/no/such/folder/x.png"
refuses 'frame-%04d.png' render "$tiles" --size 16x9 -o picture.jpg
refuses 'no picture larger than' render "$tiles" --size 999999x9
refuses '8192 by 8192' render "$tiles" --size 8193x8192
refuses 'needs seconds' render "$tiles" --start nan
refuses 'needs seconds' render "$tiles" --timeout nan
refuses '30000:1001' render "$tiles" --fps 0
refuses 'missing.vuo' describe missing.vuo
mkdir pipes && mkfifo pipes/pipe.png
refuses 'no regular file' filter "$compositions/invert.vuo" --input pipes

"$brannow" describe --json missing.vuo "$tiles" text.vuo >out 2>err
[ "$(wc -l <out)" -eq 3 ] || fail 'one line for each file'
head -1 out | grep -qF '"inputs":[],"outputs":[],"problems":[{"kind":"fileMissing",' ||
  fail 'a missing file has empty lists'
sed '2s/^/ /' broken.vuo >indented.vuo
"$brannow" describe --json text.vuo indented.vuo >out 2>err
[ $? -eq 2 ] && grep -q '^indented.vuo:2: PublishedInputs' err && grep -q '"line":2' out ||
  fail 'a problem has a line'

"$brannow" check "$compositions"/*.vuo >out && [ ! -s out ] || fail 'the samples are in order'
"$brannow" check indented.vuo text.vuo "$tiles" >out
[ $? -eq 1 ] && grep -q '^indented.vuo:2:1: warning: ' out && grep -q '^text.vuo:' out ||
  fail 'what is wrong has a place'
printf 'digraph G {\n PublishedInputs [type="vuo.in" label="I"];\n}\n' >spaced.vuo
"$brannow" check --json spaced.vuo "$tiles" >out
[ $? -eq 2 ] && [ "$(wc -l <out)" -eq 2 ] && grep -q '"line":2,"column":1,"severity":"warning"' out ||
  fail 'warnings are no errors'

for mode in '' --in-process; do
  # shellcheck disable=SC2086
  "$brannow" render "$tiles" --size 160x90 -o "tiles$mode.png" $mode >out 2>err ||
    fail "renders: $mode"
done
cmp tiles.png tiles--in-process.png || fail 'both modes give the same picture'
"$brannow" render "$compositions/plasma.vuo" --size 64x36 --frames 3 -o 'p%02d.png' >out 2>err &&
  [ -s p01.png ] && [ -s p03.png ] || fail 'three frames'

"$brannow" render "$tiles" --size 160x90 -o again.png >out 2>err && grep -qx 'from the cache' out &&
  cmp -s tiles.png again.png || fail 'a second run compiles nothing'
cp "$compositions"/tiles.* .
stamp=$(stat -c %y tiles.vuo)
for expected in compiled 'from the cache' touch compiled restore compiled 'from the cache' \
  save compiled 'from the cache'; do
  case $expected in
    touch) touch tiles.vuo ;;
    save) cp tiles.frag saved && mv saved tiles.frag ;;
    restore) touch -d "$stamp" tiles.vuo ;;
    *) "$brannow" render tiles.vuo --size 16x9 -o t.png >out 2>err && grep -q "^$expected" out ||
      fail "says $expected" ;;
  esac
done
rm tiles.frag
if "$brannow" render tiles.vuo -o t.png >out 2>err; then fail 'needs its shader'; fi
grep -q "can't compile tiles.vuo" err && grep -q 'there is no file .*tiles.frag' err ||
  fail 'says that the shader is gone'
"$brannow" cache list --json >out 2>err
[ "$(grep -c '"fresh":true,"valid":true' out)" -ge 3 ] || fail 'lists what is in the cache'
plistutil -i cache/brannow/VuoCache/vuoExeData.plist >out 2>err &&
  [ "$(grep -cE '<key>(p|m|e|ap)</key>' out)" -eq $((4 * $(grep -c '<key>p</key>' out))) ] &&
  [ "$(grep -c '<key>' out)" -eq $((5 * $(grep -c '<key>p</key>' out))) ] ||
  fail 'another reader understands the records'
"$brannow" cache clear >out 2>err && [ ! -e cache/brannow/VuoCache ] || fail 'clears the cache'
[ -z "$("$brannow" cache list)" ] || fail 'an empty cache lists nothing'

for mode in '' --in-process; do
  # shellcheck disable=SC2086
  "$brannow" filter "$compositions/invert.vuo" --input tiles.png -o "once$mode.png" $mode \
    --set strength=0 >out 2>err && cmp -s tiles.png "once$mode.png" || fail "filters: $mode"
done
mkdir in && cp tiles.png in/f02.PNG && cp p01.png in/f10.png && cp p02.png in/f1.png
"$brannow" filter "$compositions/invert.vuo" --input in -o 'f%d.png' --set strength=0 >out 2>err &&
  cmp -s f1.png p02.png && cmp -s f2.png tiles.png && cmp -s f3.png p01.png ||
  fail 'each picture of a folder is filtered, in natural order'
"$brannow" render "$compositions/pass_through.vuo" --set real=0.5 --print realOut -o p.png >out 2>err &&
  grep -qx 'realOut = 0.5' out || fail 'prints an output'
"$brannow" describe --json "$compositions/pass_through.vuo" |
  sed 's/"default":0.25,/"default":0.5,/; s/"default":3,/"default":7,/; s/Hello/Bye \\u00e9/;
       s/"x":0.25/"x":0.5/; s/"r":1,/"r":0.25,/; s/"name":"pulse"/"name":"gone"/' >preset.json
# shellcheck disable=SC2046
"$brannow" render "$compositions/pass_through.vuo" --preset preset.json --set integer=8 -o p.png \
  $(printf -- ' --print %sOut' real integer boolean color point text) >out 2>err &&
  [ "$(grep ' = ' out)" = 'realOut = 0.5
integerOut = 8
booleanOut = true
colorOut = 0.25,0.5,0,1
pointOut = 0.5,0.75
textOut = Bye é' ] && grep -q 'has no input gone' err || fail 'a preset has values of each kind'

"$brannow" render "$compositions/plasma.vuo" --size 64x36 --start 432000 --fps 60 --frames 12 -o 'days%d.png' \
  >out 2>err && [ "$(md5sum days*.png | cut -d ' ' -f 1 | sort -u | wc -l)" -eq 12 ] ||
  fail 'no frame is lost after five days'

# Each frame of these holds one byte, made of the input's byte, the frame's number by the time, an
# input number and an input image.
numbered() { # numbered NAME INPUT-PORTS UNIFORMS SUM CABLES
  cat >"$1.vuo" <<VUO
digraph N {
PublishedInputs [type="vuo.in" label="In$2|<time>|<add>|<more>|<spin>" _image_type="VuoImage" _width_type="VuoInteger" _height_type="VuoInteger" _time_type="VuoReal" _add_type="VuoInteger" _more_type="VuoImage" _spin_type="VuoInteger"];
PublishedOutputs [type="vuo.out" label="Out|<outputImage>" _outputImage_type="VuoImage"];
S [type="vuo.shader" shader="$1.frag"];
$5
PublishedInputs:time -> S:time; PublishedInputs:add -> S:add;
PublishedInputs:more -> S:more; PublishedInputs:spin -> S:spin;
S:image -> PublishedOutputs:outputImage;
}
VUO
  cat >"$1.frag" <<FRAG
#version 330 core
in vec2 uv;
out vec4 pixel;
$3
uniform sampler2D more;
uniform float time;
uniform int add;
uniform int spin;
int byte(vec4 p) { return int(p.r * 255.0 + 0.5); }
void main() {
  float waste = 0.0;
  for (int i = 0; i < spin; ++i) waste += sin(waste + float(i));
  int n = int(time * 30000.0 / 1001.0 + 0.5) * 3 + add + byte(texture(more, uv)) + (waste > 1e9 ? 1 : 0);
  pixel = vec4(float((n $4) % 256) / 255.0);
}
FRAG
}
numbered clock '|<width>|<height>' '' '' \
  'PublishedInputs:width -> S:width; PublishedInputs:height -> S:height;'
numbered numbers '|<image>' 'uniform sampler2D image;' '+ 7 * byte(texture(image, uv))' \
  'PublishedInputs:image -> S:image;'
size=$((64 * 36 * 4))
bytes() { head -c "$size" /dev/zero | tr '\0' "\\$(printf %03o $(($1 % 256)))"; }
for k in $(seq 20); do
  bytes "$k" >&3
  bytes $((3 * (k - 1) + 11)) >&4
  bytes $((7 * k + 3 * (k - 1) + 11)) >&5
done 3>frames.rgba 4>clock.rgba 5>numbers.rgba
# One pixel of value 11 is the input image.
video=(--format rgba --size 64x36 --fps 30000:1001 -o -)
"$brannow" render clock.vuo "${video[@]}" --set add=11 >one.rgba 2>err && head -c "$size" one.rgba |
  "$brannow" filter "$compositions/invert.vuo" --input - --format rgba --size 64x36 --set strength=0 \
    -o eleven.png >out 2>err || fail 'makes a picture'
mkdir presets && cp eleven-0001.png presets
"$brannow" describe --json clock.vuo | sed 's/"name":"more"/&,"file":"eleven-0001.png"/' >presets/a
for mode in '' --in-process; do
  for inputs in '--set add=11' '--image more=eleven-0001.png' '--preset presets/a'; do
    # shellcheck disable=SC2086
    "$brannow" render clock.vuo "${video[@]}" --frames 20 $inputs $mode 2>err | cmp - clock.rgba ||
      fail "each frame has its own time: $inputs $mode"
    # shellcheck disable=SC2086
    "$brannow" filter numbers.vuo "${video[@]}" --input - $inputs $mode <frames.rgba 2>err |
      cmp - numbers.rgba || fail "each frame has its own input and time: $inputs $mode"
  done
  # shellcheck disable=SC2086
  "$brannow" render clock.vuo "${video[@]}" --start 0.1001 --set add=2 $mode 2>err |
    cmp - <(bytes 11) || fail 'starts where it is told'
  # shellcheck disable=SC2086
  "$brannow" render clock.vuo --size 64x36 --timeout 0.05 --set spin=100000000 -o late.png $mode \
    >out 2>err && fail 'gives a frame up'
  [ ! -e late.png ] && grep -q 'frame 1 was not there after 0.05 s' err || fail 'says what is late'
done
"$brannow" render clock.vuo "${video[@]}" --realtime --frames 3 >three.rgba 2>err &&
  [ "$(stat -c %s three.rgba)" -eq $((3 * size)) ] || fail 'follows the clock on the wall'

# A composition that ends in mid-run leaves whole frames and a word.
mkfifo fifo
"$brannow" render clock.vuo "${video[@]}" --frames 1000000 >fifo 2>err &
exec 3<fifo
head -c $((5 * size)) <&3 >/dev/null
kill -9 "$(grep -lE "^PPid:\s*$!$" /proc/[0-9]*/status 2>/dev/null | grep -oE '[0-9]+')"
cat <&3 >rest.rgba
exec 3<&-
wait $! && fail 'tells that the composition has ended'
[ $(($(stat -c %s rest.rgba) % size)) -eq 0 ] || fail 'leaves whole frames'
grep -qE 'clock.vuo: frame [0-9]+ could not be made. The composition has ended: .*9' err ||
  fail 'says which frame is missing, and why'

# What can't be written is told; only a reader that has gone is not.
for command in "describe $tiles" 'cache list' "render $tiles --size 9x9 -o 9.png" \
  "render $tiles --size 9x9 -o -"; do
  # shellcheck disable=SC2086
  "$brannow" $command >/dev/full 2>err && fail "needs room: $command"
  [ "$(grep -c 'No space left on device' err)" -eq 1 ] || fail "says that there is no room: $command"
  # shellcheck disable=SC2086
  "$brannow" $command 2>err | true
  [ "${PIPESTATUS[0]}" -eq 0 ] && ! grep -q brannow: err || fail "ends quietly: $command"
done

# Video on standard output and input.
"$brannow" render "$tiles" --size 32x18 --frames 3 -o - --format rgba >tiles.rgba 2>err &&
  [ "$(stat -c %s tiles.rgba)" -eq $((3 * 32 * 18 * 4)) ] || fail 'writes bare pixels'
"$brannow" filter "$compositions/invert.vuo" --input - -o - --format rgba --size 32x18 \
  --set strength=0 <tiles.rgba >same.rgba 2>err && cmp -s tiles.rgba same.rgba ||
  fail 'reads bare pixels'
"$brannow" render "$tiles" --size 32x18 --frames 3 --fps 30000:1001 -o - >tiles.y4m 2>err &&
  head -1 tiles.y4m | grep -aqx 'YUV4MPEG2 W32 H18 F30000:1001 Ip A1:1 C444 XCOLORRANGE=LIMITED' &&
  [ "$(stat -c %s tiles.y4m)" -eq $((63 + 3 * (6 + 32 * 18 * 3))) ] || fail 'writes a video'
"$brannow" filter "$compositions/invert.vuo" --input - -o again.y4m.png --set strength=0 \
  <tiles.y4m >out 2>err && [ -s again.y4m-0003.png ] || fail 'reads a video'
"$brannow" filter "$compositions/invert.vuo" --input - -o - <tiles.y4m 2>err | head -1 |
  grep -aq ' F30000:1001 ' || fail "keeps a video's rate"
for video in 'no video' 'YUV4MPEG2 W2 H2 C420p9' 'YUV4MPEG2 W2 H2
FRAME
x'; do
  printf '%s\n' "$video" | "$brannow" filter "$compositions/invert.vuo" --input - -o - >out 2>err &&
    fail "refuses $video"
  grep -q video err || fail 'says what is wrong with the video'
done
exit "$failures"
