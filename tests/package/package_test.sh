#!/usr/bin/env bash
# Builds the Debian packages in the folder given and tests them; what is skipped is said, and why. A
# folder that is configured keeps its options, and what it holds of them is not built again.
set -euo pipefail
[ $# -eq 1 ] || { echo "usage: package_test.sh FOLDER" >&2; exit 2; }
mkdir -p "$1"
build=$(cd "$1" && pwd)
cd "$(dirname "$0")/../.."
. scripts/common.sh

# shellcheck disable=SC2086
need_packages $BUILD_PACKAGES $SHOW_PACKAGES $PACKAGE_PACKAGES

say "Building the packages ($build)"
rm -f "$build"/snmp-app{,-netconf}_*.deb
options=()
[ -f "$build/CMakeCache.txt" ] || options=(-DSNMP_APP_TESTS=OFF -DSNMP_APP_BENCH=OFF)
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
  "${options[@]}" --log-level=WARNING
cmake --build "$build" --parallel "${JOBS:-2}" \
  --target snmp-app snmp-app-show package_documents
(cd "$build" && cpack)

say "Testing the packages"
namespace=$(private_network)
if [ -z "$namespace" ]; then
  echo "No root, no sudo, no unprivileged user namespaces: the tests that install it are skipped."
fi
$namespace env SNMP_APP_PACKAGE_BUILD="$build" PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 \
  -m pytest -q -rs -p no:cacheprovider tests/package
