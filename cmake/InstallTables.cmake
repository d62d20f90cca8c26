# TorvaTables is installed separately: its own components, CMake package and pkg-config file.
set(tables tables)
set(tablesDevelopment tables_development)
if(NOT PROJECT_IS_TOP_LEVEL)
  set(tables torvaapi-tables)
  set(tablesDevelopment torvaapi-tables-development)
endif()
set(tablesPackageDir ${CMAKE_INSTALL_LIBDIR}/cmake/TorvaTables)

install(TARGETS TorvaTables EXPORT TorvaTablesTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${tables} ${excluded}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${tables} NAMELINK_COMPONENT ${tablesDevelopment} ${excluded}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${tablesDevelopment} ${excluded})
install(TARGETS TorvaTablesStatic EXPORT TorvaTablesTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${tablesDevelopment} ${excluded})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT ${tablesDevelopment} ${excluded}
  FILES_MATCHING PATTERN "TorvaTables.*" PATTERN "torva" EXCLUDE)
install(EXPORT TorvaTablesTargets NAMESPACE TorvaAPI:: DESTINATION ${tablesPackageDir}
  COMPONENT ${tablesDevelopment} ${excluded})
configure_package_config_file(cmake/TorvaTablesConfig.cmake.in ${PROJECT_BINARY_DIR}/TorvaTablesConfig.cmake
  INSTALL_DESTINATION ${tablesPackageDir}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TorvaTablesConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/TorvaTablesConfig.cmake
    ${PROJECT_BINARY_DIR}/TorvaTablesConfigVersion.cmake
  DESTINATION ${tablesPackageDir} COMPONENT ${tablesDevelopment} ${excluded})
configure_file(cmake/torvatables.pc.in ${PROJECT_BINARY_DIR}/torvatables.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/torvatables.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT ${tablesDevelopment} ${excluded})
