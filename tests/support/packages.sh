# What the tests of the packages share: the README's commands, and everything of ours in a prefix.

readonly collection='{A4C46780-499F-101B-BB78-00AA00383CBB}' events='{D20D3439-64D3-4496-9B55-C79C5992CEF9}'
output=$work/output.txt

fail() { echo "package test FAILED: ${architecture:-}: $*" >&2; exit 1; }
trap 'fail "line $LINENO: $BASH_COMMAND ended with $?: $(cat "$output")"' ERR
same() { diff <(echo "$1") <(echo "$2") || fail "differs: $3"; }

# The one command of the README that fits a pattern, for the system under test.
readme() {
  local lines
  lines=$(tr -d '\r' <"$packages/$zip_folder/README.txt" | sed -n "\\|^    $1|s/^ *//p")
  [[ $lines && $lines != *$'\n'* ]] || fail "the README has none or several: $1: $lines"
  echo "${lines/-x64/-$architecture}"
}
newer() { echo "${1/$version/$newer}"; }
# As the README has it: on 64-bit Windows the 32-bit program registers.
bits() { [[ $architecture == x64 ]] && echo "%SystemRoot%\\SysWOW64\\$1" || echo "$1"; }

# The system's own programs of a system's own width; wine alone takes those of 32 bits everywhere.
system_program() {
  local -r program=$1 loader=$([[ $architecture == x86 ]] || command -v wine64 /usr/lib/wine/wine64 | head -1)
  "${loader:-wine}" "C:\\windows\\system32\\$program.exe" "${@:2}"
}

# Types a command into a prompt in a folder; its output goes to a file.
run() {
  printf '@cd /d "%s"\r\n@%s\r\n@exit /b %%ERRORLEVEL%%\r\n' "$(winepath -w "$1")" "$2" >"$drive/run.bat"
  system_program cmd /c 'C:\run.bat' >"$output" 2>&1
}
# Without windows, and with more properties.
install() { run "$downloads" "$1 ${2:-} /qn"; }

registry() {
  local hive
  for hive in 'HKLM\Software' 'HKCU\Software' 'HKLM\SYSTEM\CurrentControlSet\Services\EventLog'; do
    system_program reg export "$hive" "$(winepath -w "$WINEPREFIX/hive.reg")" /y >/dev/null 2>&1
    tr -d '\000\r' <"$WINEPREFIX/hive.reg"
  done | awk '/^\[/ { key = $0 } /^[@"]/ { print key " " $0 }' | sort | tee "$WINEPREFIX/registry.txt"
}
named_like_ours() {
  registry | sed -nE '/zsupport|938E3045|7B8B8B0E|EB457140|96C697D0|D20D3439|3D1E6C52|8C6B1F0E|A4C46780/Ip'
}

# Keys and values that the library registers, wherever it lies. Not compared: what belongs to everybody,
# and what the packages remember.
ours() {
  named_like_ours | sed -E "/Uninstall|\\\\Installer|\\$collection|\\\\Setup\\]/Id
    "'s/"[A-Z]:\\\\[^"]*\\\\(ZSupport\.dll)?"$/"FOLDER\\\1"/'
}
# All that an installation can leave behind. The log and what the samples make are the user's.
everything() {
  named_like_ours
  find "$drive" \( -path "$downloads" -o -path "$drive/windows" \) -prune -o \
    -type f ! -name run.bat ! -name ZSupport.log -print | sort
}

# Packages of a library and a monitor that differ, and say another version.
another_build() {
  local -r copy=$work/build-$1
  mkdir "$copy"
  (cd "$build_root/release" && cp --parents src/ZSupport.dll monitor/ZSupportMonitor.exe samples/*.{exe,h,tlb} \
    typelib/*.{h,tlb} "$copy")
  python3 - "$version" "$2" "$copy/src/ZSupport.dll" "$copy/monitor/ZSupportMonitor.exe" <<'PYTHON'
import struct, sys
from pathlib import Path
def fixed(version):
    major, minor, patch = map(int, version.split("."))
    return struct.pack("<2I8H", 0xFEEF04BD, 0x10000, *[minor, major, 0, patch] * 2)
old, new = sys.argv[1:3]
for file in map(Path, sys.argv[3:]):
    data = file.read_bytes().replace(f"{old}.0".encode("utf-16-le"), f"{new}.0".encode("utf-16-le"))
    file.write_bytes(data.replace(fixed(old), fixed(new)) + b"another build")
PYTHON
  SOURCE_DATE_EPOCH=1000000000 PYTHONDONTWRITEBYTECODE=1 python3 packaging/make_package.py "$copy" \
    "$build_root/help" "$work/$1" "$2" >/dev/null
}
