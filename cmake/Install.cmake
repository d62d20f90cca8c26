include(CMakePackageConfigHelpers)

set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/TorvaAPI)

install(TARGETS TorvaAPI EXPORT TorvaAPITargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(TARGETS TorvaAPIStatic EXPORT TorvaAPITargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  FILES_MATCHING PATTERN "Torva*.h" PATTERN "Torva*.hpp")

if(WIN32)
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/TorvaAPI.def ${TORVA_MSVC_LIBRARY}
    DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
endif()

install(EXPORT TorvaAPITargets NAMESPACE TorvaAPI:: DESTINATION ${packageDir} COMPONENT development)
configure_package_config_file(cmake/TorvaAPIConfig.cmake.in ${PROJECT_BINARY_DIR}/TorvaAPIConfig.cmake
  INSTALL_DESTINATION ${packageDir}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TorvaAPIConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/TorvaAPIConfig.cmake
    ${PROJECT_BINARY_DIR}/TorvaAPIConfigVersion.cmake
  DESTINATION ${packageDir} COMPONENT development)

# The prefix is told relative to the .pc file, so that an unpacked archive works wherever it lies.
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  set(pcPrefix ${CMAKE_INSTALL_PREFIX})
  set(pcLibdir ${CMAKE_INSTALL_LIBDIR})
else()
  file(RELATIVE_PATH up /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  string(REGEX REPLACE "/$" "" up "${up}")
  set(pcPrefix "\${pcfiledir}/${up}")
  set(pcLibdir "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
if(IS_ABSOLUTE ${CMAKE_INSTALL_INCLUDEDIR})
  set(pcIncludedir ${CMAKE_INSTALL_INCLUDEDIR})
else()
  set(pcIncludedir "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
configure_file(cmake/torvaapi.pc.in ${PROJECT_BINARY_DIR}/torvaapi.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/torvaapi.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

if(TARGET tvsym AND TORVA_BUILD_TOOLS)
  install(TARGETS tvsym RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
endif()
install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
