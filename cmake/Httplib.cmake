# Finds the library that serves the emulator's page, as httplib::httplib. Debian's is a shared library
# without a CMake package; the definitions are those that it was built with.

find_path(HTTPLIB_INCLUDE_DIR httplib.h)
find_library(HTTPLIB_LIBRARY cpp-httplib)
if(NOT HTTPLIB_INCLUDE_DIR OR NOT HTTPLIB_LIBRARY)
  message(FATAL_ERROR "libcpp-httplib-dev is needed for the emulator's page, or -DZRMIRVO_PAGE=OFF")
endif()
find_package(Threads REQUIRED)
if(NOT TARGET httplib::httplib)
  add_library(httplib::httplib UNKNOWN IMPORTED)
  set_target_properties(httplib::httplib PROPERTIES
    IMPORTED_LOCATION ${HTTPLIB_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${HTTPLIB_INCLUDE_DIR}
    INTERFACE_LINK_LIBRARIES Threads::Threads
    INTERFACE_COMPILE_DEFINITIONS
    "CPPHTTPLIB_OPENSSL_SUPPORT;CPPHTTPLIB_ZLIB_SUPPORT;CPPHTTPLIB_BROTLI_SUPPORT")
endif()
