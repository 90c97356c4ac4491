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
refuses 'no image generator' render text.vuo
refuses 'nowhere.frag' render broken.vuo
refuses '--frobnicate' render "$tiles" --frobnicate
refuses 'needs a size' render "$tiles" --size 0x9
refuses 'has no input nothing' render "$tiles" --set nothing=1
refuses 'NAME=VALUE' render "$tiles" --set nothing
refuses 'follows' render "$tiles" --set width=7
refuses "can't write" render "$tiles" --size 16x9 -o "$work/no/such/folder/x.png"
refuses 'missing.vuo' describe missing.vuo

"$brannow" describe --json missing.vuo "$tiles" text.vuo >out 2>err
[ "$(wc -l <out)" -eq 3 ] || fail 'one line for each file'
head -1 out | grep -qF '"inputs":[],"outputs":[],"problems":[{"kind":"fileMissing",' ||
  fail 'a missing file has empty lists'
sed '2s/^/ /' broken.vuo >indented.vuo
"$brannow" describe --json text.vuo indented.vuo >out 2>err
[ $? -eq 2 ] && grep -q '^indented.vuo:2: PublishedInputs' err && grep -q '"line":2' out ||
  fail 'a problem has a line'

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
for expected in compiled 'from the cache' touch compiled restore compiled 'from the cache'; do
  case $expected in
    touch) touch tiles.vuo ;;
    restore) touch -d "$stamp" tiles.vuo ;;
    *) "$brannow" render tiles.vuo --size 16x9 -o t.png >out 2>err && grep -q "^$expected" out ||
      fail "says $expected" ;;
  esac
done
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
mkdir in && cp tiles.png in/a.png && cp p01.png in/b.png
"$brannow" filter "$compositions/invert.vuo" --input in -o 'f%d.png' --set strength=0 >out 2>err &&
  cmp -s f1.png tiles.png && cmp -s f2.png p01.png || fail 'each picture of a folder is filtered'
"$brannow" render "$compositions/pass_through.vuo" --set real=0.5 --print realOut -o p.png >out 2>err &&
  grep -qx 'realOut = 0.5' out || fail 'prints an output'

# Video on standard output and input.
"$brannow" render "$tiles" --size 32x18 --frames 3 --fps 500 -o - --format rgba >tiles.rgba 2>err &&
  [ "$(stat -c %s tiles.rgba)" -eq $((3 * 32 * 18 * 4)) ] || fail 'writes bare pixels'
"$brannow" filter "$compositions/invert.vuo" --input - -o - --format rgba --size 32x18 \
  --set strength=0 <tiles.rgba >same.rgba 2>err && cmp -s tiles.rgba same.rgba ||
  fail 'reads bare pixels'
"$brannow" render "$tiles" --size 32x18 --frames 3 --fps 500 -o - >tiles.y4m 2>err &&
  head -1 tiles.y4m | grep -aqx 'YUV4MPEG2 W32 H18 F500:1 Ip A1:1 C444' &&
  [ "$(stat -c %s tiles.y4m)" -eq $((38 + 3 * (6 + 32 * 18 * 3))) ] || fail 'writes a video'
"$brannow" filter "$compositions/invert.vuo" --input - -o again.y4m.png --set strength=0 \
  <tiles.y4m >out 2>err && [ -s again.y4m-0003.png ] || fail 'reads a video'
for video in 'no video' 'YUV4MPEG2 W2 H2 C420p10' 'YUV4MPEG2 W2 H2
FRAME
x'; do
  printf '%s\n' "$video" | "$brannow" filter "$compositions/invert.vuo" --input - -o - >out 2>err &&
    fail "refuses $video"
  grep -q video err || fail 'says what is wrong with the video'
done
"$brannow" render "$tiles" --size 320x180 --frames 50 --fps 500 -o - 2>err | head -c 9 >out
[ "${PIPESTATUS[0]}" -eq 0 ] && ! grep -q brannow err || fail 'ends quietly when its reader goes'
exit "$failures"
