# Finds the library that edits lines at a prompt, as libedit::libedit.

find_path(LIBEDIT_INCLUDE_DIR histedit.h)
find_library(LIBEDIT_LIBRARY edit)
if(NOT LIBEDIT_INCLUDE_DIR OR NOT LIBEDIT_LIBRARY)
  message(FATAL_ERROR "libedit-dev is needed")
endif()
if(NOT TARGET libedit::libedit)
  add_library(libedit::libedit UNKNOWN IMPORTED)
  set_target_properties(libedit::libedit PROPERTIES
    IMPORTED_LOCATION ${LIBEDIT_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${LIBEDIT_INCLUDE_DIR})
endif()
