#!/bin/sh
# Installs Tarvex for the current user, without root: the launcher, its entry in the desktop's menu, its
# icon, and its description for software centres. An installed launcher is replaced, even while it
# runs.
#
#     install.sh               installs
#     install.sh --uninstall   removes all of that; the game and its log stay
set -eu

name=com.tarvex.launcher
source=$(dirname "$(readlink -f -- "$0")")
data=${source%/*}
if [ ! -e "$data/applications/$name.desktop" ]; then  # else this script is the installed copy
  data=${XDG_DATA_HOME:-}
  case $data in /*) ;; *) data=${HOME:-.}/.local/share ;; esac  # a relative path does not count
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

# Runs a command. If it fails, prints the first line of its errors and exits.
try() {
  said=$("$@" 2>&1) || fail "$(printf '%s\n' "$said" | sed -n 1p)"
}

# Removes files and folders, also folders that are read-only. Of a link, only the link.
remove() {
  for path; do
    [ -L "$path" ] || [ ! -d "$path" ] || chmod -fR u+w "$path" || :
    rm -rf "$path"
  done
}

# Cleans up after an installation that did not finish: puts the old bundle back, removes new files.
clean_up() {
  [ -e "$bundle" ] || [ ! -e "$bundle.old" ] || mv "$bundle.old" "$bundle"
  remove "$bundle.new" "$bundle.old"
  rm -f "$folder/install.sh.new" "$entry.new" "$scalable.new" "$small.new" "$metainfo.new"
}

# Quotes a word for a desktop entry: ", `, $ and \ are escaped in quotes, then \ and % in the string.
in_entry() {
  printf '%s\n' "$1" | sed -e 's/["`$\]/\\&/g' -e 's/\\/\\\\/g' -e 's/%/%%/g' -e 's/.*/"&"/'
}

write_entry() {
  program=$(in_entry "$bundle/Contents/Linux/tarvex-launcher")
  # Desktops look for the program's file before they turn %% into %, and its path must not contain an =.
  # Arguments of a shell have neither restriction.
  case $bundle in *[%=]*) program="/bin/sh -c $(in_entry 'exec "$0"') $program" ;; esac
  while IFS= read -r line; do
    case $line in Exec=*) line="Exec=$program" ;; esac
    printf '%s\n' "$line"
  done <"$resources/$name.desktop" | cat >"$entry.new"  # cat prints the reason if it cannot write
}

install_all() {
  case $data in *[[:cntrl:]]*) fail "the path of the home folder has control characters" ;; esac
  [ -z "$(printf %s "$data" | LC_ALL=C.UTF-8 sed 's/.//g')" ] ||
    fail "the path of the home folder is not UTF-8"
  set -- "$folder/install.sh" "$entry" "$scalable" "$small" "$metainfo"
  for path; do
    if [ -d "$path" ] && [ ! -L "$path" ]; then fail "$path is a folder"; fi
  done
  try mkdir -p "$folder" "${entry%/*}" "${scalable%/*}" "${small%/*}" "${metainfo%/*}"
  # Two installers at once would remove each other's files. Not every system has flock.
  exec 9<"$folder"
  flock -n 9 2>/dev/null || [ $? != 1 ] || fail "another installer is running"
  trap clean_up EXIT
  trap 'exit 1' HUP INT TERM
  clean_up
  # All new files are complete before they replace the old ones. A launcher that runs from the old
  # bundle is not affected.
  try cp -R "$source/Tarvex Launcher.app" "$bundle.new"
  try chmod -R u+w "$bundle.new"  # a copy from a read-only folder could not be replaced later
  resources=$bundle.new/Contents/Resources
  try cp "$source/install.sh" "$folder/install.sh.new"
  try cp "$resources/$name.svg" "$scalable.new"
  try cp "$resources/$name-48.png" "$small.new"
  try cp "$resources/$name.metainfo.xml" "$metainfo.new"
  try write_entry
  try "$bundle.new/Contents/Linux/check-updater" --help  # fails if a library is missing

  # An old bundle that is read-only could not be removed, nor one that belongs to another user.
  if [ -d "$bundle" ] && [ ! -L "$bundle" ]; then try chmod -R u+w "$bundle"; fi
  if [ -e "$bundle" ] || [ -L "$bundle" ]; then try mv "$bundle" "$bundle.old"; fi
  try mv "$bundle.new" "$bundle"
  for path; do
    mv -fT "$path.new" "$path"  # -T: a link to a folder is replaced
  done
  touch "$data/icons/hicolor" 2>/dev/null || :  # tells desktops to renew their cache of icons
  quoted=$(printf '%s\n' "$folder/install.sh" | sed "s/'/'\\\\''/g")
  printf '%s\n' "Installed: $bundle" "To uninstall it: sh '$quoted' --uninstall"
}

uninstall_all() {
  remove "$folder"/* "$folder" "$entry" "$scalable" "$small" "$metainfo"  # $folder may be a link
  echo "Uninstalled. The game and its log stay in ~/Library/Application Support/Tarvex"
}

case $data in
  /*) ;;
  *) fail "HOME is not an absolute path" ;;
esac
case "${1:-} $#" in
  " 0") install_all ;;
  "--uninstall 1") uninstall_all ;;
  *) echo "usage: install.sh [--uninstall]" >&2; exit 2 ;;
esac
