# In a project that adds this one the rules exist, so that the export sets of that project may refer to the library's
# targets, but only `cmake --install DIR --component torvaapi-library` (or torvaapi-development) runs them, unless
# TORVA_INSTALL is on.
include(CMakePackageConfigHelpers)

set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/TorvaAPI)
set(library library)
set(development development)
set(excluded)
if(NOT PROJECT_IS_TOP_LEVEL)
  set(library torvaapi-library)
  set(development torvaapi-development)
endif()
if(NOT TORVA_INSTALL)
  set(excluded EXCLUDE_FROM_ALL)
endif()

install(TARGETS TorvaAPI EXPORT TorvaAPITargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${library} ${excluded}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${library} NAMELINK_COMPONENT ${development} ${excluded}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${development} ${excluded})
install(TARGETS TorvaAPIStatic TorvaValues EXPORT TorvaAPITargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${development} ${excluded})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT ${development} ${excluded}
  FILES_MATCHING PATTERN "Torva*.h" PATTERN "Torva*.hpp" PATTERN "TorvaTables.*" EXCLUDE
  PATTERN torva EXCLUDE)
install(FILES ${PROJECT_BINARY_DIR}/include/TorvaAPI.hpp
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT ${development} ${excluded})

if(WIN32)
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/TorvaAPI.def ${TORVA_MSVC_LIBRARY}
    DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${development} ${excluded})
endif()

install(EXPORT TorvaAPITargets NAMESPACE TorvaAPI:: DESTINATION ${packageDir} COMPONENT ${development} ${excluded})
# The C++ runtime that TorvaValues and the static library need when a C compiler links the host.
set(TORVA_RUNTIME ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
list(FILTER TORVA_RUNTIME INCLUDE REGEX "^(stdc\\+\\+|c\\+\\+|c\\+\\+abi|m)$")
list(REMOVE_DUPLICATES TORVA_RUNTIME)
configure_package_config_file(cmake/TorvaAPIConfig.cmake.in ${PROJECT_BINARY_DIR}/TorvaAPIConfig.cmake
  INSTALL_DESTINATION ${packageDir}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TorvaAPIConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/TorvaAPIConfig.cmake
    ${PROJECT_BINARY_DIR}/TorvaAPIConfigVersion.cmake
  DESTINATION ${packageDir} COMPONENT ${development} ${excluded})

# The prefix is relative to the .pc files, so that an unpacked archive works in any directory.
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
list(TRANSFORM TORVA_RUNTIME PREPEND -l OUTPUT_VARIABLE pcRuntime)
list(JOIN pcRuntime " " pcRuntime)
set(pcStaticOptions)
if(WIN32)
  set(pcStaticOptions "${TORVA_NO_STATIC_EXPORTS} ")
endif()
foreach(name torvaapi torvaapi-static)
  configure_file(cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT ${development} ${excluded})
endforeach()

if(TARGET tvsym AND TORVA_BUILD_TOOLS)
  install(TARGETS tvsym RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool ${excluded})
  # Of `tvsym view`, where ./dev viewer has built it.
  set(TORVA_VIEWER_PAGE ${PROJECT_SOURCE_DIR}/build/viewer/tvsym-viewer.html CACHE FILEPATH "The viewer's page")
  install(FILES ${TORVA_VIEWER_PAGE} DESTINATION ${CMAKE_INSTALL_DATADIR}/torvaapi COMPONENT tool ${excluded} OPTIONAL)
endif()
install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT ${development} ${excluded})

# The licence, in the library's part of every package; Debian looks for it under the name of each package.
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT ${library} ${excluded})
if(PROJECT_IS_TOP_LEVEL AND NOT WIN32)
  foreach(part library:libtorvaapi${PROJECT_VERSION_MAJOR} development:libtorvaapi-dev tool:tvsym
      tables:libtorvatables${PROJECT_VERSION_MAJOR} tables_development:libtorvatables-dev)
    string(REPLACE ":" ";" part ${part})
    list(GET part 0 component)
    list(GET part 1 package)
    install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
      COMPONENT ${component} RENAME copyright)
  endforeach()
endif()

if(TORVA_BUILD_TABLES)
  include(${CMAKE_CURRENT_LIST_DIR}/InstallTables.cmake)
endif()
