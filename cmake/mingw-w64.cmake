# Cross-building for Windows x64 with Debian's mingw-w64; programs run under Wine.

include("${CMAKE_CURRENT_LIST_DIR}/mingw-w64-compilers.cmake")

# scripts/dependencies links the libraries here, one directory each.
get_filename_component(zuviaRoot "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)
file(GLOB zuviaLibraries LIST_DIRECTORIES true "${zuviaRoot}/build/deps/*")

set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 ${zuviaLibraries})
set(CMAKE_PREFIX_PATH ${zuviaLibraries})

set(CMAKE_CROSSCOMPILING_EMULATOR "${zuviaRoot}/scripts/wine-run")
