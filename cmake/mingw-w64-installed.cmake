# Cross-building implementations and hosts for Windows x64 with Debian's mingw-w64:
#   cmake --toolchain <prefix>/lib/cmake/zuvia/mingw-w64.cmake …
# find_package(zuvia) finds the package that this file belongs to. Windows programs that the build needs are run by
# Wine, if it is there; CMAKE_CROSSCOMPILING_EMULATOR names another way.

include("${CMAKE_CURRENT_LIST_DIR}/mingw-w64-compilers.cmake")

get_filename_component(zuviaPrefix "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)
list(APPEND CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 "${zuviaPrefix}")
list(APPEND CMAKE_PREFIX_PATH "${zuviaPrefix}")

if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
  find_program(ZUVIA_WINE NAMES wine)
  if(ZUVIA_WINE)
    set(CMAKE_CROSSCOMPILING_EMULATOR "${ZUVIA_WINE}")
  endif()
endif()
