#!/usr/bin/env bash
# The packages as users meet them, in fresh prefixes, by the commands of the packages' own README: without
# registration, registered by hand, installed for the machine and for a user, upgraded, removed; on
# systems of 32 and of 64 bits. What is left of it is compared with what was there before.
#
# usage: package_test.sh BUILD_ROOT VERSION     with the packages made
set -Eeuo pipefail
build_root=$(realpath "$1")
readonly build_root version=$2 newer=9.0.0
readonly packages=$build_root/package work=$build_root/package-test
readonly zip_folder=ZSupport-$version foreign='{11111111-2222-3333-4444-555555555555}'
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# An entry in the Start menu would otherwise be made in this desktop's menus, too.
export WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe=d' LC_ALL=C.UTF-8
unset DISPLAY
source tests/support/packages.sh

# A prefix with the packages in C:\downloads, and the ZIP unpacked there.
use_prefix() {
  export WINEPREFIX=$work/$1 WINEARCH=$2 architecture=$1
  drive=$WINEPREFIX/drive_c
  downloads=$drive/downloads
  unpacked=$downloads/$zip_folder
  mkdir "$WINEPREFIX"
  output=$WINEPREFIX/output.txt
  wine wineboot --init >/dev/null 2>&1
  wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1
  # In the session that makes a prefix, no surrogate starts.
  wineserver --wait
  # One that stays, so that not every command starts Wine's services again.
  wine explorer.exe >/dev/null 2>&1 &
  mkdir "$downloads"
  cp "$packages/ZSupport-$version-$1.msi" "$work/newer/ZSupport-$newer-$1.msi" "$downloads"
  python3 -m zipfile -e "$packages/ZSupport-$version.zip" "$downloads"
  fresh=$(everything)
}

unregistered() {
  echo "-- $architecture: without registration"
  for line in 'copy ZSupport.dll' 'copy ZSupport.Library' 'samples.programs.regfree'; do
    run "$unpacked" "$(readme "$line")"
  done
  grep -q 'has a name: yes; items: 0' "$output"
  run "$unpacked" 'ZSupportMonitor.exe --text --seconds 0 --events Shell.Explorer.2 --set Visible=True'
  grep -q OnVisible "$output"
  rm "$unpacked/samples/programs/"{ZSupport.dll,ZSupport.Library.manifest}
}

# What the library itself registers, for the machine and for a user, is what the packages are held to.
registered_by_hand() {
  echo "-- $architecture: registered by hand"
  local line='regsvr32 ZSupport'
  [[ $architecture == x64 ]] && line='%SystemRoot%.SysWOW64.regsvr32'
  run "$unpacked" "$(readme "$line") /s"
  by_library[machine]=$(ours)
  run "$unpacked" "$(bits "$(readme 'regsvr32 /u ZSupport')") /s"
  same "$fresh" "$(everything)" "after regsvr32 /u"
  run "$unpacked" "$(bits "$(readme 'regsvr32 /n /i:user')") /s"
  by_library[user]=$(ours)
  run "$unpacked" "$(bits "$(readme 'regsvr32 /u /n')") /s"
  same "$fresh" "$(everything)" "after regsvr32 /u /i:user"
}

# Where the monitor's entry is; Wine keeps one of everybody where the user's are.
entry() { find "$drive" -path '*/Start Menu/Programs/ZSupport Monitor.lnk'; }

# WHO, where it has to be, and what is not.
installed() {
  same "${by_library[$1]}" "$(ours)" "what library and package register for the $1"
  diff -r "$unpacked" "$2" "${@:3}"
  entry | grep -q .
  run "$2" 'ZSupportMonitor.exe --version'
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
  local -r before=$(everything) for_all=$(readme 'msiexec /i [^ ]* ALLUSERS=1$')
  run "$downloads" "$(readme 'msiexec /i .*/l.v')"
  find "$drive" -name 'ZSupport install.log' -size +0 -delete -print | grep -q .
  installed machine "$folder" --exclude=samples
  refused "$(newer "$(readme 'msiexec /i [^ ]*$')")" ALLUSERS=
  install "$(newer "$for_all")" ADDLOCAL=Library
  diff -r "$work/newer/ZSupport-$newer" "$folder" --exclude=samples --exclude=ZSupportMonitor.exe
  [[ ! -e $folder/ZSupportMonitor.exe && ! $(entry) ]]
  refused "$for_all"
  install "$(newer "$(readme 'msiexec /x')")"
  same "$before" "$(everything)" "after the removal"
  wine reg delete "HKLM\\Software\\Classes\\Interface\\$collection" /f >/dev/null 2>&1
}

