#!/usr/bin/env bash
# The packages as users meet them, in fresh prefixes, by the commands of the packages' own README: without
# registration, registered by hand, installed for the machine and for a user, upgraded, removed; on
# systems of 32 and of 64 bits. What is left of it is compared with what was there before.
#
# usage: package_test.sh BUILD_ROOT VERSION     with the packages made
set -euo pipefail
build_root=$(realpath "$1")
readonly build_root version=$2 newer=9.0.0
readonly packages=$build_root/package work=$build_root/package-test
readonly zip_folder=ZSupport-$version foreign='{11111111-2222-3333-4444-555555555555}'
cd "$(dirname "${BASH_SOURCE[0]}")/.."
export WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml=' LC_ALL=C.UTF-8
unset DISPLAY
source tests/support/packages.sh

# A prefix with the packages in C:\downloads, and the ZIP unpacked there.
use_prefix() {
  export WINEPREFIX=$work/$1 WINEARCH=$2 architecture=$3
  drive=$WINEPREFIX/drive_c
  downloads=$drive/downloads
  mkdir -p "$WINEPREFIX"
  wine wineboot --init >/dev/null 2>&1
  wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1
  mkdir "$downloads"
  cp "$packages/ZSupport-$version-$architecture.msi" "$downloads"
  cp "$work/newer/ZSupport-$newer-$architecture.msi" "$downloads"
  python3 -m zipfile -e "$packages/ZSupport-$version.zip" "$downloads"
}

unregistered() {
  local folder=$downloads/$zip_folder
  echo "-- $architecture: without registration"
  for line in 'copy ZSupport.dll' 'copy ZSupport.Library' 'samples.programs.regfree'; do
    run "$folder" "$(readme "$line")" || fail "$line: $(<"$output")"
  done
  grep -q 'has a name: yes; items: 0' "$output" || fail "regfree printed: $(<"$output")"
  rm "$folder/samples/programs/ZSupport.Library.manifest"
  run "$folder" "$(readme samples.programs.regfree)" && fail "a program found the library where it is not"
  rm "$folder/samples/programs/ZSupport.dll"
}

# What the library itself registers, for the machine and for a user, is what the packages are held to.
registered_by_hand() {
  local folder=$downloads/$zip_folder
  echo "-- $architecture: registered by hand"
  local line='regsvr32 ZSupport'
  [[ $architecture == x64 ]] && line='%SystemRoot%.SysWOW64.regsvr32'
  run "$folder" "$(readme "$line") /s" || fail "$line ended with $?"
  by_library[machine]=$(ours)
  run "$folder" "$(bits "$(readme 'regsvr32 /u ZSupport')") /s" || fail "regsvr32 /u ended with $?"
  same "$fresh" "$(everything)" "after regsvr32 /u"
  run "$folder" "$(bits "$(readme 'regsvr32 /n /i:user')") /s" || fail "regsvr32 /i:user ended with $?"
  by_library[user]=$(ours)
  run "$folder" "$(bits "$(readme 'regsvr32 /u /n')") /s" || fail "regsvr32 /u /i:user ended with $?"
  same "$fresh" "$(everything)" "after regsvr32 /u /i:user"
}

# WHO, where it has to be, and what is expected to be there.
installed() {
  local who=$1 folder=$2
  [[ $(ours) == "${by_library[$who]}" ]] ||
    fail "for the $who, package and library register: $(diff <(ours) <(echo "${by_library[$who]}"))"
  cmp "$folder/ZSupport.dll" "$downloads/$zip_folder/ZSupport.dll" || fail "not installed into $folder"
  for file in README.txt NOTICES.txt LICENCE.txt ZSupport.Library.manifest; do
    [[ -f $folder/$file ]] || fail "$file is not in $folder"
  done
}

refused() {
  local -r before=$(everything)
  install "$@" && fail "was not refused: $*"
  same "$before" "$(everything)" "after a refused installation"
}

