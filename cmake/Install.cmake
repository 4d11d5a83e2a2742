# SPDX-License-Identifier: Apache-2.0
# What `cmake --install` lays down: the libraries, the public headers, and the descriptions by which
# CMake (find_package(Obs)) and pkg-config (obs) find them. Paths in both are relative to the description
# itself, so that an installed tree can be moved. The command obstool installs itself, see cli/.
include(CMakePackageConfigHelpers)

get_property(obs_libraries GLOBAL PROPERTY OBS_LIBRARIES)
set(OBS_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Obs)

install(TARGETS ${obs_libraries} EXPORT ObsTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES
  ${PROJECT_SOURCE_DIR}/DllExports/Obs/ObsDllExports/ObsDllExports.h
  ${PROJECT_SOURCE_DIR}/DllExports/Obs/ObsDllExports/ObsArrow.h
  ${PROJECT_SOURCE_DIR}/siblings/include/ObsFamily.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_SOURCE_DIR}/data/laser_stations.csv DESTINATION ${CMAKE_INSTALL_DATADIR}/obs)
# The documents lie to each other as in the source tree, so that their links hold. Among them are the programs and decks
# of the guide, and the interface module, which every Fortran caller compiles for himself.
foreach(page README CHANGELOG CONTRIBUTING)
  install(FILES ${PROJECT_SOURCE_DIR}/${page}.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/NOTICE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/data ${PROJECT_SOURCE_DIR}/examples
  DESTINATION ${CMAKE_INSTALL_DOCDIR} USE_SOURCE_PERMISSIONS PATTERN CMakeLists.txt EXCLUDE PATTERN site EXCLUDE
  PATTERN laser_stations.csv EXCLUDE)

# The major version is the SONAME's number: within it a newer library serves older callers. While it is 0, each minor
# version may break its callers.
set(OBS_COMPATIBILITY ${OBS_COMPATIBILITY})
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(OBS_COMPATIBILITY SameMinorVersion)
endif()
install(EXPORT ObsTargets NAMESPACE Obs:: DESTINATION ${OBS_CMAKE_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ObsConfig.cmake.in ${PROJECT_BINARY_DIR}/ObsConfig.cmake
  INSTALL_DESTINATION ${OBS_CMAKE_DIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ObsConfigVersion.cmake COMPATIBILITY ${OBS_COMPATIBILITY})
install(FILES ${PROJECT_BINARY_DIR}/ObsConfig.cmake ${PROJECT_BINARY_DIR}/ObsConfigVersion.cmake
  DESTINATION ${OBS_CMAKE_DIR})

# pkg-config takes paths relative to ${pcfiledir}; an absolute library folder stays absolute.
set(OBS_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  set(OBS_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
else()
  file(RELATIVE_PATH OBS_PC_UP /prefix/${OBS_PC_DIR} /prefix)
  string(REGEX REPLACE "/$" "" OBS_PC_PREFIX "\${pcfiledir}/${OBS_PC_UP}")
endif()
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_LIBDIR BASE_DIRECTORY "\${prefix}" OUTPUT_VARIABLE OBS_PC_LIBDIR)
cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_INCLUDEDIR BASE_DIRECTORY "\${prefix}" OUTPUT_VARIABLE OBS_PC_INCLUDEDIR)
list(TRANSFORM OBS_FAMILY_LIBRARIES PREPEND -l OUTPUT_VARIABLE OBS_PC_LIBS)
list(JOIN OBS_PC_LIBS " " OBS_PC_LIBS)
configure_file(${CMAKE_CURRENT_LIST_DIR}/obs.pc.in ${PROJECT_BINARY_DIR}/obs.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/obs.pc DESTINATION ${OBS_PC_DIR})
