#!/usr/bin/env bash
# command_test.sh BRANNOW COMPOSITIONS: the command as a person meets it.
set -uo pipefail
brannow=$1 compositions=$2
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
head -1 out | grep -qF '"inputs":[],"outputs":[]' || fail 'a missing file has empty lists'

for mode in '' --in-process; do
  # shellcheck disable=SC2086
  "$brannow" render "$tiles" --size 160x90 -o "tiles$mode.png" $mode >out 2>err ||
    fail "renders: $mode"
done
cmp tiles.png tiles--in-process.png || fail 'both modes give the same picture'
"$brannow" render "$compositions/plasma.vuo" --size 64x36 --frames 3 -o 'p%02d.png' >out 2>err &&
  [ -s p01.png ] && [ -s p03.png ] || fail 'three frames'
exit "$failures"
