# The library: every source is compiled once, except the exports. They are visible in the shared library and hidden in
# the static one, so that a plugin that links it neither exports them again nor binds to those of another plugin.
file(GLOB TORVA_SOURCES CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/library/core/*.cpp
  ${PROJECT_SOURCE_DIR}/library/file/*.cpp
  ${PROJECT_SOURCE_DIR}/library/platform/*.cpp
  ${PROJECT_SOURCE_DIR}/library/stream/*.cpp
  ${PROJECT_SOURCE_DIR}/library/sections/*.cpp)
if(WIN32)
  list(FILTER TORVA_SOURCES EXCLUDE REGEX "/platform/Posix[^/]*$")
else()
  list(FILTER TORVA_SOURCES EXCLUDE REGEX "/platform/Win32[^/]*$")
endif()

file(GLOB TORVA_EXPORT_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/library/exports/*.cpp)

# torva_object_library(TARGET SOURCES...)
function(torva_object_library target)
  add_library(${target} OBJECT ${ARGN})
  torva_options(${target})
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
  # Failed allocations reach the call frame as exceptions, in hosts that do without them as well.
  target_compile_options(${target} PRIVATE -fexceptions -Wsign-conversion)
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND NOT WIN32)
    # A unique symbol would keep the library in memory after dlclose.
    target_compile_options(${target} PRIVATE -fno-gnu-unique)
  endif()
endfunction()

torva_object_library(torva_objects ${TORVA_SOURCES})
torva_object_library(torva_exports_shared ${TORVA_EXPORT_SOURCES})
torva_object_library(torva_exports_static ${TORVA_EXPORT_SOURCES})
target_compile_definitions(torva_exports_static PRIVATE TORVA_API_STATIC)

# SymFreeValue for hosts in C.
add_library(TorvaValues STATIC ${PROJECT_SOURCE_DIR}/library/values/TorvaValues.cpp)
torva_options(TorvaValues)
add_library(TorvaAPI::TorvaValues ALIAS TorvaValues)

# TorvaAPI.hpp is made while the build is configured, and again when one of its parts has changed.
include(${CMAKE_CURRENT_LIST_DIR}/SingleHeader.cmake)
torva_single_header(${PROJECT_SOURCE_DIR}/include ${PROJECT_BINARY_DIR}/include/TorvaAPI.hpp)

function(torva_library target)
  torva_options(${target})
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${target} INTERFACE TorvaValues)
  set_target_properties(${target} PROPERTIES OUTPUT_NAME TorvaAPI LINKER_LANGUAGE CXX)
  add_library(TorvaAPI::${target} ALIAS ${target})
endfunction()

add_library(TorvaAPIStatic STATIC $<TARGET_OBJECTS:torva_objects> $<TARGET_OBJECTS:torva_exports_static>)
torva_library(TorvaAPIStatic)
target_compile_definitions(TorvaAPIStatic INTERFACE TORVA_API_STATIC)

if(WIN32)
  add_library(TorvaAPI SHARED
    $<TARGET_OBJECTS:torva_objects> $<TARGET_OBJECTS:torva_exports_shared> ${PROJECT_SOURCE_DIR}/cmake/TorvaAPI.def)
  torva_library(TorvaAPI)
  set_target_properties(TorvaAPI PROPERTIES PREFIX "")
  target_compile_definitions(TorvaAPI INTERFACE TORVA_API_SHARED)
  # GNU's import library is not accepted by the Microsoft linker on 32 bits (SAFESEH); this one works for both.
  find_program(LLVM_DLLTOOL NAMES llvm-dlltool llvm-dlltool-14)
  if(LLVM_DLLTOOL)
    set(machine $<IF:$<EQUAL:${CMAKE_SIZEOF_VOID_P},8>,i386:x86-64,i386>)
    set(TORVA_MSVC_LIBRARY ${PROJECT_BINARY_DIR}/TorvaAPI.lib)
    add_custom_command(TARGET TorvaAPI POST_BUILD VERBATIM
      BYPRODUCTS ${TORVA_MSVC_LIBRARY}
      COMMAND ${LLVM_DLLTOOL} -m ${machine} -D TorvaAPI.dll
        -d ${PROJECT_SOURCE_DIR}/cmake/TorvaAPI.def -l ${TORVA_MSVC_LIBRARY})
  endif()
  # A DLL without export declarations exports all its symbols, except those of such archives.
  set(TORVA_NO_STATIC_EXPORTS -Wl,--exclude-libs,libTorvaAPI.a,--exclude-libs,libTorvaValues.a)
  target_link_options(TorvaAPIStatic INTERFACE ${TORVA_NO_STATIC_EXPORTS})
  if(TORVA_HARDEN)
    # The functions that the stack protector calls are in a library of their own there.
    target_link_options(TorvaAPIStatic INTERFACE -fstack-protector-strong)
  endif()
else()
  add_library(TorvaAPI SHARED $<TARGET_OBJECTS:torva_objects> $<TARGET_OBJECTS:torva_exports_shared>)
  torva_library(TorvaAPI)
  set(versionScript ${PROJECT_SOURCE_DIR}/cmake/TorvaAPI.map)
  # The file is named for the interface version only: what was built against one release finds the next one.
  set_target_properties(TorvaAPI PROPERTIES
    VERSION ${PROJECT_VERSION_MAJOR}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS ${versionScript})
  target_link_options(TorvaAPI PRIVATE -Wl,--version-script=${versionScript})
  # Left out where a sanitizer may be on: clang leaves its runtime's functions to the executable.
  if(PROJECT_IS_TOP_LEVEL AND NOT "${TORVA_SANITIZE} ${CMAKE_CXX_FLAGS}" MATCHES "address|thread|undefined|fsanitize")
    target_link_options(TorvaAPI PRIVATE -Wl,-z,defs)
  endif()
endif()