# Wine's installer does not know MSIINSTALLPERUSER and takes ALLUSERS=2 for the machine: here, the
# user's installation is asked for in the older way, too.
for_a_user() {
  local -r data=$(echo "$drive"/users/*/AppData/Local) for_one=$(readme 'msiexec /i [^ ]*$')
  local -r folder="$data/My tools/ZSupport"
  echo "-- $architecture: for a user"
  install "$for_one" ALLUSERS=
  installed user "$data/Programs/ZSupport" --exclude=samples
  refused "$(newer "$(readme 'msiexec /i [^ ]* ALLUSERS=1$')")"
  install "$(readme 'msiexec /x')"
  same "$fresh" "$(everything)" "after the removal"

  install "$(readme 'msiexec /i .*INSTALLDIR')" ALLUSERS=
  installed user "$folder"
  : >"$folder/ZSupport.dll"
  install "$(readme 'msiexec /i .*REINSTALL=ALL')"
  installed user "$folder"
  cp "$work/rebuilt/ZSupport-$version-$architecture.msi" "$downloads"
  for build in rebuilt/ZSupport-$version newer/ZSupport-$newer; do
    install "${for_one/$version/${build#*-}}" ALLUSERS=
    diff -r "$work/$build" "$folder" --exclude=samples
    registry >/dev/null
    [[ $(grep -o 'Uninstall.*"DisplayVersion"=.*' "$WINEPREFIX/registry.txt") == *"=\"${build#*-}\"" ]]
    for name in Comments HelpLink InstallLocation ReadMe Size; do
      grep -q "Uninstall.*\"$name\"=\".*[a-z0-9]" "$WINEPREFIX/registry.txt"
    done
  done
  install "$(newer "$(readme 'msiexec /x')")"
  same "$fresh" "$(everything)" "after the removal"
}

from_64_bit_programs() {
  echo "-- x64: from 64-bit programs"
  cp "$packages/ZSupport-$version-x86.msi" "$downloads"
  local -r for_all=$(readme 'msiexec /i [^ ]* ALLUSERS=1$')
  refused "${for_all/x64/x86}"
  install "$for_all"
  # Through a file: a surrogate that the program starts keeps a pipe open for minutes.
  system_program cscript //nologo "$(winepath -w tests/script/surrogate.vbs)" >"$output" 2>&1
  [[ $(tr -d '\r' <"$output") == 'surrogate done' ]]
  # A class of theirs, which the monitor tells from one that is not there.
  for line in 'CLSID\'"$foreign"'\InprocServer32' 'Only64.Class\CLSID'; do
    system_program reg add "HKLM\\Software\\Classes\\$line" /ve /d "$foreign" /f >/dev/null 2>&1
  done
  run "$unpacked" 'ZSupportMonitor.exe --text --events Only64.Class' && fail "a class of 64 bits"
  grep -q 'in 64 bits only' "$output"
  # Without it, no event comes back to them.
  system_program reg query "HKLM\\Software\\Classes\\Interface\\$events\\ProxyStubClsid32" >"$output"
}

# A prefix and a processor: where Wine's processes lie on several of a busy machine, they spend most of
# their time on waking each other up.
on_system() {
  taskset --cpu-list --pid "$3" "$BASHPID" >/dev/null
  use_prefix "$1" "$2"
  unregistered
  registered_by_hand
  for_the_machine
  for_a_user
  [[ $1 == x86 ]] || from_64_bit_programs
}

clean_up() {
  local prefix
  kill $(jobs -p) 2>/dev/null || true
  for prefix in x86 x64; do WINEPREFIX=$work/$prefix wineserver --kill 2>/dev/null || true; done
}

rm -rf "$work"
mkdir -p "$work"
another_build newer "$newer"
another_build rebuilt "$version"
declare -A by_library
processors=($(python3 -c 'import os; print(*os.sched_getaffinity(0))'))
trap clean_up EXIT
on_system x86 win32 "${processors[0]}" &
x86=$!
on_system x64 win64 "${processors[-1]}" &
wait $x86 && wait $! || exit 1
echo "packages: all is well"
