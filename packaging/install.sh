#!/bin/sh
# Installs Tarvex for the player who runs it, without root: the launcher, its entry in the desktop's
# menu, its icon, and its description for software centres. Run again, it replaces what is there, also
# while it runs.
#
#     install.sh               installs
#     install.sh --uninstall   takes all of that out again; the game and its log stay
set -eu

name=com.tarvex.launcher
source=$(dirname "$(readlink -f -- "$0")")
data=${source%/*}
if [ ! -e "$data/applications/$name.desktop" ]; then  # or this is the copy that was installed there
  data=${XDG_DATA_HOME:-}
  case $data in /*) ;; *) data=${HOME:?}/.local/share ;; esac  # a relative path does not count
fi
folder=$data/tarvex-launcher
bundle="$folder/Tarvex Launcher.app"
entry=$data/applications/$name.desktop
scalable=$data/icons/hicolor/scalable/apps/$name.svg
small=$data/icons/hicolor/48x48/apps/$name.png
metainfo=$data/metainfo/$name.metainfo.xml

fail() {
  echo "install.sh: nothing was changed: $1" >&2
  exit 1
}

# Runs a command, and gives up with the first line of its complaints.
try() {
  said=$("$@" 2>&1) || fail "$(printf '%s\n' "$said" | sed -n 1p)"
}

# Whatever ended an installation: a whole bundle has the name, and nothing is half there.
clean_up() {
  [ -e "$bundle" ] || [ ! -e "$bundle.old" ] || mv "$bundle.old" "$bundle"
  rm -rf "$bundle.new" "$bundle.old"
  rm -f "$folder/install.sh.new" "$entry.new" "$scalable.new" "$small.new" "$metainfo.new"
}

# In an entry, a word in quotes escapes ", `, $ and \; every string then escapes \ and %.
in_entry() {
  printf '%s\n' "$1" | sed -e 's/["`$\]/\\&/g' -e 's/\\/\\\\/g' -e 's/%/%%/g' -e 's/.*/"&"/'
}

write_entry() {
  program=$(in_entry "$bundle/Contents/Linux/tarvex-launcher")
  # Desktops look for the program's file before they read the %%, and its path may not have an =. The
  # arguments of another program are free of that.
  case $bundle in *[%=]*) program="/bin/sh -c $(in_entry 'exec "$0"') $program" ;; esac
  while IFS= read -r line; do
    case $line in Exec=*) line="Exec=$program" ;; esac
    printf '%s\n' "$line"
  done <"$resources/$name.desktop" | cat >"$entry.new"  # which says why it cannot write
}

install_all() {
  case $data in *[[:cntrl:]]*) fail "the path of the home folder has control characters" ;; esac
  trap clean_up EXIT
  trap 'exit 1' HUP INT TERM
  clean_up
  # All of it is completely there before anything gets its name. A launcher that runs from the old
  # bundle goes on.
  try mkdir -p "$folder" "${entry%/*}" "${scalable%/*}" "${small%/*}" "${metainfo%/*}"
  try cp -R "$source/Tarvex Launcher.app" "$bundle.new"
  try chmod -R u+w "$bundle.new"  # or what came from a read-only folder could not be replaced
  resources=$bundle.new/Contents/Resources
  try cp "$source/install.sh" "$folder/install.sh.new"
  try cp "$resources/$name.svg" "$scalable.new"
  try cp "$resources/$name-48.png" "$small.new"
  try cp "$resources/$name.metainfo.xml" "$metainfo.new"
  try write_entry
  try "$bundle.new/Contents/Linux/check-updater" --help  # needs the libraries that the launcher needs

  if [ -e "$bundle" ] || [ -L "$bundle" ]; then try mv "$bundle" "$bundle.old"; fi
  try mv "$bundle.new" "$bundle"
  for path in "$folder/install.sh" "$entry" "$scalable" "$small" "$metainfo"; do
    mv -f "$path.new" "$path"
  done
  touch "$data/icons/hicolor"  # or desktops that keep a list of the icons would not look again
  quoted=$(printf '%s\n' "$folder/install.sh" | sed "s/'/'\\\\''/g")
  printf '%s\n' "Installed: $bundle" "To take it out again: sh '$quoted' --uninstall"
}

uninstall_all() {
  rm -rf "$folder" "$entry" "$scalable" "$small" "$metainfo"
  echo "Taken out. The game and its log stay in ~/Library/Application Support/Tarvex"
}

case "${1:-} $#" in
  " 0") install_all ;;
  "--uninstall 1") uninstall_all ;;
  *) echo "usage: install.sh [--uninstall]" >&2; exit 2 ;;
esac
