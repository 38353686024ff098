# The libraries, by the same names on every platform: vcpkg provides them on Windows, the cross-built
# cache (scripts/dependencies) for mingw, Debian's development packages for native builds.

find_package(jsoncpp REQUIRED CONFIG)
find_library(LibArchive_LIBRARY NAMES archive_static)  # where there is a DLL too, and its module would take that
find_package(LibArchive REQUIRED)

if(WIN32)
  find_package(OpenSSL REQUIRED)
  find_package(CURL REQUIRED CONFIG)
  find_package(liblzma REQUIRED CONFIG)
  find_package(CLI11 REQUIRED CONFIG)
  find_package(httplib REQUIRED CONFIG)
endif()

# zuvia_jsoncpp
add_library(zuvia_jsoncpp INTERFACE)
if(TARGET jsoncpp_static)
  target_link_libraries(zuvia_jsoncpp INTERFACE jsoncpp_static)
else()
  target_link_libraries(zuvia_jsoncpp INTERFACE jsoncpp_lib)
endif()

# zuvia_archive: libarchive with what a static one needs.
add_library(zuvia_archive INTERFACE)
target_link_libraries(zuvia_archive INTERFACE LibArchive::LibArchive)
if(WIN32)
  target_compile_definitions(zuvia_archive INTERFACE LIBARCHIVE_STATIC)
  target_link_libraries(zuvia_archive INTERFACE liblzma::liblzma bcrypt)
endif()

# zuvia_tls: OpenSSL with what a static one needs, told to the library itself, so that the order is right
# for those who get it through libcurl as well.
if(WIN32)
  target_link_libraries(OpenSSL::Crypto INTERFACE ws2_32 crypt32 bcrypt gdi32 user32)
  add_library(zuvia_tls INTERFACE)
  target_link_libraries(zuvia_tls INTERFACE OpenSSL::SSL OpenSSL::Crypto)
endif()
