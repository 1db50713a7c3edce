# SPDX-License-Identifier: Apache-2.0
# Debian packages, one for each component: cpack --config build/release/CPackConfig.cmake
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "Kestro developers <kestro@kestro.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

# Each package has a summary of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SOURCE kestro)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libkestro1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# Where CPack itself looks into libraries, it adds scripts that run ldconfig. In Debian a trigger does
# that; finish.cmake asks for the dependencies instead.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS OFF)
file(CONFIGURE OUTPUT debian/shlibs CONTENT "libkestro 1 libkestro1 (>= @PROJECT_VERSION@)\n" @ONLY)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/cmake/debian/triggers ${PROJECT_BINARY_DIR}/debian/shlibs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "SDK for network ID-reading cameras - library
Finds GigE Vision cameras that read bar codes and QR codes by themselves,
connects to them, sets them up through their features, and delivers every
frame with its picture and the codes that were read.
.
This package has the library that programs need to run.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkestro-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "SDK for network ID-reading cameras - development files
Finds GigE Vision cameras that read bar codes and QR codes by themselves,
connects to them, sets them up through their features, and delivers every
frame with its picture and the codes that were read.
.
This package has what building programs needs: the headers of the C++ and of
the C interface, what CMake and pkg-config find them with, and examples.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME kestro-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "program for network ID-reading cameras
Finds GigE Vision cameras that read bar codes and QR codes by themselves,
shows and sets their features, prints the codes that they read, saves their
pictures, and runs simulated ones.
.
The package raises the kernel's limit for receive buffers of sockets
(net.core.rmem_max) from the next boot on.")

set(CPACK_KESTRO_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_KESTRO_LIBDIR ${CMAKE_INSTALL_LIBDIR})
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/finish.cmake)
include(CPack)
