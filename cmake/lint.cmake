# What is checked about the text of the project: tests with the label "lint", run last by `./zuvia test`.
# clang-tidy reads a source again only when it or something that it includes has changed.

set(lintDatabase "${CMAKE_BINARY_DIR}/lint")
file(MAKE_DIRECTORY "${lintDatabase}")

# Options of GCC that clang does not know are left out of what it reads.
add_custom_target(zuvia_lint_database
  COMMAND sed "s/ -fno-lifetime-dse//g" "${CMAKE_BINARY_DIR}/compile_commands.json" > "${lintDatabase}/compile_commands.json"
  VERBATIM)

file(GLOB_RECURSE lintSources CONFIGURE_DEPENDS
  "${CMAKE_SOURCE_DIR}/src/*.cpp" "${CMAKE_SOURCE_DIR}/host/*.cpp"
  "${CMAKE_SOURCE_DIR}/tools/*.cpp" "${CMAKE_SOURCE_DIR}/sample/*.cpp")
foreach(source IN LISTS lintSources)
  file(RELATIVE_PATH name "${CMAKE_SOURCE_DIR}" "${source}")
  set(stamp "${lintDatabase}/${name}.ok")
  get_filename_component(directory "${stamp}" DIRECTORY)
  file(MAKE_DIRECTORY "${directory}")
  add_custom_command(OUTPUT "${stamp}"
    COMMAND "${CMAKE_SOURCE_DIR}/scripts/tidy" "${source}" "${lintDatabase}" "${stamp}"
    DEPENDS "${source}" "${CMAKE_SOURCE_DIR}/.clang-tidy" "${CMAKE_SOURCE_DIR}/scripts/tidy" zuvia_lint_database
    DEPFILE "${stamp}.d"
    COMMENT "Reading ${name}"
    VERBATIM)
  list(APPEND lintStamps "${stamp}")
endforeach()
add_custom_target(zuvia_tidy DEPENDS ${lintStamps})

add_test(NAME Lint.Tidy COMMAND "${CMAKE_COMMAND}" --build "${CMAKE_BINARY_DIR}" --target zuvia_tidy --parallel 2 -- -k 0)
foreach(check IN ITEMS Docs Format Includes Messages Paths Portability Shell)
  string(TOLOWER ${check} script)
  add_test(NAME Lint.${check} COMMAND "${CMAKE_SOURCE_DIR}/scripts/check-${script}" "${CMAKE_SOURCE_DIR}")
endforeach()
add_test(NAME Lint.ChecksCatch COMMAND "${CMAKE_SOURCE_DIR}/scripts/test-checks")
set_tests_properties(Lint.Tidy Lint.Docs Lint.Format Lint.Includes Lint.Messages Lint.Paths Lint.Portability Lint.Shell
  Lint.ChecksCatch PROPERTIES LABELS lint TIMEOUT 3600)
