# The installed files, and how other projects find them. A header that is not listed here is private.
# A listed header includes only listed ones; tests/install compiles each against an installed tree.

include(CMakePackageConfigHelpers)

# Add public headers to `target`. They have the same #include line in the tree and installed.
function(kwlookup_public_headers target)
  target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${ARGN})
endfunction()

kwlookup_public_headers(kwlog
  host/KwExport.h
  host/LogClass.h
  host/LogText.h
  kwlog/Logging.h)

kwlookup_public_headers(kwlookup
  conf/ConfParser.h
  conf/IfConfParser.h
  host/IfConfLoader.h
  host/InterfaceConfHolder.h
  host/KwStorageValuesMap.h
  lookup/BatchStorage.h
  lookup/KwFactory.h
  lookup/FetchedKeys.h
  lookup/FinderKeys.h
  lookup/KwIfLookup.h
  lookup/KwIfObject.h
  lookup/KwIfSharedLookup.h
  lookup/KwIfSharedObject.h
  lookup/KwIfSharedStorage.h
  lookup/KwIfStorage.h
  lookup/KeyedFinder.h
  lookup/KwLookupFinder.h
  lookup/KwLookupHolder.h
  lookup/KwStorageHolder.h
  lookup/PluginFigures.h
  lookup/PluginVersion.h
  lookup/builtin/KwDomainsLookup.h
  lookup/builtin/KwFileLookup.h
  lookup/builtin/KwStrLookup.h
  lookup/builtin/KwVectorStrLookup.h
  lookup/config/KwLookupAndStorageWithConfig.h
  lookup/config/KwLookupSharedConf.h
  lookup/config/KwLookupWithConfig.h
  lookup/config/Parameter.h
  lookup/config/ParameterKind.h
  lookup/config/PluginLookup.h
  lookup/config/QueryTemplate.h
  lookup/config/SearchTime.h
  lookup/config/TypeConfig.h
  lookup/config/Values.h
  objects/KwObjectHolder.h
  sql/KwSQLParser.h
  sql/Utf8String.h)

kwlookup_public_headers(kwhost
  kwhost/AddressFinder.h
  kwhost/ConfFile.h
  kwhost/ConfFileLoader.h)

# Each component is a package of the same name, see debian/.
install(TARGETS kwlog kwlookup kwhost EXPORT kwlookupTargets
  LIBRARY COMPONENT libkwlookup1 NAMELINK_COMPONENT libkwlookup-dev
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kwlookup COMPONENT libkwlookup-dev)
install(TARGETS kwlookup_tool COMPONENT kwlookup)
install(FILES tools/kwlookup/kwlookup.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT kwlookup)
install(FILES lookup/config/kw_lookup.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT kwlookup)
install(FILES LICENSE NEWS README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT kwlookup)

install(TARGETS kwlookupd COMPONENT kwlookupd)
install(FILES tools/kwlookupd/kwlookupd.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8
  COMPONENT kwlookupd)
install(FILES tools/kwlookupd/kwlookupd.conf.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5
  COMPONENT kwlookupd)
configure_file(tools/kwlookupd/systemd/kwlookupd.service.in kwlookupd.service @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kwlookupd.service tools/kwlookupd/systemd/kwlookupd.socket
  DESTINATION lib/systemd/system COMPONENT kwlookupd)
configure_file(tools/kwlookupd/systemd/kwlookupd-user.service.in kwlookupd-user.service @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kwlookupd-user.service
  DESTINATION lib/systemd/user RENAME kwlookupd.service COMPONENT kwlookupd)
foreach(kind sysusers tmpfiles)
  install(FILES tools/kwlookupd/systemd/${kind}.conf DESTINATION lib/${kind}.d
    RENAME kwlookupd.conf COMPONENT kwlookupd)
endforeach()

install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT libkwlookup-dev
  FILES_MATCHING PATTERN "*.md" PATTERN site EXCLUDE)
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT libkwlookup-dev)

# find_package(kwlookup)
set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kwlookup)
install(EXPORT kwlookupTargets NAMESPACE kwlookup:: DESTINATION ${config_dir}
  COMPONENT libkwlookup-dev)
configure_package_config_file(cmake/kwlookupConfig.cmake.in kwlookupConfig.cmake
  INSTALL_DESTINATION ${config_dir} PATH_VARS KWLOOKUP_INSTALL_PLUGIN_DIR)
write_basic_package_version_file(kwlookupConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/kwlookupConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/kwlookupConfigVersion.cmake
  DESTINATION ${config_dir} COMPONENT libkwlookup-dev)

# pkg-config. The files have directories relative to themselves, so that a tree can be moved.
file(RELATIVE_PATH include_from_pc
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR})
foreach(name kwlookup kwhost)
  configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT libkwlookup-dev)
endforeach()
