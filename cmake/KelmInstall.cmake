# cmake --install: headers, the library (with the Windows runtime DLLs beside
# it), a CMake package (find_package(kelm CONFIG) -> kelm::kelm) and a
# pkg-config file.
include(CMakePackageConfigHelpers)

set_target_properties(kelm PROPERTIES EXPORT_NAME kelm)
install(TARGETS kelm EXPORT kelmTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/kelm/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kelm
  FILES_MATCHING PATTERN "*.h"
  PATTERN "*_posix.h" EXCLUDE
  PATTERN "testing" EXCLUDE
  PATTERN "internal" EXCLUDE)
if(WIN32)
  install(FILES ${KELM_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

set(kelm_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kelm)
install(EXPORT kelmTargets NAMESPACE kelm:: DESTINATION ${kelm_cmake_dir})
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/kelmConfig.cmake.in
  ${CMAKE_BINARY_DIR}/kelmConfig.cmake INSTALL_DESTINATION ${kelm_cmake_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/kelmConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/kelmConfig.cmake ${CMAKE_BINARY_DIR}/kelmConfigVersion.cmake
  DESTINATION ${kelm_cmake_dir})

configure_file(${CMAKE_SOURCE_DIR}/cmake/kelm.pc.in ${CMAKE_BINARY_DIR}/kelm.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/kelm.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
