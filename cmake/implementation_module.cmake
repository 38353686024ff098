include("${CMAKE_CURRENT_LIST_DIR}/version_resource.cmake")

# zuvia_implementation_module(TARGET [VERSION a.b.c.d] SOURCES file…
#                             [OUTPUT_DIR dir] [LIBRARIES target…] [DESCRIPTION text] [PRODUCT name])
# An implementation module. The file is always named zuimpl.dll, so that every module needs a
# directory of its own: OUTPUT_DIR, or else one named after the target in the current binary
# directory. VERSION becomes the file version and, as a text, ZUIMPL_VERSION in the sources; without
# it the file has no version resource. Only what the sources mark is exported.
function(zuvia_implementation_module target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "VERSION;OUTPUT_DIR;DESCRIPTION;PRODUCT" "SOURCES;LIBRARIES")
  if(arg_UNPARSED_ARGUMENTS OR NOT arg_SOURCES)
    message(FATAL_ERROR "zuvia_implementation_module(${target}): SOURCES missing, or unknown: ${arg_UNPARSED_ARGUMENTS}")
  endif()
  if(NOT arg_OUTPUT_DIR)
    set(arg_OUTPUT_DIR "${CMAKE_CURRENT_BINARY_DIR}/${target}")
  endif()
  if(NOT arg_DESCRIPTION)
    set(arg_DESCRIPTION "zuvia implementation module")
  endif()

  add_library(${target} MODULE ${arg_SOURCES})
  target_link_libraries(${target} PRIVATE zuvia::interfaces ${arg_LIBRARIES})
  set_target_properties(${target} PROPERTIES
    PREFIX "" OUTPUT_NAME zuimpl SUFFIX .dll LIBRARY_OUTPUT_DIRECTORY "${arg_OUTPUT_DIR}")
  if(MINGW)
    # No host has the compiler's run-time libraries; a module that marks nothing exports nothing, instead of everything.
    target_link_options(${target} PRIVATE -static -Wl,--exclude-all-symbols)
  endif()
  if(arg_VERSION)
    target_compile_definitions(${target} PRIVATE "ZUIMPL_VERSION=\"${arg_VERSION}\"")
    zuvia_version_resource(${target}
      VERSION "${arg_VERSION}" DESCRIPTION "${arg_DESCRIPTION}" PRODUCT "${arg_PRODUCT}")
  endif()
endfunction()
