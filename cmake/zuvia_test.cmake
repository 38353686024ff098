include(GoogleTest)
find_package(GTest REQUIRED CONFIG)

# zuvia_test(NAME SOURCES file… [LIBRARIES target…] [PROPERTIES property value…])
# A GoogleTest program; every test of it runs in a process of its own. A program that crashed does not always
# say so in its exit status under Wine: a test passes when the program's own closing line was seen.
function(zuvia_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES;PROPERTIES")
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE zuvia_flags zuvia_test_main ${arg_LIBRARIES} GTest::gmock)
  target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/tests")
  gtest_discover_tests(${name}
    DISCOVERY_TIMEOUT 120
    PROPERTIES PASS_REGULAR_EXPRESSION "zuvia-test: passed" ${arg_PROPERTIES})
endfunction()
