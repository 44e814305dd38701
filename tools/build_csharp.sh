#!/usr/bin/env bash
# Compiles the C# clients: build_csharp.sh Thermometer.tlb FOLDER
set -euo pipefail
thermometer=$(realpath "$1") out=$(realpath -m "$2")
readonly thermometer out
cd "$(dirname "${BASH_SOURCE[0]}")/../samples/csharp"

# A program by its name, and what belongs to it.
compile() {
  local program=$1
  mcs -warnaserror -platform:x86 -out:"$out/$program.exe" "$program.cs" "${@:2}" ZSupport.cs
  # What it runs on where it is tested; .NET Framework does not look at it.
  echo '{"runtimeOptions": {"framework": {"name": "Microsoft.NETCore.App", "version": "2.1.0"}}}' \
    >"$out/$program.runtimeconfig.json"
}

mkdir -p "$out"
cp "$thermometer" "$out"
compile demo thermometer.cs
compile tour
