#!/usr/bin/env bash
# Pictures of the monitor for the documents: its two views with something real in them, and its settings.
# They are taken from a display of their own, which nobody sees. The library is registered in the prefix in
# use, whose windows go to a display.
#
# usage: pictures.sh BUILD FOLDER     build folder of the release preset; where the pictures go
set -euo pipefail
build=$(realpath "$1")
folder=$(realpath "$2")
readonly build folder
# What is written into the registry must not go into the own prefix of whoever starts this.
: "${WINEPREFIX:?}"
cd "$(dirname "${BASH_SOURCE[0]}")/.."
readonly monitor=$build/monitor/ZSupportMonitor.exe
readonly key='HKCU\Software\Zarnow Instruments Ltd.\System\ZSupport'

fail() { echo "pictures.sh: $*" >&2; exit 1; }

# A free display, with colours enough.
open_display() {
  local number
  exec {answer}< <(exec Xvfb -displayfd 1 -screen 0 1280x900x24 -nolisten tcp 2>/dev/null)
  display=$!
  read -r -t 20 -u "$answer" number || fail "no display"
  export DISPLAY=:$number
}

# Frames as Wine draws them, since nobody else does here, with the signs on their buttons; a font of
# Debian's in place of those that Windows has, one that is smoothed at this size; and the monitor's window
# remembered in the size of the pictures.
dress() {
  local font fonts='HKLM\Software\Microsoft\Windows NT\CurrentVersion\FontSubstitutes'
  mkdir -p "$WINEPREFIX/drive_c/windows/Fonts"
  cp /usr/share/wine/fonts/marlett.ttf "$WINEPREFIX/drive_c/windows/Fonts"
  wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f
  for font in 'MS Shell Dlg' 'MS Shell Dlg 2' 'Segoe UI' Tahoma; do
    wine reg add "$fonts" /v "$font" /d 'DejaVu Sans Condensed' /f
    wine reg add 'HKCU\Software\Wine\Fonts\Replacements' /v "$font" /d 'DejaVu Sans Condensed' /f
  done
  wine reg add 'HKCU\Control Panel\Desktop' /v FontSmoothing /d 2 /f
  wine reg add 'HKCU\Control Panel\Desktop' /v FontSmoothingType /t REG_DWORD /d 2 /f
  wine reg add "$key\\Monitor" /v Window /d '40 40 940 600 0' /f
  wine reg add "$key\\Debug" /v 'Debug Level' /t REG_DWORD /d 273 /f
} >/dev/null 2>&1

# The one window that is seen with such a beginning of its title.
window() {
  local found tries
  for ((tries = 0; tries < 60; ++tries)); do
    found=$(xdotool search --onlyvisible --name "^$1" | tail -1) && [[ $found ]] && { echo "$found"; return; }
    sleep 0.5
  done
  fail "no window $1"
}

# FILE and title. A moment, until everything is drawn.
picture() {
  local shown
  shown=$(window "$2")
  sleep 2
  import -window "$shown" png:- |
    convert png:- -dither None -colors 64 -strip -define png:exclude-chunks=date,time "png8:$folder/$1"
  echo "$folder/$1: $(identify -format '%wx%h' "$folder/$1"), $(stat -c %s "$folder/$1") bytes"
}

open_monitor() {
  wine "$monitor" "$@" >/dev/null 2>&1 &
  main=$(window 'ZSupport Monitor')
  xdotool windowfocus --sync "$main"
}
close_monitor() {
  wine taskkill /f /im ZSupportMonitor.exe >/dev/null 2>&1 || true
  wait "$!" || true
}

# The details of the last row.
show_last() {
  sleep 1
  xdotool key End
}

traces() {
  local -r log=$WINEPREFIX/drive_c/Logs/ZSupport.log
  local script made
  rm -f "$WINEPREFIX"/drive_c/users/*/AppData/Local/'Zarnow Instruments Ltd/System/ZSupport/ZSupport.log'
  for script in samples/script/collection.vbs samples/script/collection.js tools/pictures.vbs; do
    [[ $(wine cscript //nologo "$(winepath -w "$script")" 2>/dev/null) == *done* ]] || fail "$script"
  done
  made=$(ls "$WINEPREFIX"/drive_c/users/*/AppData/Local/'Zarnow Instruments Ltd/System/ZSupport/ZSupport.log')
  mkdir -p "${log%/*}"
  mv "$made" "$log"
  open_monitor --log 'C:\Logs\ZSupport.log'
  show_last
  picture monitor-traces.png 'ZSupport Monitor'
}

# From the window that is open.
settings() {
  xdotool windowfocus --sync "$main"
  xdotool key ctrl+comma
  picture monitor-settings.png 'Settings'
}

events() {
  open_monitor --events Shell.Explorer.2 --set Visible=True --set MenuBar=True --set ToolBar=False \
    --set StatusBar=True --set FullScreen=True --set AddressBar=True --set Resizable=True \
    --events Shell.Explorer.2 --set TheaterMode=True --set Visible=False
  show_last
  picture monitor-events.png 'ZSupport Monitor'
}

clean_up() {
  wineserver --kill 2>/dev/null || true
  kill "${display:-}" 2>/dev/null || true
}

wineserver --kill 2>/dev/null || true
trap clean_up EXIT
open_display
dress
traces
settings
close_monitor
events
