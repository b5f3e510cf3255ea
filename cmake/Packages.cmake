# CPack: `cpack -G TZST` makes an archive that can be unpacked anywhere, and `cpack -G RPM` a package
# of each component. debian/ has the packages for Debian.
set(CPACK_PACKAGE_VENDOR "the libkwlookup developers")
set(CPACK_PACKAGE_CONTACT "${CPACK_PACKAGE_VENDOR}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_STRIP_FILES ON)

set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_LICENSE MIT)
set(CPACK_RPM_PACKAGE_RELEASE 1)
# rpm computes what each file needs and provides.
set(CPACK_RPM_PACKAGE_AUTOREQPROV ON)
set(CPACK_RPM_PACKAGE_GROUP "System/Servers")
# Folders of the system, which other packages own.
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
  /usr/share/man /usr/share/man/man1 /usr/share/man/man5 /usr/share/man/man8)

# The packages for Debian have the same names and say what they are for.
file(READ ${PROJECT_SOURCE_DIR}/debian/control control)
string(REPLACE "\n\n" ";" control "${control}")
foreach(paragraph IN LISTS control)
  if(paragraph MATCHES "(^|\n)Package: ([^\n]+)")
    string(TOUPPER ${CMAKE_MATCH_2} upper)
    set(CPACK_RPM_${upper}_PACKAGE_NAME ${CMAKE_MATCH_2})
    string(REGEX MATCH "\nDescription: ([^\n]+)\n (.*)$" description "${paragraph}")
    set(summary ${CMAKE_MATCH_1})
    string(REGEX REPLACE "\n \\.?" "\n" text "${CMAKE_MATCH_2}")
    string(SUBSTRING ${summary} 0 1 first)
    string(TOUPPER ${first} first)
    string(REGEX REPLACE "^." ${first} CPACK_RPM_${upper}_PACKAGE_SUMMARY ${summary})
    string(STRIP "${text}" CPACK_RPM_${upper}_PACKAGE_DESCRIPTION)
  endif()
endforeach()
file(WRITE ${CMAKE_BINARY_DIR}/run_ldconfig "/sbin/ldconfig\n")
set(CPACK_RPM_LIBKWLOOKUP1_POST_INSTALL_SCRIPT_FILE ${CMAKE_BINARY_DIR}/run_ldconfig)
set(CPACK_RPM_LIBKWLOOKUP1_POST_UNINSTALL_SCRIPT_FILE ${CMAKE_BINARY_DIR}/run_ldconfig)
set(CPACK_RPM_LIBKWLOOKUP-DEV_PACKAGE_NAME libkwlookup-devel)
set(CPACK_RPM_LIBKWLOOKUP-DEV_PACKAGE_REQUIRES
  "libkwlookup1 = ${PROJECT_VERSION}, boost-devel")
set(CPACK_RPM_LIBKWLOOKUP-DEV_PACKAGE_GROUP "Development/Libraries/C and C++")
include(CPack)
