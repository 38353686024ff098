# Calls zuvia_add_implementation with ARGUMENTS. What is wrong with them is told before any target is added, which
# CMake does not do in a script: arguments that are in order end there.
include("${CMAKE_CURRENT_LIST_DIR}/../../cmake/zuvia_add_implementation.cmake")
zuvia_add_implementation(${ARGUMENTS})
