# TorvaTables: a separate library over the same objects. TorvaAPI does not need it, nor it TorvaAPI.
file(GLOB TORVA_TABLES_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tables/columns/*.cpp
  ${PROJECT_SOURCE_DIR}/tables/dictionary/*.cpp ${PROJECT_SOURCE_DIR}/tables/rows/*.cpp
  ${PROJECT_SOURCE_DIR}/tables/source/*.cpp)
if(WIN32)
  list(FILTER TORVA_TABLES_SOURCES EXCLUDE REGEX "Posix\\.cpp$")
else()
  list(FILTER TORVA_TABLES_SOURCES EXCLUDE REGEX "Windows\\.cpp$")
endif()

torva_object_library(torva_tables_objects ${TORVA_TABLES_SOURCES})
# fmt as headers only, so that the library does not need it at run time.
torva_headers(torva_fmt_headers fmt libfmt-dev)
target_link_libraries(torva_tables_objects PRIVATE torva_fmt_headers)
target_compile_definitions(torva_tables_objects PRIVATE FMT_HEADER_ONLY)
# symwrite reads the dictionary of fields, with nlohmann-json, which is header-only.
torva_json_dependency(torva_tables_objects)
set(TORVA_TABLES_OBJECTS
  $<TARGET_OBJECTS:torva_objects> $<TARGET_OBJECTS:torva_tables_objects>
  $<TARGET_OBJECTS:torva_text> $<TARGET_OBJECTS:symwrite> $<TARGET_OBJECTS:symwrite_json>)

find_package(Threads REQUIRED)

function(torva_tables_library target)
  torva_options(${target})
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  set_target_properties(${target} PROPERTIES OUTPUT_NAME TorvaTables LINKER_LANGUAGE CXX)
  target_link_libraries(${target} PUBLIC Threads::Threads)
  add_library(TorvaAPI::${target} ALIAS ${target})
endfunction()

add_library(TorvaTablesStatic STATIC ${TORVA_TABLES_OBJECTS})
torva_tables_library(TorvaTablesStatic)
target_compile_definitions(TorvaTablesStatic INTERFACE TORVA_TABLES_STATIC)

if(WIN32)
  file(STRINGS ${PROJECT_SOURCE_DIR}/include/TorvaTables.h declarations REGEX "^TVT_API ")
  set(definition "LIBRARY TorvaTables\nEXPORTS\n")
  foreach(declaration IN LISTS declarations)
    string(REGEX REPLACE ".*(tvt_[A-Za-z]+)\\(.*" "\\1" name "${declaration}")
    string(APPEND definition "    ${name}\n")
  endforeach()
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/TorvaTables.def CONTENT "${definition}")
  add_library(TorvaTables SHARED
    ${TORVA_TABLES_OBJECTS} ${PROJECT_BINARY_DIR}/TorvaTables.def)
  torva_tables_library(TorvaTables)
  set_target_properties(TorvaTables PROPERTIES PREFIX "")
  target_compile_definitions(TorvaTables INTERFACE TORVA_TABLES_SHARED)
else()
  add_library(TorvaTables SHARED ${TORVA_TABLES_OBJECTS})
  torva_tables_library(TorvaTables)
  set(tablesScript ${PROJECT_SOURCE_DIR}/cmake/TorvaTables.map)
  set_target_properties(TorvaTables PROPERTIES
    VERSION ${PROJECT_VERSION_MAJOR}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS ${tablesScript})
  target_link_options(TorvaTables PRIVATE -Wl,--version-script=${tablesScript})
endif()
