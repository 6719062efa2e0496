# Installing the stand-in host libraries as a host SDK, so that the plug-in
# can be built on its own against them (src/CMakeLists.txt).
include(CMakePackageConfigHelpers)

# vora_install_library(<target> HEADERS <file>... [DEPENDENCIES <package>...])
#
# Installs lib/lib<target>.so, its public headers into include/<target>/ and,
# in lib/cmake/<target>/, <target>Config.cmake with its version file and the
# imported target Vora::<target>. DEPENDENCIES are other packages of this SDK
# that the library's interface needs.
function(vora_install_library target)
  cmake_parse_arguments(L "" "" "HEADERS;DEPENDENCIES" ${ARGN})
  set(package_dir lib/cmake/${target})
  target_include_directories(${target} PUBLIC
      $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}>
      $<INSTALL_INTERFACE:include/${target}>)
  install(TARGETS ${target} EXPORT ${target}Targets LIBRARY DESTINATION lib COMPONENT sdk)
  install(FILES ${L_HEADERS} DESTINATION include/${target} COMPONENT sdk)
  install(EXPORT ${target}Targets NAMESPACE Vora:: DESTINATION ${package_dir} COMPONENT sdk)

  set(VORA_PACKAGE ${target})
  set(VORA_PACKAGE_DEPENDENCIES ${L_DEPENDENCIES})
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VoraPackageConfig.cmake.in
      ${CMAKE_CURRENT_BINARY_DIR}/${target}Config.cmake
      INSTALL_DESTINATION ${package_dir})
  write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/${target}ConfigVersion.cmake
      VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
  install(FILES
      ${CMAKE_CURRENT_BINARY_DIR}/${target}Config.cmake
      ${CMAKE_CURRENT_BINARY_DIR}/${target}ConfigVersion.cmake
      DESTINATION ${package_dir} COMPONENT sdk)
endfunction()
