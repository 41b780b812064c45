# The installed CMake package: find_package(ConvertWrappers).

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ConvertWrappers)
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/ConvertWrappersConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ConvertWrappersConfig.cmake
  INSTALL_DESTINATION ${package_dir}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/ConvertWrappersConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)

foreach(targets ConvertWrappersTargets ConvertWrappersTestKitTargets)
  install(EXPORT ${targets} NAMESPACE ConvertWrappers:: DESTINATION ${package_dir})
endforeach()
install(FILES
  ${PROJECT_BINARY_DIR}/ConvertWrappersConfig.cmake
  ${PROJECT_BINARY_DIR}/ConvertWrappersConfigVersion.cmake
  DESTINATION ${package_dir})
