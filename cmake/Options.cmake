# What is built, and so what is installed. Without any of these options everything is.
#
#   -DZRMIRVO_TOOLS=OFF -DZRMIRVO_STANDIN=OFF    the library alone, which needs neither CLI11 nor JSON
#   -DZRMIRVO_PAGE=OFF                           without the emulator's page, which needs cpp-httplib
#   -DZRMIRVO_FRAMEWORK_LIBRARY=PATH             linked against the maker's framework
#
# RunPath.cmake has one more, ZRMIRVO_ANDROID_RPATH, since its default depends on where Android's
# libraries were found. docs/porting.md describes all of them.

include(CMakeDependentOption)

option(ZRMIRVO_TOOLS "Build the tools, which need CLI11 and nlohmann-json" ON)
option(ZRMIRVO_STANDIN "Build the stand-in for the maker's framework" ON)
cmake_dependent_option(ZRMIRVO_EMULATOR "Build the emulated service" ON
  "ZRMIRVO_TOOLS;ZRMIRVO_STANDIN" OFF)
cmake_dependent_option(ZRMIRVO_PAGE "Build the emulator's page, which needs cpp-httplib" ON
  ZRMIRVO_EMULATOR OFF)
set(ZRMIRVO_FRAMEWORK_LIBRARY "" CACHE FILEPATH
  "The maker's libservice_framework_1_0.so.1, without the stand-in; empty: only its symbols' names")

# The tests need the stand-in and the emulated service.
set(everything OFF)
if(ZRMIRVO_EMULATOR)
  set(everything ON)
endif()
option(BUILD_TESTING "Build the tests and benchmarks" ${everything})
if(BUILD_TESTING AND NOT everything)
  message(FATAL_ERROR "The tests need the tools, the stand-in and the emulated service:"
    " give -DBUILD_TESTING=OFF, or leave ZRMIRVO_TOOLS, ZRMIRVO_STANDIN and ZRMIRVO_EMULATOR on.")
endif()
if(ZRMIRVO_STANDIN AND ZRMIRVO_FRAMEWORK_LIBRARY)
  message(FATAL_ERROR "ZRMIRVO_FRAMEWORK_LIBRARY takes the place of the stand-in:"
    " give -DZRMIRVO_STANDIN=OFF with it.")
endif()
