#!/usr/bin/env bash
# Cross-builds Qt 5 for Windows (x86-64, mingw-w64 with posix threads) from Debian's own qtbase source package.
# usage: build_qt_windows.sh PREFIX     (about 10 minutes on 2 cores, about 3 GB of scratch space)
# Needs the packages g++-mingw-w64-x86-64-posix dpkg-dev make g++ python3 perl.
set -euo pipefail
prefix=${1:?usage: build_qt_windows.sh PREFIX}
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# Runs a step quietly; its output is shown when it fails.
step() {
  local name=$1
  shift
  echo "qt: $name"
  if ! "$@" >"$work/$name.log" 2>&1; then
    tail -n 40 "$work/$name.log" >&2
    echo "qt: $name failed" >&2
    exit 1
  fi
}

step source bash "$here/fetch_debian_source.sh" qtbase-opensource-src "$work/src"

# Windows import libraries have lower-case names; the file system here tells the difference.
sed -i 's/"-lSecur32" "-lCrypt32"/"-lsecur32" "-lcrypt32"/' src/src/network/ssl/ssl.pri
sed -i 's/-lOle32/-lole32/' src/src/network/configure.json

mkdir build bin
# Qt's win32-g++ profile calls the unversioned names; they must be the compilers with posix threads.
for tool in gcc g++; do
  ln -s "$(command -v x86_64-w64-mingw32-$tool-posix)" "bin/x86_64-w64-mingw32-$tool"
done
export PATH="$work/bin:$PATH"
cd build
# Debian's source has no wintab.h, hence no tablet events.
step configure ../src/configure -opensource -confirm-license -release -prefix "$prefix" \
  -xplatform win32-g++ -device-option CROSS_COMPILE=x86_64-w64-mingw32- \
  -nomake examples -nomake tests -no-compile-examples \
  -no-opengl -no-feature-vulkan -no-dbus -no-icu -no-openssl -schannel \
  -qt-zlib -qt-libpng -no-libjpeg -no-gif -qt-pcre -qt-freetype -qt-harfbuzz \
  -no-feature-tabletevent -no-feature-sql -no-feature-printer -no-feature-pdf

libraries="corelib winmain network concurrent gui widgets testlib platformsupport platformheaders"
tools="bootstrap moc rcc uic qvkgen tracegen zlib 3rdparty-freetype 3rdparty-pcre2 3rdparty-harfbuzzng 3rdparty-libpng"
cd src
step qmake ../bin/qmake -o Makefile "$work/src/src/src.pro"
# shellcheck disable=SC2046
step build make -j"$(nproc)" $(printf 'sub-%s ' $libraries)
# shellcheck disable=SC2046
step install make -j"$(nproc)" $(printf 'sub-%s-install_subtargets ' $libraries $tools)
for plugin in platforms/windows platforms/offscreen platforms/minimal styles/windowsvista; do
  name=$(basename $plugin)
  mkdir -p "plugins/$plugin"
  cd "plugins/$plugin"
  step "plugin-$name-qmake" ../../../../bin/qmake -o Makefile "$work/src/src/plugins/$plugin/$name.pro"
  step "plugin-$name" make -j"$(nproc)" install
  cd ../../..
done
cd ..

# CMake's Qt5Core package wants these to exist.
cp bin/qmake "$prefix/bin/"
mkdir -p "$prefix/mkspecs"
cp -r ../src/mkspecs/win32-g++ ../src/mkspecs/common "$prefix/mkspecs/"
strip "$prefix"/bin/{moc,rcc,uic,qmake,qvkgen,tracegen}
rm -f "$prefix"/lib/libQt5Bootstrap*
# The C++ runtime that the built programs need beside them.
cp "$(x86_64-w64-mingw32-g++-posix -print-file-name=libstdc++-6.dll)" \
  "$(x86_64-w64-mingw32-g++-posix -print-file-name=libgcc_s_seh-1.dll)" \
  /usr/x86_64-w64-mingw32/lib/libwinpthread-1.dll "$prefix/bin/"
echo "qt: Qt for Windows is in $prefix"
