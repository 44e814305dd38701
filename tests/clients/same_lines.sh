#!/bin/sh
# Holds the output of a Windows program to a text, line by line: same_lines.sh TEXT COMMAND...
expected=$1
shift
actual=$("$@") || exit $?
printf '%s\n' "$actual" | tr -d '\r' | diff "$expected" -
