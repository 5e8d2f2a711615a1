include(CMakePackageConfigHelpers)

set(OSTRA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Ostra)
install(EXPORT OstraTargets NAMESPACE Ostra:: DESTINATION ${OSTRA_CMAKE_DIR} COMPONENT development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/OstraConfig.cmake.in ${CMAKE_BINARY_DIR}/OstraConfig.cmake
  INSTALL_DESTINATION ${OSTRA_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/OstraConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/OstraConfig.cmake ${CMAKE_BINARY_DIR}/OstraConfigVersion.cmake
  DESTINATION ${OSTRA_CMAKE_DIR} COMPONENT development)

# Relative, so that the package works below any --prefix.
file(RELATIVE_PATH OSTRA_PC_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(${CMAKE_CURRENT_LIST_DIR}/ostra.pc.in ${CMAKE_BINARY_DIR}/ostra.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/ostra.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

install(FILES README.md CHANGELOG.md docs/guide.md docs/formats.md docs/performance.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
