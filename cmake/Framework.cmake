# The framework that the library is linked against, as zrmirvo::service_framework: the stand-in, the
# maker's library or, where there is neither, one of the same soname that holds the names of the
# symbols and is never installed. It is an imported target in every case, so that what is installed
# refers to whichever framework is found later, and not to the one that was there at the build.

add_library(zrmirvo::service_framework SHARED IMPORTED GLOBAL)
set(framework_file libservice_framework_1_0.so.1)

if(ZRMIRVO_STANDIN)
  set(location ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/${framework_file})
  add_dependencies(zrmirvo::service_framework service_framework)
elseif(ZRMIRVO_FRAMEWORK_LIBRARY)
  set(location ${ZRMIRVO_FRAMEWORK_LIBRARY})
  if(NOT EXISTS ${location})
    message(FATAL_ERROR "ZRMIRVO_FRAMEWORK_LIBRARY: there is no ${location}.")
  endif()
else()
  set(location ${PROJECT_BINARY_DIR}/symbols/${framework_file})
  add_library(framework_symbols SHARED cmake/FrameworkSymbols.cpp)
  set_target_properties(framework_symbols PROPERTIES
    OUTPUT_NAME service_framework_1_0
    SOVERSION 1
    CXX_VISIBILITY_PRESET default
    LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/symbols)
  target_include_directories(framework_symbols PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(framework_symbols PRIVATE android::utils)
  add_dependencies(zrmirvo::service_framework framework_symbols)
endif()

set_target_properties(zrmirvo::service_framework PROPERTIES
  IMPORTED_LOCATION ${location}
  IMPORTED_SONAME ${framework_file})
