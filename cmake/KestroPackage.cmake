# SPDX-License-Identifier: Apache-2.0
# What other projects find the installed library with: a CMake package and a pkg-config file. Both
# know their place only relative to themselves, so that an installation can be moved.
include(CMakePackageConfigHelpers)

set(KESTRO_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kestro)
configure_package_config_file(cmake/kestro-config.cmake.in ${PROJECT_BINARY_DIR}/kestro-config.cmake
    INSTALL_DESTINATION ${KESTRO_CMAKE_DIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kestro-config-version.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kestro-config.cmake ${PROJECT_BINARY_DIR}/kestro-config-version.cmake
    DESTINATION ${KESTRO_CMAKE_DIR} COMPONENT development)
install(EXPORT kestro-targets NAMESPACE kestro:: DESTINATION ${KESTRO_CMAKE_DIR} COMPONENT development)

file(RELATIVE_PATH KESTRO_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" KESTRO_PC_TO_PREFIX "${KESTRO_PC_TO_PREFIX}")
configure_file(cmake/kestro.pc.in kestro.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kestro.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
# Not what somebody has built of them there.
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development
    FILES_MATCHING REGEX "/examples/[^/]*\\.(c|cpp|md|txt)$" PATTERN build EXCLUDE)
install(FILES examples/SDKLOG_default.properties
    DESTINATION ${CMAKE_INSTALL_DATADIR}/kestro COMPONENT tools)
