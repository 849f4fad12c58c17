# What `cmake --install` puts where. Everything is found relative to its own place, so that an
# installed folder can be moved; only Android's libraries are where the system has them.
#
#   include/zrmirvo-MAJOR.MINOR/zrmirvo/              for applications
#   include/zrmirvo-MAJOR.MINOR/{accessory,protocol}/ for those who use the client proxies
#   lib/cmake/zrmirvo/, lib/pkgconfig/                zrmirvo::zrmirvo, zrmirvo::session,
#                                                     zrmirvo::proxies, zrmirvo.pc, …

include(CMakePackageConfigHelpers)

set(version ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(headers ${CMAKE_INSTALL_INCLUDEDIR}/zrmirvo-${version})
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/zrmirvo)

# The headers that a user of the proxies includes, and what those include.
set(proxy_headers
  accessory/MVBluetoothConfig.h
  protocol/MVCodes.h
  protocol/MVDeviceRecords.h
  accessory/MVEvent.h
  accessory/Mirvo.h
  accessory/MirvoImpl.h
  accessory/MirvoManager.h
  accessory/MirvoManagerNotifier.h
  accessory/MirvoNotifier.h
  protocol/ProcessState.h
  protocol/ServiceContract.h
  protocol/ServiceFramework.h)

set_target_properties(zrmirvo service_framework PROPERTIES INSTALL_RPATH "${library_run_path}")

add_library(zrmirvo_proxies INTERFACE)
set_target_properties(zrmirvo_proxies PROPERTIES EXPORT_NAME proxies)
target_link_libraries(zrmirvo_proxies INTERFACE zrmirvo service_framework android::utils)

install(TARGETS zrmirvo zrmirvo_session service_framework zrmirvo_proxies EXPORT zrmirvo
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${headers})
install(DIRECTORY api/zrmirvo session/zrmirvo DESTINATION ${headers} FILES_MATCHING PATTERN "*.h")
foreach(header ${proxy_headers})
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${headers}/${folder})
endforeach()

install(EXPORT zrmirvo NAMESPACE zrmirvo:: FILE zrmirvoTargets.cmake DESTINATION ${package})
configure_package_config_file(cmake/zrmirvoConfig.cmake.in zrmirvoConfig.cmake
  INSTALL_DESTINATION ${package} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(zrmirvoConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zrmirvoConfig.cmake
  ${PROJECT_BINARY_DIR}/zrmirvoConfigVersion.cmake DESTINATION ${package})
install(FILES cmake/Android.cmake DESTINATION ${package})

file(RELATIVE_PATH prefix_from_pc /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" prefix_from_pc ${prefix_from_pc})
configure_file(cmake/zrmirvo.pc.in zrmirvo.pc @ONLY)
configure_file(cmake/zrmirvo-proxies.pc.in zrmirvo-proxies.pc @ONLY)
configure_file(cmake/zrmirvo-session.pc.in zrmirvo-session.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zrmirvo.pc ${PROJECT_BINARY_DIR}/zrmirvo-proxies.pc
  ${PROJECT_BINARY_DIR}/zrmirvo-session.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES docs/man/mirvo-emulator.1 docs/man/mirvoctl.1
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
