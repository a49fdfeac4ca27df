#!/usr/bin/env bash
# Installs the build into a temporary prefix, builds a small host against it with
# find_package(Veldrake) (linking Veldrake::VeldrakeForMac alone) and with pkg-config, runs both against an installed
# veldrake-devicesim, and runs the installed veldrake on its built-in device.
# Arguments: BUILD_DIR SOURCE_DIR [EXTRA_CXX_FLAGS]
set -euo pipefail
build=$1
source=$2
flags=${3:-}
work=$(mktemp -d "${TMPDIR:-/tmp}/veldrake-install-XXXXXX")
devicesim_pid=
cleanup() {
  [[ -n $devicesim_pid ]] && kill "$devicesim_pid" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
prefix=$work/prefix
export LC_ALL=C.UTF-8

cmake --install "$build" --prefix "$prefix" >"$work/install.log"
for f in bin/veldrake bin/veldrake-devicesim include/veldrake/QX/Contact.h \
         include/veldrake/veldrake/Session.h include/veldrake/MobileDevice/mdsim.h \
         share/veldrake/samples/addressbook.vcf; do
  [[ -e $prefix/$f ]] || { echo "not installed: $f"; exit 1; }
done

cmake -S "$source/tests/install/consumer" -B "$work/consumer" -G Ninja \
  -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_FLAGS="$flags" >"$work/consumer.log"
cmake --build "$work/consumer" >>"$work/consumer.log"

pcdir=$(dirname "$(find "$prefix" -name veldrake.pc)")
pc_flags=$(PKG_CONFIG_PATH=$pcdir pkg-config --cflags --libs veldrake)
echo "pkg-config: $pc_flags"
# The prefix is clean: nothing like lib/pkgconfig/../..//lib reaches a host's run path.
for pc in veldrake veldrake-backup; do
  paths=$(PKG_CONFIG_PATH=$pcdir pkg-config --cflags --libs "$pc")
  [[ $paths == *"-L$prefix/lib"* && $paths != *..* && $paths != *//* ]] ||
    { echo "unclean pkg-config paths in $pc: $paths"; exit 1; }
done
# shellcheck disable=SC2086
g++ -std=c++17 $flags "$source/tests/install/consumer/main.cpp" $pc_flags -o "$work/consumer-pc"

# One device per connection: --once serves one and exits.
for program in "$work/consumer/consumer" "$work/consumer-pc"; do
  socket=$work/device.sock
  "$prefix/bin/veldrake-devicesim" --once --listen "unix:$socket" \
    --contacts "$prefix/share/veldrake/samples/vcards/veldrake_demo.vcf" >"$work/device.log" &
  devicesim_pid=$!
  for _ in $(seq 100); do [[ -S $socket ]] && break; sleep 0.1; done
  out=$("$program" "unix:$socket")
  echo "$program: $out"
  [[ $out == "result 0, 2 contacts, first "* ]] || { echo "unexpected: $out"; exit 1; }
  wait "$devicesim_pid"
  devicesim_pid=
done

cards=$("$prefix/bin/veldrake" contacts --device sample --quiet | grep -c '^BEGIN:VCARD')
echo "installed veldrake exported $cards cards"
[[ $cards -eq 17 ]]
echo "install test passed"
