# Whether vcpkg.json names the libraries that the build looks for, and the version of the project.
#
#   cmake -DROOT=<directory of the project> -DVERSION=<its version> -P vcpkg.cmake

file(READ "${ROOT}/vcpkg.json" manifest)
string(JSON version GET "${manifest}" version-string)
if(NOT version STREQUAL VERSION)
  message(FATAL_ERROR "vcpkg.json is of version ${version}, the project of ${VERSION}")
endif()

# Those that are named, each with its features or without.
string(JSON count LENGTH "${manifest}" dependencies)
math(EXPR last "${count} - 1")
foreach(index RANGE ${last})
  string(JSON port ERROR_VARIABLE isText GET "${manifest}" dependencies ${index} name)
  if(isText)
    string(JSON port GET "${manifest}" dependencies ${index})
  endif()
  list(APPEND named ${port})
endforeach()

# Those that are looked for where tests are not built.
file(STRINGS "${ROOT}/cmake/dependencies.cmake" lines REGEX "find_package\\(")
foreach(line IN LISTS lines)
  string(REGEX REPLACE ".*find_package\\(([A-Za-z0-9]+).*" "\\1" package "${line}")
  string(TOLOWER "${package}" package)
  list(APPEND sought ${package})
endforeach()
list(TRANSFORM sought REPLACE "^httplib$" cpp-httplib)

list(SORT named)
list(SORT sought)
if(NOT named STREQUAL sought)
  message(FATAL_ERROR "vcpkg.json names ${named}; the build looks for ${sought}")
endif()
message("${count} libraries")
