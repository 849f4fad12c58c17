# Everything is compiled with the same flags.

set(ZRMIRVO_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize takes them")
option(ZRMIRVO_FUZZ "Build the fuzzers (clang only)")
option(ZRMIRVO_COVERAGE "Count the lines and branches that the tests reach")

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
  -Wcast-qual -Woverloaded-virtual -Wformat=2 -Wundef)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # The tests use GoogleTest's macros without their last argument.
  add_compile_options(-Wthread-safety -Wno-gnu-zero-variadic-macro-arguments)
endif()

# scripts/checks/abi reads the interface from the debug information, which has to describe every class.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo")
  add_compile_options(-femit-class-debug-always)
endif()

# A binary must not differ because the folders that it was built in have other names, and it names
# none of them.
add_compile_options(-ffile-prefix-map=${PROJECT_BINARY_DIR}=build
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
if(CMAKE_SYSROOT)
  add_compile_options(-ffile-prefix-map=${CMAKE_SYSROOT}=)
endif()

# These are the defences that this compiler has for this processor. An ELF file is marked as having
# landing pads in all of its code only where the target's start files have them, too. We never tell the
# linker to set the marks anyway.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
add_compile_options(-fstack-protector-strong)
check_cxx_compiler_flag(-fstack-clash-protection ZRMIRVO_HAS_STACK_CLASH_PROTECTION)
if(ZRMIRVO_HAS_STACK_CLASH_PROTECTION)
  add_compile_options(-fstack-clash-protection)
endif()
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)")
  check_cxx_compiler_flag(-mbranch-protection=standard ZRMIRVO_HAS_BRANCH_PROTECTION)
  if(ZRMIRVO_HAS_BRANCH_PROTECTION)
    add_compile_options(-mbranch-protection=standard)
  endif()
endif()
if(NOT ZRMIRVO_SANITIZE AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  # The C library warns about a level that the compiler cannot give.
  set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
  check_cxx_source_compiles("#include <cstring>\nint main() {}" ZRMIRVO_HAS_FORTIFY_3)
  unset(CMAKE_REQUIRED_FLAGS)
  set(level 2)
  if(ZRMIRVO_HAS_FORTIFY_3)
    set(level 3)
  endif()
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=${level})
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
