#!/bin/sh
# Runs a C# program where there is a runtime for it: run_csharp.sh RUNTIME PROGRAM
[ -f "$1/dotnet.exe" ] || exit 77
exec wine "$1/dotnet.exe" "$2"
