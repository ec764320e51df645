#!/usr/bin/env bash
# Downloads and unpacks one of Debian's source packages, with the machine's own package servers but without touching its
# package lists: no deb-src entry is needed.
# usage: fetch_debian_source.sh PACKAGE TARGET_FOLDER
set -euo pipefail
package=${1:?usage: fetch_debian_source.sh PACKAGE TARGET_FOLDER}
target=${2:?usage: fetch_debian_source.sh PACKAGE TARGET_FOLDER}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"  # apt drops its rights for the download
mkdir -p "$work/lists/partial" "$work/parts" "$work/download"

for list in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
  if [ -f "$list" ]; then sed -n '/debian/s/^deb /deb-src /p' "$list" >>"$work/parts/debian.list"; fi
done
if [ -f /etc/apt/sources.list.d/debian.sources ]; then
  sed 's/^Types:.*/Types: deb-src/' /etc/apt/sources.list.d/debian.sources >"$work/parts/debian.sources"
fi
options=(-q -o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$work/parts" -o Dir::State::lists="$work/lists"
  -o Dir::Cache::pkgcache= -o Dir::Cache::srcpkgcache= -o APT::Sandbox::User=root)

cd "$work/download"
apt-get "${options[@]}" update >/dev/null
apt-get "${options[@]}" source --download-only "$package" >/dev/null
dpkg-source --no-check -x ./*.dsc "$work/source" >/dev/null
mkdir -p "$(dirname "$target")"
rm -rf "$target"
mv "$work/source" "$target"
