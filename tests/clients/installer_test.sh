#!/usr/bin/env bash
# The NSIS sample: what it registers, and that nothing is left.
#
# usage: installer_test.sh ZSupport.dll FOLDER
set -euxo pipefail
library=$(realpath "$1")
readonly library folder='C:\nsis-test'
readonly class='HKLM\Software\Classes\CLSID\{938E3045-256D-4EFB-94A7-7850587452DD}'
script=$(realpath "$(dirname "$0")/../../samples/nsis/installer.nsi")
mkdir -p "$2"
cd "$2"

# The prefix goes on with the library that was registered in it.
trap 'wine regsvr32 /s "$(winepath -w "$library")"' EXIT

makensis -V2 -DLIBRARY="$library" -DINSTALLER="$PWD/install.exe" "$script"
installed=$(winepath -u "$folder")
rm -rf "$installed"
wine install.exe /S "/D=$folder"
cmp "$library" "$installed/ZSupport.dll"
wine reg query "$class\\InprocServer32" /ve | grep -F "$folder"
# "_?=" keeps the uninstaller from going on in a copy of itself, in the background, and so from
# removing its own file.
wine "$installed/uninstall.exe" /S "_?=$folder"
if wine reg query "$class" /ve || [[ -e $installed/ZSupport.dll ]]; then exit 1; fi
rm -r "$installed"
