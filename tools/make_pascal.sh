#!/usr/bin/env bash
# Makes a Pascal for 32-bit Windows in a folder: make_pascal.sh FOLDER
#
# Debian has the sources of Free Pascal, but no Windows units. From them come FOLDER/ppcross386, the
# compiler, FOLDER/units, its run-time library with the units for COM, and FOLDER/importtl.exe,
# which writes a Pascal unit for a type library. Made once, in half a minute, and again only when
# Debian's packages or this script have changed.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
readonly here
out=$(realpath -m "$1")
readonly out version=3.2.2
readonly source=/usr/share/fpcsrc/$version packages=/usr/share/fpcsrc/$version/packages

fail() {
  echo "no Pascal: $*" >&2
  exit 1
}

# What the result depends on.
origin() {
  dpkg-query -W fpc-source-$version fp-compiler-$version fp-units-rtl-$version 2>&1 ||
    fail "Debian's packages of Free Pascal $version are not installed: ./dev setup"
  sha256sum <"${BASH_SOURCE[0]}"
  sha256sum <"$here/importtl.pas"
}

# The compiler compiles a copy of itself that writes code for another machine.
make_compiler() {
  local rtl messages
  rtl=$(dirname "$(find /usr/lib/*/fpc/$version/units -name system.ppu)")
  messages=$(find /usr/lib/*/fpc/$version/msg -name errore.msg)
  mkdir "$out/compiler"
  cp -r $source/compiler "$out/compiler/src"
  cd "$out/compiler/src"
  # The sources want the messages as an include file.
  ppcx64 -n -Fu"$rtl" -v0 -FE.. -FU.. utils/msg2inc.pp
  ../msg2inc "$messages" msg msg
  ppcx64 -n -Fu"$rtl" -v0 -di386 -dGDB -dBROWSERLOG -dREVINC -Sg -O2 -Fui386 -Fux86 -Fusystems \
    -Fii386 -Fix86 -FU.. -o"$out/ppcross386" pp.pas
}

compile() { "$out/ppcross386" -n -Twin32 -O2 -XX -CX -Xs -v0 -ve -Fu"$out/units" "$@"; }

make_runtime() {
  local unit folders=()
  for unit in inc i386 win win/wininc objpas objpas/sysutils objpas/classes common charmaps; do
    folders+=(-Fi../"$unit" -Fu../"$unit")
  done
  mkdir "$out/units"
  cp -r $source/rtl "$out/rtl"
  cd "$out/rtl/win32"
  compile -FU"$out/units" "${folders[@]}" -Us -Sg system.pp
  for unit in inc/heaptrc inc/uuchar objpas/objpas; do
    compile -FU"$out/units" "${folders[@]}" ../$unit.pp
  done
  compile -FU"$out/units" "${folders[@]}" buildrtl.pp
}

make_com_units() {
  local unit folders=()
  for unit in rtl-objpas/src/{inc,win} {winunits-base,fcl-registry,fcl-base}/src; do
    folders+=(-Fi$packages/$unit -Fu$packages/$unit)
  done
  for unit in rtl-objpas/src/{win/varutils.pp,inc/variants.pp} \
    winunits-base/src/{activex,comconst,comobj,eventsink,oleserver}.pp \
    winunits-base/src/{stdole2,typelib}.pas; do
    compile -FU"$out/units" "${folders[@]}" "$packages/$unit"
  done
  compile -FU"$out/units" -o"$out/importtl.exe" "$here/importtl.pas"
}

main() {
  local wanted
  wanted=$(origin)
  [[ -f $out/origin && $(<"$out/origin") == "$wanted" ]] && return 0
  rm -rf "$out"
  mkdir -p "$out"
  exec 3>&2 >"$out/log" 2>&1
  trap 'tail -n 20 "$out/log" >&3; fail "the above, and $out/log" 2>&3' EXIT
  make_compiler
  make_runtime
  make_com_units
  trap - EXIT
  rm -r "$out/compiler" "$out/rtl"
  echo "$wanted" >"$out/origin"
}

main
