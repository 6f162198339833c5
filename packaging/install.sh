#!/bin/sh
# Installs Tarvex for the player who runs it, without root: the launcher, its entry in the desktop's
# menu, and its icon. Run again, it replaces what is there, also while it runs.
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

install_all() {
  mkdir -p "$folder" "${entry%/*}" "${scalable%/*}" "${small%/*}"
  # Completely there before it gets its name. A launcher that runs from the old one goes on.
  rm -rf "$bundle.new" "$bundle.old"
  cp -R "$source/Tarvex Launcher.app" "$bundle.new"
  chmod -R u+w "$bundle.new"  # or what came from a read-only folder could not be replaced
  if [ -e "$bundle" ] || [ -L "$bundle" ]; then mv "$bundle" "$bundle.old"; fi
  mv "$bundle.new" "$bundle"
  rm -rf "$bundle.old"
  if [ ! "$source" -ef "$folder" ]; then cp -f "$source/install.sh" "$folder/"; fi

  cp "$bundle/Contents/Resources/$name.svg" "$scalable"
  cp "$bundle/Contents/Resources/$name-48.png" "$small"
  touch "$data/icons/hicolor"  # or desktops that keep a list of the icons would not look again
  # In an entry, a word in quotes escapes ", `, $ and \; every string then escapes \ and %.
  program=$(printf '%s\n' "$bundle/Contents/Linux/tarvex-launcher" |
    sed -e 's/["`$\\]/\\&/g' -e 's/\\/\\\\/g' -e 's/%/%%/g')
  while IFS= read -r line; do
    case $line in Exec=*) line="Exec=\"$program\"" ;; esac
    printf '%s\n' "$line"
  done <"$bundle/Contents/Resources/$name.desktop" >"$entry"
  quoted=$(printf '%s\n' "$folder/install.sh" | sed "s/'/'\\\\''/g")
  printf '%s\n' "Installed: $bundle" "To take it out again: sh '$quoted' --uninstall"
}

uninstall_all() {
  rm -rf "$folder" "$entry" "$scalable" "$small"
  echo "Taken out. The game and its log stay in ~/Library/Application Support/Tarvex"
}

case "${1:-} $#" in
  " 0") install_all ;;
  "--uninstall 1") uninstall_all ;;
  *) echo "usage: install.sh [--uninstall]" >&2; exit 2 ;;
esac
