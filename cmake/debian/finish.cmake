# SPDX-License-Identifier: Apache-2.0
# Makes of each installed component what Debian expects in a package. CPack runs it before it packs.
cmake_minimum_required(VERSION 3.25)

if(NOT CPACK_KESTRO_LIBDIR MATCHES "/.+-linux-")
    message(FATAL_ERROR "Libraries would go to /usr/${CPACK_KESTRO_LIBDIR}. Packages are made from a "
        "build folder on Debian that is configured without CMAKE_INSTALL_PREFIX and CMAKE_INSTALL_LIBDIR.")
endif()

# The time of the last change is the time of everything in the packages: made again, they are the same.
# Where git does not tell it, the changelog's is near.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
    execute_process(COMMAND git log -1 --format=%ct WORKING_DIRECTORY ${CPACK_KESTRO_SOURCE_DIR}
        OUTPUT_VARIABLE time OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    if(NOT time)
        file(TIMESTAMP ${CPACK_KESTRO_SOURCE_DIR}/CHANGELOG.md time %s)
    endif()
    set(ENV{SOURCE_DATE_EPOCH} ${time})
endif()

# This version's part of CHANGELOG.md, in the format of Debian's changelogs.
function(write_changelog path)
    file(READ ${CPACK_KESTRO_SOURCE_DIR}/CHANGELOG.md text)
    string(FIND "${text}" "\n## ${CPACK_PACKAGE_VERSION} " begin)
    if(begin LESS 0)
        message(FATAL_ERROR "CHANGELOG.md has nothing about ${CPACK_PACKAGE_VERSION}")
    endif()
    string(SUBSTRING "${text}" ${begin} -1 text)
    string(REGEX REPLACE "^\n## [^\n]*\n+" "" text "${text}")
    string(REGEX REPLACE "\n## .*" "\n" text "${text}")
    string(REGEX REPLACE "\n  " "\n    " text "\n${text}")
    string(REGEX REPLACE "\n- " "\n  * " text "${text}")
    string(REGEX REPLACE "\n### ([^\n]*)" "\n  [ \\1 ]" text "${text}")
    string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
    file(WRITE ${path}.wide "kestro (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium\n"
        "${text}\n -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")
    execute_process(COMMAND fmt --tagged-paragraph --width=80 ${path}.wide OUTPUT_FILE ${path}
        COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE ${path}.wide)
endfunction()

function(finish component package)
    set(root ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component})
    set(doc ${root}/usr/share/doc/${package})
    if(EXISTS ${root}/usr/share/doc/kestro)
        file(RENAME ${root}/usr/share/doc/kestro ${doc})
    endif()
    file(REMOVE ${doc}/LICENSE)  # the copyright tells where Debian has it
    file(COPY ${CPACK_KESTRO_SOURCE_DIR}/cmake/debian/copyright DESTINATION ${doc})
    write_changelog(${doc}/changelog)
    file(GLOB texts ${doc}/changelog ${root}/usr/share/man/man*/*)
    execute_process(COMMAND gzip -9n ${texts} COMMAND_ERROR_IS_FATAL ANY)
    # A folder that the loader searches anyway.
    if(EXISTS ${root}/usr/bin/kestro)
        file(RPATH_REMOVE FILE ${root}/usr/bin/kestro)
    endif()
    execute_process(COMMAND chmod -R u=rwX,go=rX ${root} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    finish(${component} ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
endforeach()

# CPack reads the variable after this. A folder DEBIAN is the mark of a package's root.
set(root ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/runtime)
file(MAKE_DIRECTORY ${root}/DEBIAN)
file(WRITE ${root}/debian/control "")
file(GLOB library RELATIVE ${root} ${root}/usr/${CPACK_KESTRO_LIBDIR}/*.so.*.*)
execute_process(COMMAND dpkg-shlibdeps -O ${library} WORKING_DIRECTORY ${root}
    OUTPUT_VARIABLE depends OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE_RECURSE ${root}/DEBIAN ${root}/debian)
string(REGEX REPLACE "^shlibs:Depends=" "" CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${depends}")
