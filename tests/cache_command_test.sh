#!/usr/bin/env bash
# cache_command_test.sh BRANNOW BUNDLE COMPOSITIONS: what the cache survives, seen from several
# processes: new versions of the runtime, damaged files, one another, folders that can't be written.
set -uo pipefail
brannow=$(realpath "$1") bundle=$2 compositions=$(realpath "$3")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work XDG_CONFIG_HOME=$work/config XDG_CACHE_HOME=$work/cache XDG_DATA_HOME=$work/data
cd "$work" || exit 1
cp -r "$compositions" "$work/compositions"
tiles=$work/compositions/tiles.vuo
failures=0
records=cache/brannow/VuoCache/vuoExeData.plist

fail() {
  printf 'FAILED: %s\n' "$1"
  cat out err
  failures=$((failures + 1))
}

# says WORDS ARGUMENTS...: renders, and says so in its first line.
says() {
  local words=$1
  shift
  "$brannow" render "$tiles" --size 16x9 -o t.png "$@" >out 2>err || fail "renders ($words)"
  head -1 out | grep -q "^$words" || fail "says '$words'"
}

# A bundle of our own, whose runtime can be given another version.
cp -r "$bundle" Brannow.framework
export LD_LIBRARY_PATH=$work/Brannow.framework/Versions/A
info=Brannow.framework/Versions/A/Frameworks/Vuo.framework/Resources/Info.plist
says compiled
says 'from the cache'
sed -i '/CFBundleVersion/{n;s|<string>.*</string>|<string>99.9</string>|}' "$info"
says compiled
[ "$(ls data/Trash/files | wc -l)" -eq 1 ] || fail 'the old artefacts are in the trash'
says 'from the cache'
rm "$info"
says compiled
says compiled
unset LD_LIBRARY_PATH

says compiled
key=$(printf %s "$tiles" | md5sum | cut -c-32 | tr a-f A-F)
[ -x "cache/brannow/VuoCache/$key/lumoVuoExe" ] || fail 'a folder is named after the path'
[ -f "/tmp/$key.bc" ] || fail 'the bitcode is named after the path'
says compiled --in-process
says 'from the cache' --in-process

if "$brannow" cache list >/dev/full 2>err; then fail 'a list that was not written is one'; fi
grep -q 'No space left' err || fail 'says why there is no list'

# What is stale when it is loaded goes, an executable with its file; so does another application's.
# Nothing goes that a record has no business to name.
other=${tiles%/*}/plasma.vuo executable=cache/brannow/VuoCache/$key/lumoVuoExe
touch mine
for change in touch 's|<key>ap</key>|<key>other</key>|' "s|<string>.*/lumoVuoExe|<string>$work/mine|"; do
  cp "$records" good.plist
  [ "$change" = touch ] && touch "$tiles" || sed -i "$change" "$records"
  "$brannow" render "$other" --size 16x9 -o p.png >out 2>err || fail 'renders another'
  [ -f mine ] || fail 'removes what is not its own'
  [ ! -e "$executable" ] || [ "$change" != "${change%mine|}" ] || fail "keeps what is stale ($change)"
  says compiled
done
cp "$records" good.plist
for damage in 'not a property list' '<plist version="1.0"><array/></plist>' ''; do
  printf '%s' "$damage" >"$records"
  says compiled
done
sed 's|<dict>|<dict><key>bad</key><string>record</string><key>worse</key><dict><key>p</key><integer>7</integer></dict>|;' \
  good.plist | awk '/<dict>/ && seen++ { sub(/<key>bad.*<\/dict>/, "") } { print }' >"$records"
says 'from the cache'

rm -rf cache
for i in 1 2 3 4; do
  "$brannow" render "$tiles" --size 16x9 -o "p$i.png" >"out$i" 2>"err$i" &
done
for job in $(jobs -p); do
  wait "$job" || { cat err[1-4] && fail 'renders beside others'; }
done
cmp -s p1.png p2.png && cmp -s p3.png p4.png || fail 'gives the same picture beside others'
says 'from the cache'

touch plain
if "$brannow" render "$tiles" --cache "$work/plain" -o no.png >out 2>err; then fail 'needs a folder'; fi
grep -q 'There was a problem loading the composition tiles.vuo.  ' err || fail 'says what is wrong'
rm -rf cache
if (trap '' XFSZ && ulimit -f 2 && "$brannow" render "$tiles" -o no.png >out 2>err); then
  fail 'needs space on the disk'
fi
grep -q 'tiles.vuo' err || fail 'says which composition found no space'
[ ! -e no.png ] || fail 'left a picture'
[ -z "$(find cache -name 'lumoVuoExe*')" ] || fail 'left half an artefact'
says compiled
exit "$failures"
