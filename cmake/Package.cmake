# What else is installed for those who build against the libraries: find_package(ConvertWrappers)
# or find_package(ConvertWrappersQt6), and pkg-config's files.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${CONVERTWRAPPERS_PACKAGE})
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/ConvertWrappersConfig.cmake.in
  ${PROJECT_BINARY_DIR}/${CONVERTWRAPPERS_PACKAGE}Config.cmake
  INSTALL_DESTINATION ${package_dir}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/${CONVERTWRAPPERS_PACKAGE}ConfigVersion.cmake
  COMPATIBILITY SameMinorVersion) # as the number in the libraries' SONAME

foreach(targets ConvertWrappersTargets ConvertWrappersTestKitTargets)
  install(EXPORT ${targets} NAMESPACE ConvertWrappers:: DESTINATION ${package_dir}
    COMPONENT Development)
endforeach()
if(TARGET ConverterQuick)
  install(EXPORT ConvertWrappersQuickTargets NAMESPACE ConvertWrappers:: DESTINATION ${package_dir}
    COMPONENT QuickDevelopment)
endif()
install(FILES
  ${PROJECT_BINARY_DIR}/${CONVERTWRAPPERS_PACKAGE}Config.cmake
  ${PROJECT_BINARY_DIR}/${CONVERTWRAPPERS_PACKAGE}ConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT Development)

configure_file(${CMAKE_CURRENT_LIST_DIR}/convertwrappers-version.h.in
  ${PROJECT_BINARY_DIR}/include/ConvertWrappers/convertwrappers-version.h @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/include/ConvertWrappers/convertwrappers-version.h
  DESTINATION ${CONVERTWRAPPERS_INCLUDEDIR} COMPONENT Development)

# The guides, with the pages that they lead to, and their programs.
string(TOLOWER "${CONVERTWRAPPERS_SUFFIX}" suffix)
set(development_docs ${CMAKE_INSTALL_DATADIR}/doc/libconvertwrappers${suffix}-dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${development_docs} COMPONENT Development
  FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.schema.json" PATTERN site EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/guides DESTINATION ${development_docs}/examples
  COMPONENT Development PATTERN "*.cmake" EXCLUDE PATTERN guides/CMakeLists.txt EXCLUDE)

# pkg-config's file `name` for libraries. It knows the prefix from where it lies. What it requires is
# installed in another place, or by another file of these.
# usage: project_pkg_config(NAME DESCRIPTION text REQUIRES package... LIBRARIES library... COMPONENT name)
function(project_pkg_config name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "DESCRIPTION;COMPONENT" "REQUIRES;LIBRARIES")
  set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  file(RELATIVE_PATH prefix ${CMAKE_INSTALL_PREFIX}/${pkgconfig_dir} ${CMAKE_INSTALL_PREFIX})
  string(REGEX REPLACE "/$" "" prefix "${prefix}")
  list(TRANSFORM arg_LIBRARIES PREPEND -l)
  list(TRANSFORM arg_LIBRARIES APPEND "${CONVERTWRAPPERS_SUFFIX}")
  list(JOIN arg_LIBRARIES " " libraries)
  list(JOIN arg_REQUIRES ", " requires)
  configure_file(cmake/package.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${pkgconfig_dir}
    COMPONENT ${arg_COMPONENT})
endfunction()

set(pc_suffix "")
if(CONVERTWRAPPERS_QT EQUAL 6)
  set(pc_suffix -qt6)
endif()
set(qt Qt${CONVERTWRAPPERS_QT})
project_pkg_config(convertwrappers${pc_suffix}
  DESCRIPTION "Decorators around document converters, and their contract"
  REQUIRES "${qt}Core >= ${CONVERTWRAPPERS_QT_VERSION}"
  LIBRARIES ConvertWrappers PDFInterfaces PDFFSUtils CoreInt
  COMPONENT Development)
project_pkg_config(converterservices${pc_suffix}
  DESCRIPTION "Services and a converter of PDFs for ConvertWrappers"
  REQUIRES "${qt}Core >= ${CONVERTWRAPPERS_QT_VERSION}"
  LIBRARIES ConverterServices PDFInterfaces CoreInt
  COMPONENT Development)
if(TARGET ConverterQuick)
  project_pkg_config(converterquick${pc_suffix}
    DESCRIPTION "Pages of PDFs for Qt Quick"
    REQUIRES converterservices${pc_suffix} "${qt}Quick >= ${CONVERTWRAPPERS_QT_VERSION}"
    LIBRARIES ConverterQuick
    COMPONENT QuickDevelopment)
endif()
