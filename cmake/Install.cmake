# `cmake --install` puts files into the folders below. They find each other by relative paths, so an
# installed folder can be moved; only Android's libraries stay where the system has them. No installed
# file names a folder of the machine that built it.
#
#   include/zrmirvo-MAJOR.MINOR/zrmirvo/              for applications
#   include/zrmirvo-MAJOR.MINOR/{accessory,protocol}/ for those who use the client proxies
#   lib/cmake/zrmirvo/, lib/pkgconfig/                zrmirvo::zrmirvo, zrmirvo::session,
#                                                     zrmirvo::proxies, zrmirvo::log
#
# `cmake --install FOLDER --component NAME` installs one of these alone:
#
#   runtime      the library, which is all that an application needs on the target
#   development  headers, CMake package, pkg-config files
#   standin      the framework, whose place the maker's takes on the target
#   tools        mirvo-doctor, mirvoctl
#   emulator     mirvo-emulator
#   recorder     the library that records, and mirvo-record

# The target `installed` builds what is installed, and neither tests nor examples.

include(CMakePackageConfigHelpers)

set(version ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(headers ${CMAKE_INSTALL_INCLUDEDIR}/zrmirvo-${version})
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/zrmirvo)

# A user of the proxies includes these headers, which include the others.
set(proxy_headers
  accessory/MVBluetoothConfig.h
  protocol/MVCodes.h
  protocol/MVDeviceRecords.h
  accessory/MVEvent.h
  accessory/MVTouchEvent.h
  accessory/Mirvo.h
  accessory/MirvoImpl.h
  accessory/MirvoManager.h
  accessory/MirvoManagerNotifier.h
  accessory/MirvoNotifier.h
  protocol/ProcessState.h
  protocol/ServiceContract.h
  protocol/ServiceFramework.h)

set_target_properties(zrmirvo PROPERTIES INSTALL_RPATH "${library_run_path}")

add_library(zrmirvo_proxies INTERFACE)
set_target_properties(zrmirvo_proxies PROPERTIES EXPORT_NAME proxies)
target_link_libraries(zrmirvo_proxies INTERFACE zrmirvo zrmirvo::service_framework android::utils)

add_library(zrmirvo_log INTERFACE)
set_target_properties(zrmirvo_log PROPERTIES EXPORT_NAME log)
target_link_libraries(zrmirvo_log INTERFACE android::log)

install(TARGETS zrmirvo zrmirvo_session zrmirvo_proxies zrmirvo_log EXPORT zrmirvo
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${headers})
if(ZRMIRVO_STANDIN)
  set_target_properties(service_framework PROPERTIES INSTALL_RPATH "${library_run_path}")
  # Programs that link the framework name its file, since the maker's may come without a link of another
  # name.
  install(TARGETS service_framework
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT standin NAMELINK_SKIP)
endif()

install(DIRECTORY api/zrmirvo session/zrmirvo DESTINATION ${headers} COMPONENT development
  FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_BINARY_DIR}/include/zrmirvo/Version.h DESTINATION ${headers}/zrmirvo
  COMPONENT development)
foreach(header ${proxy_headers})
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${headers}/${folder} COMPONENT development)
endforeach()

install(EXPORT zrmirvo NAMESPACE zrmirvo:: FILE zrmirvoTargets.cmake DESTINATION ${package}
  COMPONENT development)
configure_package_config_file(cmake/zrmirvoConfig.cmake.in zrmirvoConfig.cmake
  INSTALL_DESTINATION ${package} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(zrmirvoConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zrmirvoConfig.cmake
  ${PROJECT_BINARY_DIR}/zrmirvoConfigVersion.cmake cmake/Android.cmake DESTINATION ${package}
  COMPONENT development)

# What a pkg-config file says of Android's libraries. Where the dynamic linker does not search for
# them, a program that uses them needs the run path, too. A program that uses only the library does
# not: the linker finds them by the library's own run path, below its system root.
set(android_cflags "-isystem ${android_include_dir}")
set(android_libs -L${android_library_dir})
if(ZRMIRVO_ANDROID_RPATH)
  string(APPEND android_libs " -Wl,-rpath,${ZRMIRVO_ANDROID_RPATH}")
endif()
file(RELATIVE_PATH prefix_from_pc /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" prefix_from_pc ${prefix_from_pc})
foreach(name zrmirvo zrmirvo-session zrmirvo-proxies zrmirvo-log)
  configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)
endforeach()

set(manuals ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES docs/man/mirvo-doctor.1 DESTINATION ${manuals} COMPONENT tools)
if(ZRMIRVO_TOOLS)
  install(FILES docs/man/mirvoctl.1 DESTINATION ${manuals} COMPONENT tools)
  install(FILES docs/schema/mirvoctl.schema.json
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zrmirvo COMPONENT tools)
  install(FILES docs/man/mirvo-record.1 DESTINATION ${manuals} COMPONENT recorder)
endif()
if(ZRMIRVO_EMULATOR)
  install(FILES docs/man/mirvo-emulator.1 DESTINATION ${manuals} COMPONENT emulator)
  install(FILES docs/schema/mirvo-emulator.schema.json
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zrmirvo COMPONENT emulator)
endif()

add_custom_target(installed)
foreach(target zrmirvo service_framework mirvo-doctor mirvoctl mirvo-emulator zrmirvo_recorder mirvo-record)
  if(TARGET ${target})
    add_dependencies(installed ${target})
  endif()
endforeach()
