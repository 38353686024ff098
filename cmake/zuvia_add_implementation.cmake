include("${CMAKE_CURRENT_LIST_DIR}/implementation_module.cmake")

set(ZUVIA_PACKAGE_URL "" CACHE STRING "Where hosts will find the packages of implementations: https://host/directory")

# zuvia_add_implementation(NAME VERSION a.b.c.d SOURCES file…
#                          [COMPANIONS companion…] [URL base] [DESCRIPTION text])
#
# Adds two targets:
#   NAME          NAME/zuimpl.dll in the current binary directory. It exports the function createImpl, which one of
#                 the sources defines as extern "C", and nothing else that the sources do not mark. Link what else it
#                 needs with target_link_libraries(NAME PRIVATE …).
#   NAME_package  NAME_package/zuimpl-<version>.7z in the current binary directory, the package from which hosts
#                 update, and zuimpl-<version>.json, its update entry. Only built when it is asked for.
#
# VERSION      four numbers of 0 to 65535 joined by dots: the file version, by which plugins choose the newest. The
#              sources have it as the text ZUIMPL_VERSION
# COMPANIONS   what is packed beside the module: a file, [NAME=]FILE, where NAME may have directories (help/en.txt=a.txt)
#              and FILE is relative to the current source directory; or a target, such as a library that the module
#              needs
# URL          where hosts will find the package, without its name; begins with https://. ZUVIA_PACKAGE_URL when it is
#              not given
# DESCRIPTION  what the version resource says the file is; NAME when it is not given
function(zuvia_add_implementation name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "VERSION;URL;DESCRIPTION" "SOURCES;COMPANIONS")
  zuvia_find_fault(fault)
  if(fault)
    message(FATAL_ERROR "zuvia_add_implementation(${name}): ${fault}")
  endif()
  if(NOT arg_DESCRIPTION)
    set(arg_DESCRIPTION "${name}")
  endif()
  if(NOT arg_URL)
    set(arg_URL "${ZUVIA_PACKAGE_URL}")
  endif()

  zuvia_implementation_module(${name}
    VERSION "${arg_VERSION}" DESCRIPTION "${arg_DESCRIPTION}" PRODUCT "${PROJECT_NAME}"
    SOURCES ${arg_SOURCES} "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/createImpl.def")
  zuvia_add_package(${name})
endfunction()

# What is wrong with the arguments of zuvia_add_implementation, which its parsed arg_… tell; "" when nothing is.
function(zuvia_find_fault result)
  zuvia_is_file_version("${arg_VERSION}" versionIsLegal)
  if(arg_UNPARSED_ARGUMENTS)
    list(JOIN arg_UNPARSED_ARGUMENTS " " unknown)
    set(fault "unknown: ${unknown}. After the name come VERSION, SOURCES, COMPANIONS, URL and DESCRIPTION")
  elseif("${arg_VERSION}" STREQUAL "")
    set(fault "VERSION is missing: the version by which hosts choose the module, four numbers such as 2.0.0.46")
  elseif(NOT versionIsLegal)
    set(fault "VERSION ${arg_VERSION} is not four numbers of 0 to 65535 joined by dots, such as 2.0.0.46")
  elseif(NOT arg_SOURCES)
    set(fault "SOURCES are missing: name the source files; one of them defines createImpl")
  else()
    set(fault "")
  endif()
  set(${result} "${fault}" PARENT_SCOPE)
endfunction()

# Whether a text is four numbers that a version resource can hold.
function(zuvia_is_file_version text result)
  set(${result} FALSE PARENT_SCOPE)
  set(number "(0|[1-9][0-9]?[0-9]?[0-9]?[0-9]?)")
  if(text MATCHES "^${number}\\.${number}\\.${number}\\.${number}$")
    string(REPLACE "." ";" numbers "${text}")
    foreach(one IN LISTS numbers)
      if(one GREATER 65535)
        return()
      endif()
    endforeach()
    set(${result} TRUE PARENT_SCOPE)
  endif()
endfunction()

# Adds NAME_package, from the parsed arg_… of zuvia_add_implementation.
function(zuvia_add_package name)
  if(NOT arg_URL)
    zuvia_add_refusal(${name}_package "must know where hosts will find the package:"
      "configure with -DZUVIA_PACKAGE_URL=https://host/directory, or give zuvia_add_implementation a URL.")
    return()
  elseif(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
    zuvia_add_refusal(${name}_package "needs a way to run zupack.exe here:"
      "install Wine, or set CMAKE_CROSSCOMPILING_EMULATOR.")
    return()
  endif()

  set(additions "")
  set(files "")
  foreach(companion IN LISTS arg_COMPANIONS)
    zuvia_read_companion("${companion}")
    list(APPEND additions --add "${packedName}=${file}")
    list(APPEND files "${file}")
  endforeach()
  set(emulator "")
  if(CMAKE_CROSSCOMPILING)
    set(emulator ${CMAKE_CROSSCOMPILING_EMULATOR})
  endif()

  set(directory "${CMAKE_CURRENT_BINARY_DIR}/${name}_package")
  set(package "${directory}/zuimpl-${arg_VERSION}")
  add_custom_command(OUTPUT "${package}.7z" "${package}.json"
    COMMAND ${emulator} "$<TARGET_FILE:zuvia::zupack>" pack
      --module "$<TARGET_FILE:${name}>" ${additions} --url "${arg_URL}" --out "${directory}"
    DEPENDS ${name} zuvia::zupack ${files}
    COMMENT "Packing ${name} ${arg_VERSION}"
    VERBATIM)
  add_custom_target(${name}_package DEPENDS "${package}.7z" "${package}.json")
endfunction()

# Sets packedName and file of one of COMPANIONS in the caller.
function(zuvia_read_companion companion)
  if(TARGET "${companion}")
    set(packedName "$<TARGET_FILE_NAME:${companion}>")
    set(file "$<TARGET_FILE:${companion}>")
  else()
    set(file "${companion}")
    if(companion MATCHES "^([^=]+)=(.+)$")
      set(packedName "${CMAKE_MATCH_1}")
      set(file "${CMAKE_MATCH_2}")
    else()
      get_filename_component(packedName "${companion}" NAME)
    endif()
    get_filename_component(file "${file}" ABSOLUTE BASE_DIR "${CMAKE_CURRENT_SOURCE_DIR}")
  endif()
  set(packedName "${packedName}" PARENT_SCOPE)
  set(file "${file}" PARENT_SCOPE)
endfunction()

# zuvia_add_refusal(TARGET TEXT…): a target that cannot be built, and says why.
function(zuvia_add_refusal target)
  list(JOIN ARGN " " why)
  add_custom_target(${target}
    COMMAND "${CMAKE_COMMAND}" -E echo "${target} ${why}" COMMAND "${CMAKE_COMMAND}" -E false VERBATIM COMMENT "")
endfunction()
