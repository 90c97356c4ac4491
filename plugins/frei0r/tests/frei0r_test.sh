#!/usr/bin/env bash
# frei0r_test.sh BRANNOW HOST SOURCE: exported plug-ins in a small host, ffmpeg, melt and GStreamer.
set -uo pipefail
brannow=$(realpath "$1") host=$(realpath "$2") source=$(realpath "$3")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work XDG_CONFIG_HOME=$work/config XDG_CACHE_HOME=$work/cache XDG_DATA_HOME=$work/data
export GST_REGISTRY=$work/registry FREI0R_PATH=$work
cd "$work" || exit 1
failures=0

fail() {
  printf 'FAILED: %s\n' "$1"
  cat "$work/err"
  failures=$((failures + 1))
}

same() { cmp "$1" "$2" || fail "$3"; }

refuses() {
  local words=$1
  shift
  if "$brannow" export --frei0r "$@" 2>err; then fail "should fail: $*"; fi
  grep -qF -- "$words" err || fail "says '$words': $*"
  if compgen -G '*.so' >/dev/null; then fail "left a plug-in: $*"; fi
}

# What can't be exported.
cp -r "$source/compositions" .
refuses 'no such file' missing.vuo
printf 'digraph G {\n}\n' >nothing.vuo
refuses 'neither image generator nor image filter' nothing.vuo
sed 's/invert.frag/nowhere.frag/' compositions/invert.vuo >broken.vuo
refuses 'nowhere.frag' broken.vuo
refuses 'no template' compositions/invert.vuo --template compositions/invert.vuo
mkdir large && cp compositions/picture.* compositions/water.frag large
head -c 65M /dev/zero >>large/picture.png
refuses '' large/picture.vuo

for name in tiles plasma ripples television poster lower_third; do
  "$brannow" export --frei0r "compositions/$name.vuo" 2>err || fail "exports $name"
done
[ ! -e config ] && [ ! -e cache ] || fail 'an export leaves the settings and the cache alone'
strip -s tiles.so
mv compositions gone  # a plug-in needs nothing beside itself

# The host looks at it and nothing is written; then it draws with parameters of every kind.
"$host" info ./tiles.so >out 2>err
grep -qx 'tiles type 1 model 1 frei0r 1' out && [ ! -d cache ] || fail 'a look'
grep -qx 'rows 1 0 to 1 stands for the whole numbers 2 to 24; at first 0.[0-9]*, which is 8' out ||
  fail 'a range is explained'
[ "$(cut -d' ' -f1,2 out | sed 1d | tr '\n' ' ')" = \
  'rows 1 seed 1 weight 1 glow 0 center 3 ground 2 warm 2 between 2 cool 2 ' ] || fail 'parameters'
"$host" info ./television.so | grep -q '^television type 0 ' || fail 'a filter'

# drawn SIZE TIME PLUGIN-PARAMETERS... -- RENDER-OPTIONS...
drawn() {
  local name=$1 size=$2 time=$3 parameters=()
  shift 3
  while [ "$1" != -- ]; do parameters+=("$1") && shift; done
  shift
  "$host" draw "./$name.so" "${size%x*}" "${size#*x}" "$time" "${parameters[@]}" >out.rgba 2>err
  "$brannow" render "gone/$name.vuo" --size "$size" --start "$time" --format rgba -o - "$@" >want.rgba 2>>err
  [ -s want.rgba ] && same out.rgba want.rgba "draws $name at $size, $time: ${parameters[*]}"
}
drawn tiles 64x32 0 -- # the defaults, exactly
drawn tiles 8x8 0.5 rows=0.5 glow=0 center=0.25/0.75 ground=1/0.5/0 -- \
  --set rows=13 --set glow=false --set center=0.25,0.25 --set ground=1,0.5,0
drawn poster 96x104 1 title=Noon night=1 -- --set title=Noon --set night=true
printf 'One\nTwo\n' >words.txt
drawn lower_third 320x184 1 --
drawn lower_third 320x184 1 textFile=words.txt -- --set textFile=words.txt
drawn plasma 2048x8 2.5 --
drawn plasma 8x2048 2.5 --
"$host" many ./plasma.so 2>err || fail 'many instances'
"$host" killed ./plasma.so 2>err || fail 'a killed process'
grep -q '^brannow: plasma: .*Killed' err || fail 'tells of the loss'

# Where nothing can be unpacked a filter hands its input on.
XDG_CACHE_HOME=/dev/null "$host" draw ./television.so 8 8 0 >out.rgba 2>err
for ((i = 0; i < 64; ++i)); do printf '\xa0\x60\x20\xff'; done >want.rgba
[ -s err ] && same out.rgba want.rgba 'no cache folder'

# Each program gives what the command does, in every run.
"$brannow" render gone/plasma.vuo --size 320x184 --fps 4 --frames 3 --format rgba -o - >want.rgba 2>err
"$brannow" filter gone/ripples.vuo --size 320x184 --fps 4 --input - --format rgba -o - \
  <want.rgba >filtered.rgba 2>err
raw='-f rawvideo -pix_fmt rgba'
for run in 1 2; do
  # shellcheck disable=SC2086
  {
    ffmpeg -v error -nostdin -f lavfi -i \
      frei0r_src=size=320x184:framerate=4:filter_name=plasma:filter_params= -frames:v 3 $raw \
      -y ffmpeg.rgba
    ffmpeg -v error -nostdin $raw -s 320x184 -r 4 -i want.rgba -vf frei0r=ripples $raw -y out.rgba
  } 2>err
  same want.rgba ffmpeg.rgba "ffmpeg's source, run $run"
  same filtered.rgba out.rgba "ffmpeg's filter, run $run"
  gst-launch-1.0 -q frei0r-src-plasma num-buffers=3 ! \
    video/x-raw,format=RGBA,width=320,height=184,framerate=4/1 ! tee name=t ! \
    queue ! filesink location=gst.rgba t. ! queue ! frei0r-filter-ripples ! filesink location=out.rgba 2>err
  same want.rgba gst.rgba "GStreamer's source, run $run"
  same filtered.rgba out.rgba "GStreamer's filter, run $run"
  melt -silent frei0r.plasma out=2 -consumer avformat:melt.rgba f=rawvideo vcodec=rawvideo \
    pix_fmt=rgba width=320 height=184 frame_rate_num=4 frame_rate_den=1 progressive=1 \
    sample_aspect_num=1 sample_aspect_den=1 an=1 audio_off=1 2>err
  same want.rgba melt.rgba "melt's source, run $run"
done

# The page's commands, as they stand there.
mkdir page && cp gone/{plasma,television}.* page
cd page || exit 1
ffmpeg -v error -nostdin -f lavfi -i testsrc2=size=640x360:rate=25:duration=1 in.mp4
mkdir bin && ln -s "$brannow" bin/brannow
sed -n '/^```sh$/,/^```$/p' "$source/docs/frei0r.md" | grep -v '^```' >commands
PATH=$PWD/bin:$PATH bash -ex commands </dev/null >/dev/null 2>"$work/err" || fail 'the page'
# On a busy machine melt has ended well, once in dozens of runs, without having begun its file.
[ -s melt-filtered.mp4 ] || bash <(grep '^export\|^melt' commands) </dev/null >/dev/null 2>&1
for made in ffmpeg-{filtered,source}.mp4 melt-{filtered,source}.mp4 gstreamer-{filtered,source}.rgba; do
  [ -s $made ] || fail "the page makes $made"
done
cd .. || exit 1

[ "$failures" -eq 0 ]
