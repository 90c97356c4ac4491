#!/usr/bin/env bash
# color_test.sh BRANNOW COMPOSITIONS: colors on their way from one program to the other and back.
set -uo pipefail
brannow=$(realpath "$1") keep=$(realpath "$2")/invert.vuo
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work XDG_CONFIG_HOME=$work/config XDG_CACHE_HOME=$work/cache XDG_DATA_HOME=$work/data
cd "$work" || exit 1
failures=0

fail() {
  printf 'FAILED: %s\n' "$1"
  failures=$((failures + 1))
}

# Each second another primary, or a grey.
cat >chart.vuo <<'VUO'
digraph Chart {
PublishedInputs [type="vuo.in" label="In|<width>|<height>|<time>|<alpha>" _width_type="VuoInteger" _height_type="VuoInteger" _time_type="VuoReal" _alpha_type="VuoReal" _alpha="1"];
PublishedOutputs [type="vuo.out" label="Out|<outputImage>" _outputImage_type="VuoImage"];
S [type="vuo.shader" shader="chart.frag"];
PublishedInputs:width -> S:width; PublishedInputs:height -> S:height;
PublishedInputs:time -> S:time; PublishedInputs:alpha -> S:alpha;
S:image -> PublishedOutputs:outputImage;
}
VUO
cat >chart.frag <<'FRAG'
#version 330 core
out vec4 pixel;
uniform float time;
uniform float alpha;
void main() {
  int n = int(time + 0.5);
  vec3 primary = vec3(n & 1, (n >> 1) & 1, (n >> 2) & 1);
  pixel = vec4(n < 8 ? primary : vec3(float(n - 7) / 8.0), alpha);
}
FRAG

# middles FILTER FFMPEG-INPUT...: of each picture, as bare pixels.
middles() {
  local filter=$1
  shift
  ffmpeg -nostdin -v error "$@" -vf "$filter,crop=64:36" -f rawvideo -pix_fmt rgba pipe:1
}

# same WORDS FILE: all bytes are those of the chart's middles, or their neighbours.
same() {
  [ "$(stat -c %s "$2")" -eq $((14 * 64 * 36 * 4)) ] || fail "$1: another size"
  awk -v words="$1" '
    function octal(s) { return int(s / 100) * 64 + int(s / 10) % 10 * 8 + s % 10 }
    { d = octal($2) - octal($3); if (d * d > 1) { print words ": off by " d; exit 1 } }' \
    < <(cmp -l "$2" middles.rgba) || fail "$1"
}
filtered() { "$brannow" filter "$keep" --set strength=0 "$@" >out 2>err || fail "filters: $*"; }

exact=flags=accurate_rnd+full_chroma_int+full_chroma_inp
while read -r size matrix formats; do
  chart=("$brannow" render chart.vuo --size "$size" --fps 1 --frames 14 -o -)
  pixels=(-f rawvideo -pix_fmt rgba -s "$size" -r 1 -i chart.rgba)
  "${chart[@]}" --format rgba >chart.rgba 2>err
  middles null "${pixels[@]}" >middles.rgba
  "${chart[@]}" 2>err | middles scale=in_color_matrix="$matrix:$exact" -i - >there.rgba
  same "to ffmpeg at $size" there.rgba
  for format in $formats; do
    range=tv
    [[ $format == yuvj* ]] && range=pc
    rm -f back-*.png
    filtered --input - -o back-%02d.png < <(ffmpeg -nostdin -v error "${pixels[@]}" \
      -vf scale=out_color_matrix="$matrix:out_range=$range:$exact" \
      -pix_fmt "$format" -strict -1 -f yuv4mpegpipe -)
    middles null -i back-%02d.png >back.rgba
    same "from ffmpeg's $format at $size" back.rgba
  done
done <<'END'
640x360 bt601 yuv420p yuv422p yuv444p yuvj420p yuv420p10 yuv422p10 yuv444p10
1920x1080 bt709 yuv420p yuv444p10
END

# Deep pictures that name no gamma look like flat ones.
"$brannow" render chart.vuo --size 8x8 --start 9 -o grey.png >out 2>err
ffmpeg -nostdin -v error -i grey.png -pix_fmt rgb48be deep.png
filtered --input deep.png -o same.png
cmp -s grey.png same.png || fail 'a picture of 16 bits is as bright as one of 8'

# A video has no alpha, and that is said once.
"$brannow" render chart.vuo --size 8x8 --set alpha=0.5 --frames 3 -o - >video 2>err
[ "$(grep -c transparent err)" -eq 1 ] && grep -q '^frame 1 ' err || fail 'lost alpha is told once'
"$brannow" render chart.vuo --size 8x8 --set alpha=0.5 --format rgba -o - >video 2>err
grep -q transparent err && fail 'bare pixels have alpha'
exit "$failures"
