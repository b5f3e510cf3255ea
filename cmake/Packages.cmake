# CPack: `cpack -G TZST` makes an archive that can be unpacked anywhere, and `cpack -G RPM` a package
# of each component. debian/ has the packages for Debian.
set(CPACK_PACKAGE_VENDOR "the libkwlookup developers")
set(CPACK_PACKAGE_CONTACT "${CPACK_PACKAGE_VENDOR}")
set(CPACK_PACKAGE_DESCRIPTION_FILE ${PROJECT_SOURCE_DIR}/README.md)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
set(CPACK_PACKAGE_CHECKSUM SHA256)

set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_LICENSE MIT)
set(CPACK_RPM_PACKAGE_RELEASE 1)
# rpm computes what each file needs and provides.
set(CPACK_RPM_PACKAGE_AUTOREQPROV ON)
get_cmake_property(components COMPONENTS)
foreach(component IN LISTS components)
  string(TOUPPER ${component} upper)
  set(CPACK_RPM_${upper}_PACKAGE_NAME ${component})
  set(CPACK_RPM_${upper}_PACKAGE_SUMMARY "${PROJECT_DESCRIPTION}: ${component}")
endforeach()
set(CPACK_RPM_LIBKWLOOKUP-DEV_PACKAGE_NAME libkwlookup-devel)
set(CPACK_RPM_LIBKWLOOKUP-DEV_PACKAGE_REQUIRES
  "libkwlookup1 = ${PROJECT_VERSION}, boost-devel")
include(CPack)
