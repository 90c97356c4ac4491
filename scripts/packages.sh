#!/usr/bin/env bash
# scripts/packages.sh: makes the Debian packages, into out/, and lets lintian look at them.
set -euo pipefail
. "$(dirname "$0")/prepare.sh"

install_packages view plugins package
build package
mkdir -p out
rm -f out/*.deb
cpack --preset package -B "$PWD/out" >build/package/cpack.log 2>&1 || {
  cat build/package/cpack.log >&2
  exit 1
}
rm -rf out/_CPack_Packages
lintian --allow-root --fail-on error out/*.deb
ls out/*.deb
