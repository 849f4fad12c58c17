# Finds Android's utility and log libraries as Debian packages them. Their headers and libraries are in
# folders of their own. The dynamic linker does not search that of the libraries, so every binary here
# has it as its run path.
#
# The installed package includes this file, too, and works without the libraries (ANDROID_FOUND is false
# then).

find_path(ANDROID_INCLUDE_DIR utils/RefBase.h PATH_SUFFIXES android)
find_library(ANDROID_UTILS_LIBRARY utils PATH_SUFFIXES android)
find_library(ANDROID_LOG_LIBRARY log PATH_SUFFIXES android)
set(ANDROID_FOUND FALSE)
if(NOT ANDROID_INCLUDE_DIR OR NOT ANDROID_UTILS_LIBRARY OR NOT ANDROID_LOG_LIBRARY)
  return()
endif()
set(ANDROID_FOUND TRUE)
get_filename_component(ANDROID_LIBRARY_DIR ${ANDROID_UTILS_LIBRARY} DIRECTORY)

foreach(name utils log)
  if(TARGET android::${name})
    continue()
  endif()
  string(TOUPPER ANDROID_${name}_LIBRARY location)
  add_library(android::${name} SHARED IMPORTED)
  set_target_properties(android::${name} PROPERTIES
    IMPORTED_LOCATION ${${location}}
    INTERFACE_INCLUDE_DIRECTORIES ${ANDROID_INCLUDE_DIR}
    INTERFACE_SYSTEM_INCLUDE_DIRECTORIES ${ANDROID_INCLUDE_DIR}
    # libutils needs other libraries of its folder.
    INTERFACE_LINK_OPTIONS "LINKER:-rpath-link,${ANDROID_LIBRARY_DIR}")
endforeach()
