#!/usr/bin/env bash
# Compiles the C# clients: build_csharp.sh Thermometer.tlb FOLDER
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../samples/csharp"
readonly library=ZSupport.cs
mkdir -p "$2"
cp "$1" "$2"
compile() { mcs -warnaserror -platform:x86 -out:"$1/$2.exe" "$2.cs" "${@:3}" $library; }
compile "$2" demo thermometer.cs
compile "$2" tour
for program in demo tour; do
  echo '{"runtimeOptions": {"framework": {"name": "Microsoft.NETCore.App", "version": "2.1.0"}}}' \
    >"$2/$program.runtimeconfig.json"
done
