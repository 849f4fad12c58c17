# One set of flags for everything that is compiled here.

set(ZRMIRVO_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize takes them")
option(ZRMIRVO_FUZZ "Build the fuzzers (clang only)")
option(ZRMIRVO_COVERAGE "Count the lines and branches that the tests reach")

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
  -Wcast-qual -Woverloaded-virtual -Wformat=2 -Wundef -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # GoogleTest's macros are used without their last argument.
  add_compile_options(-Wthread-safety -Wno-gnu-zero-variadic-macro-arguments)
endif()

# The interface is checked from the debug information, which therefore describes every class in full.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo")
  add_compile_options(-femit-class-debug-always)
endif()

# A binary that was built must not differ because the folder that it was built in has another name.
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)

add_compile_options(-fstack-protector-strong)
if(NOT ZRMIRVO_SANITIZE AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()
add_link_options(LINKER:-z,relro,-z,now LINKER:-z,noexecstack LINKER:--as-needed)

if(ZRMIRVO_SANITIZE)
  add_compile_options(-fsanitize=${ZRMIRVO_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${ZRMIRVO_SANITIZE})
endif()
if(ZRMIRVO_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(ZRMIRVO_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