for_the_machine() {
  local folder="$drive/Program Files"
  [[ $architecture == x64 ]] && folder+=' (x86)'
  folder+=/ZSupport
  echo "-- $architecture: for the machine"
  # The interface of standard collections belongs to somebody else, and stays so.
  wine reg add "HKLM\\Software\\Classes\\Interface\\$collection\\TypeLib" /ve /d "$foreign" /f >/dev/null 2>&1
  local -r before=$(everything)
  run "$downloads" "$(readme 'msiexec /i .*/l.v')" || fail "silent installation ended with $?"
  [[ -s $(find "$drive" -name 'ZSupport install.log') ]] || fail "there is no log"
  find "$drive" -name 'ZSupport install.log' -delete
  installed machine "$folder"
  refused "$(newer "$(readme 'msiexec /i [^ ]*$')")" ALLUSERS=
  install "$(newer "$(readme 'msiexec /i [^ ]* ALLUSERS=1$')")" || fail "upgrade ended with $?"
  cmp "$folder/ZSupport.dll" "$work/newer/ZSupport-$newer/ZSupport.dll" || fail "the upgrade left the old library"
  refused "$(readme 'msiexec /i [^ ]* ALLUSERS=1$')"
  install "$(newer "$(readme 'msiexec /x')")" || fail "removal ended with $?"
  same "$before" "$(everything)" "after the removal"
  wine reg delete "HKLM\\Software\\Classes\\Interface\\$collection" /f >/dev/null 2>&1
}

# Wine's installer does not know MSIINSTALLPERUSER and takes ALLUSERS=2 for the machine: here, the
# user's installation is asked for in the older way, too.
for_a_user() {
  local folder
  echo "-- $architecture: for a user"
  install "$(readme 'msiexec /i [^ ]*$')" ALLUSERS= || fail "installation ended with $?"
  installed user "$(local_data)/Programs/ZSupport"
  refused "$(newer "$(readme 'msiexec /i [^ ]* ALLUSERS=1$')")"
  install "$(readme 'msiexec /x')" || fail "removal ended with $?"
  same "$fresh" "$(everything)" "after the removal"

  folder="$(local_data)/My tools/ZSupport"
  install "$(readme 'msiexec /i .*INSTALLDIR')" ALLUSERS= || fail "installation ended with $?"
  installed user "$folder"
  (cd "$downloads/$zip_folder" && find samples -type f) | while read -r file; do
    cmp "$folder/$file" "$downloads/$zip_folder/$file" || fail "$file is not in $folder"
  done
  : >"$folder/ZSupport.dll"
  install "$(readme 'msiexec /i .*REINSTALL=ALL')" || fail "repair ended with $?"
  installed user "$folder"
  cp "$work/rebuilt/ZSupport-$version-$architecture.msi" "$downloads"
  for build in rebuilt/ZSupport-$version newer/ZSupport-$newer; do
    line=$(readme 'msiexec /i [^ ]*$')
    install "${line/$version/${build#*-}}" ALLUSERS= || fail "$build: ended with $?"
    cmp "$folder/ZSupport.dll" "$work/$build/ZSupport.dll" || fail "$build did not replace the library"
    [[ $(products) == "\"DisplayVersion\"=\"${build#*-}\"" ]] || fail "installed are: $(products)"
    for name in Comments HelpLink InstallLocation ReadMe Size; do
      grep -q "Uninstall.*\"$name\"=\".*[a-z0-9]" "$work/registry.txt" || fail "Programs and Features has no $name"
    done
  done
  install "$(newer "$(readme 'msiexec /x')")" || fail "removal ended with $?"
  same "$fresh" "$(everything)" "after the removal"
}

from_64_bit_programs() {
  echo "-- x64: from 64-bit programs"
  cp "$packages/ZSupport-$version-x86.msi" "$downloads"
  refused "$(readme 'msiexec /i [^ ]* ALLUSERS=1$' | sed s/x64/x86/)"
  install "$(readme 'msiexec /i [^ ]* ALLUSERS=1$')" || fail "installation ended with $?"
  expect 'surrogate done' system_program cscript //nologo "$(winepath -w tests/script/surrogate.vbs)"
  # Wine's surrogate outlives its clients by minutes and then answers nobody.
  wineserver --kill
  x86_64-w64-mingw32-g++-posix -std=c++20 -Wall -Wextra -Werror -municode -static \
    -I "$build_root/release/typelib" tests/surrogate_client.cpp -o "$work/surrogate_client.exe" \
    -lole32 -loleaut32 -luuid
  sleep 1
  expect "asked about $foreign, reason" wine "$(winepath -w "$work/surrogate_client.exe")"
}

rm -rf "$work"
mkdir -p "$work"
trap 'for prefix in x86 x64; do WINEPREFIX=$work/$prefix wineserver --kill 2>/dev/null || true; done' EXIT
another_build newer "$newer"
another_build rebuilt "$version"
declare -A by_library
for system in 'x86 win32' 'x64 win64'; do
  use_prefix ${system% *} ${system#* } ${system% *}
  fresh=$(everything)
  unregistered
  registered_by_hand
  for_the_machine
  for_a_user
done
from_64_bit_programs
echo "packages: all is well"
