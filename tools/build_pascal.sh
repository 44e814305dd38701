#!/usr/bin/env bash
# Compiles the Pascal clients: build_pascal.sh PASCAL ZSupport.tlb Thermometer.tlb FOLDER
#
# PASCAL is what make_pascal.sh makes. The units for the two type libraries are written anew each
# time by the importer, which runs under Wine, as a Pascal programmer would have them.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
readonly root
pascal=$(realpath -m "$1") library=$(realpath "$2") thermometer=$(realpath "$3")
readonly pascal library thermometer

compile() {
  "$pascal/ppcross386" -n -Twin32 -O2 -XX -CX -Xs -v0 -ve -Fu"$pascal/units" -Fu. -FU. -FE. "$1"
}

import() { wine "$pascal/importtl.exe" "$(winepath -w "$1")" "$2"; }

"$root/tools/make_pascal.sh" "$pascal"
mkdir -p "$4"
cd "$4"
import "$library" ZSupport_1_0_TLB.pas
import "$thermometer" Thermometers_1_0_TLB.pas
i686-w64-mingw32-windres -I "$(dirname "$thermometer")" -O res \
  "$root/samples/thermometer/thermometer.rc" thermometer.res
# A unit's resources are looked for beside it.
cp "$root"/samples/pascal/*.pas .
for program in demo tour exceptions; do compile $program.pas; done
