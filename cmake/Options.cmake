# torva_options(TARGET): language level, warnings, hardening and instrumentation of one of our targets.
function(torva_options target)
  target_compile_features(${target} PRIVATE cxx_std_20)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    C_EXTENSIONS OFF
    POSITION_INDEPENDENT_CODE ON)
  if(PROJECT_IS_TOP_LEVEL)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wconversion -Wshadow)
  endif()
  # gcc 12 sees overlaps in plain appends to std::string that cannot be.
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
  if(TORVA_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  torva_harden(${target})
  torva_instrument(${target})
endfunction()

# Fortified C library calls need optimisation and get in the way of the sanitizers.
function(torva_harden target)
  if(NOT TORVA_HARDEN OR TORVA_SANITIZE)
    return()
  endif()
  target_compile_options(${target} PRIVATE
    $<$<NOT:$<CONFIG:Debug>>:-fstack-protector-strong>
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>
    $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  if(WIN32)
    target_link_options(${target} PRIVATE -Wl,--dynamicbase,--nxcompat -fstack-protector-strong)
    return()
  endif()
  target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now,-z,noexecstack,-z,text)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL EXECUTABLE)
    target_link_options(${target} PRIVATE -pie)
  endif()
endfunction()

function(torva_instrument target)
  if(TORVA_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=${TORVA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${TORVA_SANITIZE})
    # With its sanitizers on, gcc takes parts of its own <regex> for uninitialised.
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
      target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized)
    endif()
  endif()
  if(TORVA_COVERAGE)
    target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
    target_link_options(${target} PRIVATE --coverage)
  endif()
endfunction()

# torva_add_directory(DIR): adds a directory that is part of this checkout.
function(torva_add_directory directory)
  if(EXISTS ${PROJECT_SOURCE_DIR}/${directory}/CMakeLists.txt)
    add_subdirectory(${directory})
  endif()
endfunction()
