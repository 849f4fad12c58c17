# Where the installed libraries and tools look for the libraries that the dynamic linker does not
# find by itself: Android's, in a folder of their own, and this installation's when its prefix is not
# the system's.
set(CMAKE_INSTALL_RPATH ${ANDROID_LIBRARY_DIR})
set(library_run_path ${ANDROID_LIBRARY_DIR})
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  list(PREPEND CMAKE_INSTALL_RPATH $ORIGIN/../${CMAKE_INSTALL_LIBDIR})
  list(PREPEND library_run_path $ORIGIN)
endif()
