# One interface target carries the warnings, the sanitizers and the definitions that every target of ours is built with.
add_library(netplay_options INTERFACE)
target_compile_options(netplay_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual -Werror
  # GCC 12 sees overlaps in plain string concatenation when it optimises (its bug 105651).
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
target_compile_definitions(netplay_options INTERFACE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS)
if(NETPLAY_SANITIZE)
  target_compile_options(netplay_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(netplay_options INTERFACE -fsanitize=address,undefined)
endif()
if(NETPLAY_FUZZ)
  target_compile_options(netplay_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
