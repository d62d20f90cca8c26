# The library: every source is compiled once; the shared and the static library are made of the same objects.
file(GLOB TORVA_SOURCES CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/library/exports/*.cpp
  ${PROJECT_SOURCE_DIR}/library/core/*.cpp
  ${PROJECT_SOURCE_DIR}/library/platform/*.cpp
  ${PROJECT_SOURCE_DIR}/library/stream/*.cpp
  ${PROJECT_SOURCE_DIR}/library/sections/*.cpp)
if(WIN32)
  list(FILTER TORVA_SOURCES EXCLUDE REGEX "/platform/Posix[^/]*$")
else()
  list(FILTER TORVA_SOURCES EXCLUDE REGEX "/platform/Win32[^/]*$")
endif()

add_library(torva_objects OBJECT ${TORVA_SOURCES})
torva_options(torva_objects)
set_target_properties(torva_objects PROPERTIES
  CXX_VISIBILITY_PRESET hidden
  VISIBILITY_INLINES_HIDDEN ON)
target_include_directories(torva_objects PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND NOT WIN32)
  # A unique symbol would keep the library in memory after dlclose.
  target_compile_options(torva_objects PRIVATE -fno-gnu-unique)
endif()

function(torva_library target)
  torva_options(${target})
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  set_target_properties(${target} PROPERTIES OUTPUT_NAME TorvaAPI LINKER_LANGUAGE CXX)
  add_library(TorvaAPI::${target} ALIAS ${target})
endfunction()

add_library(TorvaAPIStatic STATIC $<TARGET_OBJECTS:torva_objects>)
torva_library(TorvaAPIStatic)

if(WIN32)
  add_library(TorvaAPI SHARED $<TARGET_OBJECTS:torva_objects> ${PROJECT_SOURCE_DIR}/cmake/TorvaAPI.def)
  torva_library(TorvaAPI)
  set_target_properties(TorvaAPI PROPERTIES PREFIX "")
  target_compile_definitions(TorvaAPI INTERFACE TORVA_API_SHARED)
  # GNU's import library is no good for the Microsoft linker on 32 bits (SAFESEH); this one is good for both.
  find_program(LLVM_DLLTOOL NAMES llvm-dlltool llvm-dlltool-14)
  if(LLVM_DLLTOOL)
    set(machine $<IF:$<EQUAL:${CMAKE_SIZEOF_VOID_P},8>,i386:x86-64,i386>)
    set(TORVA_MSVC_LIBRARY ${PROJECT_BINARY_DIR}/TorvaAPI.lib)
    add_custom_command(TARGET TorvaAPI POST_BUILD VERBATIM
      BYPRODUCTS ${TORVA_MSVC_LIBRARY}
      COMMAND ${LLVM_DLLTOOL} -m ${machine} -D TorvaAPI.dll
        -d ${PROJECT_SOURCE_DIR}/cmake/TorvaAPI.def -l ${TORVA_MSVC_LIBRARY})
  endif()
  if(TORVA_HARDEN)
    # What the stack protector calls is a library of its own there.
    target_link_options(TorvaAPIStatic INTERFACE -fstack-protector-strong)
  endif()
else()
  add_library(TorvaAPI SHARED $<TARGET_OBJECTS:torva_objects>)
  torva_library(TorvaAPI)
  set(versionScript ${PROJECT_SOURCE_DIR}/cmake/TorvaAPI.map)
  set_target_properties(TorvaAPI PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS ${versionScript})
  target_link_options(TorvaAPI PRIVATE -Wl,--version-script=${versionScript})
  if(NOT TORVA_SANITIZE)
    target_link_options(TorvaAPI PRIVATE -Wl,-z,defs)
  endif()
endif()
