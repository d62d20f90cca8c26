# What the tool, the tests and the benchmarks use comes from Debian's packages. Debian has no builds of them for
# Windows or for 32 bits, so there the header-only ones are used as headers and GoogleTest is built from Debian's
# source package.
if(CMAKE_CROSSCOMPILING OR (CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_HOST_SYSTEM_PROCESSOR STREQUAL x86_64))
  set(TORVA_FOREIGN ON)
else()
  set(TORVA_FOREIGN OFF)
endif()

function(torva_missing name debianPackage)
  message(FATAL_ERROR
    "TorvaAPI needs ${name} here. On Debian: apt-get install ${debianPackage} (./dev does this itself).")
endfunction()

# torva_package(TARGET PACKAGE DEBIAN-PACKAGE): finds the imported target TARGET.
function(torva_package target package debianPackage)
  if(TARGET ${target})
    return()
  endif()
  find_package(${package} QUIET)
  if(NOT TARGET ${target})
    torva_missing(${package} ${debianPackage})
  endif()
  set_target_properties(${target} PROPERTIES IMPORTED_GLOBAL ON)
endfunction()

# torva_headers(TARGET DIRECTORY DEBIAN-PACKAGE): a header-only library from /usr/include, for a foreign target,
# without the rest of /usr/include.
function(torva_headers target directory debianPackage)
  if(TARGET ${target})
    return()
  endif()
  if(NOT EXISTS /usr/include/${directory})
    torva_missing(${directory} ${debianPackage})
  endif()
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/headers)
  file(CREATE_LINK /usr/include/${directory} ${CMAKE_BINARY_DIR}/headers/${directory} SYMBOLIC)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/headers)
endfunction()

# torva_json_dependency(TARGET): links nlohmann-json.
function(torva_json_dependency target)
  if(TORVA_FOREIGN)
    torva_headers(nlohmann_json::nlohmann_json nlohmann nlohmann-json3-dev)
  else()
    torva_package(nlohmann_json::nlohmann_json nlohmann_json nlohmann-json3-dev)
  endif()
  target_link_libraries(${target} PUBLIC nlohmann_json::nlohmann_json)
endfunction()

# torva_fmt_dependency(TARGET): links fmt.
function(torva_fmt_dependency target)
  if(TORVA_FOREIGN)
    torva_headers(fmt::fmt fmt libfmt-dev)
    target_compile_definitions(${target} PUBLIC FMT_HEADER_ONLY)
  else()
    torva_package(fmt::fmt fmt libfmt-dev)
  endif()
  target_link_libraries(${target} PUBLIC fmt::fmt)
endfunction()

# torva_tool_dependencies(TARGET): links CLI11, nlohmann-json and fmt, and SQLite where there is one.
function(torva_tool_dependencies target)
  torva_json_dependency(${target})
  torva_fmt_dependency(${target})
  if(TORVA_FOREIGN)
    torva_headers(CLI11::CLI11 CLI libcli11-dev)
  else()
    torva_package(CLI11::CLI11 CLI11 libcli11-dev)
    torva_package(SQLite::SQLite3 SQLite3 libsqlite3-dev)
    target_link_libraries(${target} PUBLIC SQLite::SQLite3)
    target_compile_definitions(${target} PUBLIC TORVA_WITH_SQLITE)
  endif()
  target_link_libraries(${target} PUBLIC CLI11::CLI11)
endfunction()

# torva_gtest(): makes GTest::gtest_main available.
function(torva_gtest)
  if(NOT TORVA_FOREIGN)
    torva_package(GTest::gtest_main GTest libgtest-dev)
    return()
  endif()
  set(source /usr/src/googletest/googletest)
  if(NOT EXISTS ${source}/CMakeLists.txt)
    torva_missing(GoogleTest googletest)
  endif()
  set(INSTALL_GTEST OFF)
  set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)
  add_subdirectory(${source} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  if(NOT TARGET GTest::gtest_main)
    add_library(GTest::gtest_main ALIAS gtest_main)
  endif()
endfunction()
