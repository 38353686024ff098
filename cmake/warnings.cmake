# zuvia_flags: what every target of the project is compiled with.
add_library(zuvia_flags INTERFACE)
target_compile_features(zuvia_flags INTERFACE cxx_std_20)

if(MSVC)
  target_compile_options(zuvia_flags INTERFACE /W4 /WX /permissive- /utf-8 /Zc:__cplusplus)
  target_compile_definitions(zuvia_flags INTERFACE NOMINMAX _CRT_RAND_S _WIN32_WINNT=0x0A00)
else()
  target_compile_options(zuvia_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
    # GCC 12 sees overlapping copies in assignments of literals to strings where there are none.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
    # No path of the machine that builds stays in a program.
    "-ffile-prefix-map=${CMAKE_SOURCE_DIR}=."
    -ffunction-sections -fdata-sections)
endif()

if(MINGW)
  # Nothing to install beside a program: the compiler's run-time libraries are linked in.
  target_link_options(zuvia_flags INTERFACE -static -Wl,--gc-sections)
  # The release ships without symbols; a checked build keeps them for its reports.
  if(NOT ZUVIA_CHECKED)
    target_link_options(zuvia_flags INTERFACE -s)
  endif()
endif()

if(ZUVIA_CHECKED)
  target_compile_definitions(zuvia_flags INTERFACE _GLIBCXX_ASSERTIONS)
  target_compile_options(zuvia_flags INTERFACE
    -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fsanitize=undefined -fsanitize-undefined-trap-on-error)
  target_link_libraries(zuvia_flags INTERFACE ssp)
endif()

if(ZUVIA_SANITIZE)
  target_compile_options(zuvia_flags INTERFACE
    "-fsanitize=${ZUVIA_SANITIZE}" -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(zuvia_flags INTERFACE "-fsanitize=${ZUVIA_SANITIZE}")
endif()

# zuvia_counted: what the objects of the front module are compiled and linked with. Only they are counted: the
# rest then comes from the compiler's cache.
add_library(zuvia_counted INTERFACE)
if(ZUVIA_COVERAGE)
  target_compile_options(zuvia_counted INTERFACE --coverage -fprofile-update=atomic -O0)
  target_link_libraries(zuvia_counted INTERFACE gcov)
endif()
