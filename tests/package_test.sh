#!/usr/bin/env bash
# The packages as users meet them, in fresh prefixes: without registration, installed, upgraded,
# removed; and from 64-bit programs.
#
# usage: package_test.sh BUILD_ROOT VERSION NEWER     with the packages of both made
set -euo pipefail
build_root=$(realpath "$1")
readonly build_root packages=$build_root/package work=$build_root/package-test
readonly first=$2 second=$3
readonly installed='C:\Program Files\ZSupport'
cd "$(dirname "${BASH_SOURCE[0]}")/.."
export WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml=' LC_ALL=C.UTF-8
unset DISPLAY

fail() { echo "package test FAILED: $*" >&2; exit 1; }

use_prefix() {
  export WINEPREFIX=$work/$1 WINEARCH=$2
  mkdir -p "$WINEPREFIX"
  wine wineboot --init >/dev/null 2>&1
  wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1
}

# The output of a program, which has to hold a text. Through a file: a surrogate that the program
# starts keeps a pipe open for minutes.
expect() {
  local text=$1 output=$work/output.txt
  shift
  timeout 120 "$@" >"$output" 2>&1 || fail "$* ended with $?: $(<"$output")"
  grep -q FAILED "$output" && fail "$* printed: $(<"$output")"
  grep -q -- "$text" "$output" || fail "$* printed: $(<"$output")"
}

windows_path() { winepath -w "$1"; }
install() { wine msiexec /qn "$@" || fail "msiexec $*"; }

# Everything of ours in the registry, in one file.
registered() {
  local key
  for key in 'HKLM\Software' 'HKCU\Software' 'HKLM\SYSTEM\CurrentControlSet\Services'; do
    wine reg export "$key" "$(windows_path "$work/hive.reg")" /y >/dev/null 2>&1
    tr -d '\000\r' <"$work/hive.reg"
  done
}
# Keys and values that name the library or its ids.
ours() {
  registered | awk '/^\[/ { key = $0 } /^[@"]/ { print key " " $0 }' |
    grep -iE 'zsupport|938E3045|7B8B8B0E|EB457140|96C697D0|D20D3439|3D1E6C52|A4C46780|8C6B1F0E' |
    grep -viE 'Uninstall|\\Installer\\|\\Explorer\\|Wine\\' | sort
}
files() { find "$WINEPREFIX/drive_c" -ipath '*zsupport*' | sort; }

rm -rf "$work"
mkdir -p "$work"
trap 'for prefix in fresh fresh64; do WINEPREFIX=$work/$prefix wineserver --kill 2>/dev/null || true; done' EXIT

echo "-- without registration"
use_prefix fresh win32
readonly lone=$WINEPREFIX/drive_c/lone
mkdir "$lone"
cp "$build_root/release/samples/regfree.exe" "$packages/ZSupport-$first/ZSupport.dll" \
  "$packages/ZSupport-$first/ZSupport.Library.manifest" "$lone"
expect 'has a name: yes; items: 0' wine 'C:\lone\regfree.exe'
rm "$lone/ZSupport.Library.manifest"
wine 'C:\lone\regfree.exe' >/dev/null 2>&1 && fail "a program found the library where it is not"
rm -r "$lone"

echo "-- installed for the machine"
[[ -z $(ours)$(files) ]] || fail "the fresh prefix is not fresh: $(ours; files)"
install /i "$(windows_path "$packages/ZSupport-$first.msi")" ADDLOCAL=ALL
for script in collection.vbs settings.vbs machine.vbs collection.js; do
  expect done wine cscript //nologo "$installed\\samples\\script\\$script"
done
by_package=$(ours)
wine regsvr32 /s "$installed\\ZSupport.dll"
diff <(echo "$by_package") <(ours) || fail "the package does not register what the library does"

echo "-- upgraded"
install /i "$(windows_path "$packages/ZSupport-$second.msi")"
versions=$(registered | grep '"DisplayVersion"=' | sort -u)
[[ $versions == "\"DisplayVersion\"=\"$second\"" ]] || fail "installed are: $versions"
wine msiexec /qn /i "$(windows_path "$packages/ZSupport-$first.msi")" && fail "downgraded"

echo "-- removed"
install /x "$(windows_path "$packages/ZSupport-$second.msi")"
[[ -z $(ours) ]] || fail "left in the registry: $(ours)"
# The log and what the samples made are the user's.
[[ -z $(files | grep -v AppData) ]] || fail "left on disk: $(files)"

echo "-- installed for a user"
install /i "$(windows_path "$packages/ZSupport-$first.msi")" 'INSTALLDIR=C:\mine\ZSupport' 'ALLUSERS=""'
[[ -f $WINEPREFIX/drive_c/mine/ZSupport/ZSupport.dll ]] || fail "not where it was wished"
grep -q '^\[HKEY_CURRENT_USER.*InprocServer32' <<<"$(ours)" || fail "the user has: $(ours)"
grep -q '^\[HKEY_LOCAL_MACHINE' <<<"$(ours)" && fail "for the user, but in the machine's hive: $(ours)"
install /x "$(windows_path "$packages/ZSupport-$first.msi")" 'ALLUSERS=""'
[[ -z $(ours) ]] || fail "left in the registry: $(ours)"

echo "-- from 64-bit programs"
use_prefix fresh64 win64
install /i "$(windows_path "$packages/ZSupport-$first.msi")" ADDLOCAL=ALL
expect 'surrogate done' wine 'C:\windows\system32\cscript.exe' //nologo \
  "$(windows_path tests/script/surrogate.vbs)"
# Wine's surrogate outlives its clients by minutes and then answers nobody.
wineserver --kill
x86_64-w64-mingw32-g++-posix -std=c++20 -Wall -Wextra -Werror -municode -static \
  -I "$build_root/release/typelib" tests/surrogate_client.cpp -o "$work/surrogate_client.exe" \
  -lole32 -loleaut32 -luuid
sleep 1
expect 'asked about {11111111-2222-3333-4444-555555555555}, reason' wine "$(windows_path "$work/surrogate_client.exe")"

echo "packages: all is well"
