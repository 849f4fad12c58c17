# Sets the run path of the installed libraries and tools, for libraries that the dynamic linker does not
# find by itself: Android's, which are in a folder of their own, and those of this installation when its
# prefix is not the system's.

# target_path(VARIABLE PATH): the path as the target knows it, which is without the system root.
function(target_path variable path)
  foreach(root ${CMAKE_SYSROOT} ${CMAKE_FIND_ROOT_PATH})
    cmake_path(IS_PREFIX root "${path}" NORMALIZE below)
    if(below AND NOT root STREQUAL "/")
      cmake_path(RELATIVE_PATH path BASE_DIRECTORY ${root})
      set(path /${path})
      break()
    endif()
  endforeach()
  set(${variable} ${path} PARENT_SCOPE)
endfunction()

target_path(android_include_dir ${ANDROID_INCLUDE_DIR})
target_path(android_library_dir ${ANDROID_LIBRARY_DIR})

# The folders that every dynamic linker searches need not be named.
set(searched /lib /usr/lib /lib64 /usr/lib64)
if(CMAKE_LIBRARY_ARCHITECTURE)
  list(APPEND searched /lib/${CMAKE_LIBRARY_ARCHITECTURE} /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
endif()
set(default ${android_library_dir})
if(default IN_LIST searched)
  set(default "")
endif()
set(ZRMIRVO_ANDROID_RPATH "${default}" CACHE STRING
  "The folder of the target in which Android's libraries are; empty where the loader finds them")

set(CMAKE_INSTALL_RPATH ${ZRMIRVO_ANDROID_RPATH})
set(library_run_path ${ZRMIRVO_ANDROID_RPATH})
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  list(PREPEND CMAKE_INSTALL_RPATH $ORIGIN/../${CMAKE_INSTALL_LIBDIR})
  list(PREPEND library_run_path $ORIGIN)
endif()
