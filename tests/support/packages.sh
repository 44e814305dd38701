# What the tests of the packages share: the README's commands, and everything of ours in a prefix.

readonly collection='{A4C46780-499F-101B-BB78-00AA00383CBB}' output=$work/output.txt

fail() { echo "package test FAILED: $*" >&2; exit 1; }
same() { [[ $1 == "$2" ]] || fail "$3: $(diff <(echo "$1") <(echo "$2"))"; }

# The one command of the README that fits a pattern, for the system under test.
readme() {
  local lines
  lines=$(tr -d '\r' <"$packages/$zip_folder/README.txt" | sed -n 's/^    //p' | grep -E "^$1") ||
    fail "the README has no command $1"
  [[ $lines != *$'\n'* ]] || fail "the README has several commands $1"
  echo "${lines/-x64/-$architecture}"
}
newer() { echo "${1/$version/$newer}"; }
# As the README has it: on 64-bit Windows the 32-bit program registers.
bits() { [[ $architecture == x64 ]] && echo "%SystemRoot%\\SysWOW64\\$1" || echo "$1"; }

# The system's own programs of a system's own width; wine alone takes those of 32 bits everywhere.
system_program() {
  local -r program=$1 loader=$([[ $architecture == x64 ]] && command -v wine64 /usr/lib/wine/wine64 | head -1)
  shift
  "${loader:-wine}" "C:\\windows\\system32\\$program.exe" "$@"
}

# Types a command into a prompt in a folder; its output goes to a file.
run() {
  printf '@cd /d "%s"\r\n@%s\r\n@exit /b %%ERRORLEVEL%%\r\n' "$(winepath -w "$1")" "$2" >"$drive/run.bat"
  system_program cmd /c 'C:\run.bat' >"$output" 2>&1
}
# Without windows, and with more properties.
install() { run "$downloads" "$1 ${2:-} /qn"; }

# The output of a program, which has to hold a text. Through a file: a surrogate that the program
# starts keeps a pipe open for minutes.
expect() {
  local text=$1
  shift
  "$@" >"$output" 2>&1 || fail "$* ended with $?: $(<"$output")"
  grep -q FAILED "$output" && fail "$* printed: $(<"$output")"
  grep -q -- "$text" "$output" || fail "$* printed: $(<"$output")"
}

registry() {
  local hive
  for hive in 'HKLM\Software' 'HKCU\Software' 'HKLM\SYSTEM\CurrentControlSet\Services\EventLog'; do
    system_program reg export "$hive" "$(winepath -w "$work/hive.reg")" /y >/dev/null 2>&1
    tr -d '\000\r' <"$work/hive.reg"
  done | awk '/^\[/ { key = $0 } /^[@"]/ { print key " " $0 }' | tee "$work/registry.txt"
}
named_like_ours() { grep -iE 'zsupport|938E3045|7B8B8B0E|EB457140|96C697D0|D20D3439|3D1E6C52|8C6B1F0E|A4C46780'; }

# Keys and values that the library registers, wherever it lies. Not compared: what belongs to everybody,
# and what the packages remember.
ours() {
  registry | named_like_ours | grep -viE "Uninstall|\\\\Installer|$collection|\\\\Setup\\]" |
    sed -E 's/"[A-Z]:\\\\[^"]*\\\\(ZSupport\.dll)?"$/"FOLDER\\\1"/' | sort
}
# All that an installation can leave behind. The log and what the samples make are the user's.
everything() {
  registry | named_like_ours | sort
  find "$drive" -path "$downloads" -prune -o -path "$drive/windows" -prune -o -type f -print |
    grep -vE 'run.bat|/ZSupport.log' | sort
}
products() { registry | grep -i 'Uninstall.*DisplayVersion' | sed 's/.*\] //' | sort -u; }
local_data() { echo "$drive"/users/*/AppData/Local; }

# Packages of a library that differs, and says another version.
another_build() {
  local -r source=$build_root/release copy=$work/build-$1
  mkdir -p "$copy"/{src,typelib,samples}
  cp "$source"/samples/*.{exe,h,tlb} "$copy/samples"
  cp "$source"/typelib/*.{h,tlb} "$copy/typelib"
  python3 - "$source/src/ZSupport.dll" "$copy/src/ZSupport.dll" "$version" "$2" <<'PYTHON'
import struct, sys
source, target, old, new = sys.argv[1:]
data = open(source, "rb").read().replace(f"{old}.0".encode("utf-16-le"), f"{new}.0".encode("utf-16-le"))
fixed = data.index(struct.pack("<I", 0xFEEF04BD)) + 8
major, minor, patch = map(int, new.split("."))
data = data[:fixed] + struct.pack("<IIII", major << 16 | minor, patch << 16, major << 16 | minor, patch << 16) + data[fixed + 16:]
open(target, "wb").write(data + b"another build")
PYTHON
  SOURCE_DATE_EPOCH=1000000000 PYTHONDONTWRITEBYTECODE=1 python3 packaging/make_package.py "$copy" \
    "$build_root/help" "$work/$1" "$2" >/dev/null
}
