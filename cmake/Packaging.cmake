# The packages that CPack makes of a build: the target `package`, or scripts/package. A tarball holds
# everything; of Debian packages there is one for each component of the installation.

string(TOLOWER "${CONVERTWRAPPERS_SUFFIX}" suffix)
string(REGEX REPLACE "([0-9])$" "\\1-" parted "${suffix}") # one number from another, as Debian does
set(runtime libconvertwrappers${parted}${CONVERTWRAPPERS_SOVERSION}) # named after the SONAMEs
set(packages_Runtime ${runtime})
set(packages_Development libconvertwrappers${suffix}-dev)
set(packages_Quick libconverterquick${parted}${CONVERTWRAPPERS_SOVERSION})
set(packages_QuickDevelopment libconverterquick${suffix}-dev)
set(packages_Command pdfconvert)
set(packages_Python python3-pdfconvert)

set(CPACK_GENERATOR DEB TGZ)
set(CPACK_PACKAGE_NAME ${CONVERTWRAPPERS_PACKAGE})
set(CPACK_COMPONENTS_ALL Runtime Development)
if(CONVERTWRAPPERS_BUILD_COMMAND)
  list(APPEND CPACK_COMPONENTS_ALL Command Python)
endif()
if(TARGET ConverterQuick)
  list(APPEND CPACK_COMPONENTS_ALL Quick QuickDevelopment)
endif()
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "decorators around document converters, and pdfconvert")
set(CPACK_PACKAGE_CONTACT "The maintainers of ConvertWrappers <maintainers@convertwrappers.invalid>")
set(CPACK_SYSTEM_NAME ${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_STRIP_FILES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} COMPONENT)
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME ${packages_${component}})
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE RENAME copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${packages_${component}} COMPONENT ${component})
endforeach()

# What the programs and libraries are linked to is found out by dpkg-shlibdeps; here stands what is
# loaded by name, or read.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(same_version "(= ${PROJECT_VERSION})")

set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
  "The libraries of ConvertWrappers, and the worker that opens PDFs for them.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
file(WRITE ${PROJECT_BINARY_DIR}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/triggers)

if(CONVERTWRAPPERS_QT EQUAL 5)
  set(qt_development qtbase5-dev)
  set(qt_quick_development qtdeclarative5-dev)
else()
  set(qt_development qt6-base-dev)
  set(qt_quick_development qt6-declarative-dev)
endif()
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "For building with it: headers, the CMake package, files for pkg-config.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime} ${same_version}, ${qt_development}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS libgtest-dev)

set(CPACK_COMPONENT_QUICK_DESCRIPTION "Pages of PDFs for Qt Quick: the library ConverterQuick.")
set(CPACK_DEBIAN_QUICK_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_QUICK_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_QUICK_PACKAGE_DEPENDS "${runtime} ${same_version}")
set(CPACK_DEBIAN_QUICK_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/triggers)

set(CPACK_COMPONENT_QUICKDEVELOPMENT_DESCRIPTION "For building with ConverterQuick.")
set(CPACK_DEBIAN_QUICKDEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_QUICKDEVELOPMENT_PACKAGE_DEPENDS
  "${packages_Quick} ${same_version}, ${packages_Development} ${same_version}, ${qt_quick_development}")

set(CPACK_COMPONENT_COMMAND_DESCRIPTION
  "The command pdfconvert, its manual page, completions for bash, zsh and fish.")
set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION text)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_COMMAND_PACKAGE_DEPENDS "${runtime} ${same_version}")
set(CPACK_DEBIAN_COMMAND_PACKAGE_RECOMMENDS libreoffice-core-nogui) # which has PDFium

set(CPACK_COMPONENT_PYTHON_DESCRIPTION
  "Pages of PDFs as Pillow pictures, in Python, by the command pdfconvert.")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
  "pdfconvert ${same_version}, python3 (>= 3.11), python3-pil (>= 9.1)")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA # which have the bytecode made, and removed
  ${PROJECT_SOURCE_DIR}/packaging/python/postinst ${PROJECT_SOURCE_DIR}/packaging/python/prerm)

include(CPack)
