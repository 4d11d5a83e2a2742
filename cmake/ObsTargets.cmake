# SPDX-License-Identifier: Apache-2.0
# What every target of this project shares: language, warnings, visibility, sanitizers.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_INSTALL_RPATH "$ORIGIN;$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

find_package(Threads REQUIRED)

include(CheckPIESupported)
check_pie_supported()

add_library(obs_settings INTERFACE)
target_include_directories(obs_settings INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(obs_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>)
# NOTE: results must not depend on the build: no fused or reassociated floating point.
target_compile_options(obs_settings INTERFACE -ffp-contract=off)
if(OBS_PORTABLE)
  target_compile_options(obs_settings INTERFACE -U__SSE2__)
endif()
target_compile_options(obs_settings INTERFACE -Wformat -Werror=format-security)
if(OBS_SANITIZE)
  # NOTE: g++ 12 sees uninitialised values in the standard library's own code once sanitizers instrument it.
  target_compile_options(obs_settings INTERFACE -fsanitize=${OBS_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(obs_settings INTERFACE -fsanitize=${OBS_SANITIZE})
else()
  # The hardening of Debian's own packages. Fortified calls need the optimiser; the sanitizers bring their own checks.
  target_compile_options(obs_settings INTERFACE -fstack-protector-strong
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  target_link_options(obs_settings INTERFACE -Wl,-z,relro -Wl,-z,now)
endif()

# The libraries that a caller of ObsFamily.h reaches.
set(OBS_FAMILY_LIBRARIES ObsServices ObsSensors ObsCoords)

# Everything that a linker map does not name is hidden, even what came from headers with visibility of its own.
function(obs_export_only library map)
  target_link_options(${library} PRIVATE -Wl,--version-script=${map})
  set_property(TARGET ${library} APPEND PROPERTY LINK_DEPENDS ${map})
endfunction()

# A shared library of the family: version and SONAME from VERSION, complete symbols.
function(obs_add_library name)
  add_library(${name} SHARED ${ARGN})
  target_link_libraries(${name} PRIVATE obs_settings)
  if(NOT OBS_SANITIZE)
    target_link_options(${name} PRIVATE -Wl,--no-undefined)
  endif()
  # A wheel cannot hold the links between versioned names.
  if(NOT OBS_PYTHON)
    set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  endif()
  set_property(GLOBAL APPEND PROPERTY OBS_LIBRARIES ${name})
endfunction()
