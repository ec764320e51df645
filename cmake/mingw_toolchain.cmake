# Cross-builds for Windows x86-64 with Debian's mingw-w64 (posix threads) against a Qt built by cmake/build_qt_windows.sh.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# ./dev exports both variables; the defaults are where it keeps things.
if(DEFINED ENV{NETPLAY_CACHE})
  set(netplay_cache "$ENV{NETPLAY_CACHE}")
elseif(DEFINED ENV{XDG_CACHE_HOME})
  set(netplay_cache "$ENV{XDG_CACHE_HOME}/netplay-lobby")
else()
  set(netplay_cache "$ENV{HOME}/.cache/netplay-lobby")
endif()
set(NETPLAY_QT_WINDOWS "${netplay_cache}/qt5-mingw")

set(CMAKE_PREFIX_PATH "${NETPLAY_QT_WINDOWS}")
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 "${NETPLAY_QT_WINDOWS}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR wine)
