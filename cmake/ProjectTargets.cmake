# Settings that every target of the project shares, kept off the targets that consumers link.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# Programs lie beside each other, as they are looked for, and libraries beside each other: where a
# project around this one wants its own, if it says so.
if(NOT CMAKE_RUNTIME_OUTPUT_DIRECTORY)
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
endif()
if(NOT CMAKE_LIBRARY_OUTPUT_DIRECTORY)
  set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
endif()

# Everything is built against one Qt. Libraries and workers for Qt 6 have names of their own
# wherever they are installed, so that they can lie beside those for Qt 5; the command has one name.
set(CONVERTWRAPPERS_QT 5 CACHE STRING "The major version of Qt: 5 or 6")
set_property(CACHE CONVERTWRAPPERS_QT PROPERTY STRINGS 5 6)
if(CONVERTWRAPPERS_QT EQUAL 5)
  set(CONVERTWRAPPERS_QT_VERSION 5.15)
  set(CONVERTWRAPPERS_SUFFIX "")
elseif(CONVERTWRAPPERS_QT EQUAL 6)
  set(CONVERTWRAPPERS_QT_VERSION 6.4)
  set(CONVERTWRAPPERS_SUFFIX Qt6)
else()
  message(FATAL_ERROR "CONVERTWRAPPERS_QT is '${CONVERTWRAPPERS_QT}', but there are 5 and 6.")
endif()

set(CONVERTWRAPPERS_PACKAGE ConvertWrappers${CONVERTWRAPPERS_SUFFIX})

# Before 1.0 a minor version may break what is linked to it; from then on it is the major alone.
set(CONVERTWRAPPERS_SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})

# With the number, the workers of libraries that are installed side by side are, too.
set(CONVERTWRAPPERS_LIBEXECDIR
  ${CMAKE_INSTALL_LIBEXECDIR}/${CONVERTWRAPPERS_PACKAGE}-${CONVERTWRAPPERS_SOVERSION})
# Headers are included as <ConvertWrappers/Name.h> from here, or flat from the folder within.
set(CONVERTWRAPPERS_INCLUDEDIR_ABOVE ${CMAKE_INSTALL_INCLUDEDIR})
if(CONVERTWRAPPERS_SUFFIX)
  string(APPEND CONVERTWRAPPERS_INCLUDEDIR_ABOVE /${CONVERTWRAPPERS_PACKAGE})
endif()
set(CONVERTWRAPPERS_INCLUDEDIR ${CONVERTWRAPPERS_INCLUDEDIR_ABOVE}/ConvertWrappers)

# With the base directory, a clone elsewhere finds what this one has compiled: sources are given to
# the compiler by their path from where it runs then.
find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND PROJECT_IS_TOP_LEVEL AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER
    ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} ${CCACHE_PROGRAM})
endif()

include(GenerateExportHeader)

# Warnings, and paths in debug information that are the same whoever builds.
function(project_compile_settings target)
  file(RELATIVE_PATH path_to_sources ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR})
  string(REGEX REPLACE "/$" "" path_to_sources "${path_to_sources}")
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual
    $<IF:$<CXX_COMPILER_ID:GNU>,-Wshadow=local,-Wshadow>
    # Qt's logging macros and GoogleTest's leave their last argument away.
    $<$<CXX_COMPILER_ID:Clang>:-Wno-gnu-zero-variadic-macro-arguments>
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
    $<$<BOOL:${path_to_sources}>:-ffile-prefix-map=${path_to_sources}/=>)
  target_compile_definitions(${target} PRIVATE
    QT_NO_KEYWORDS QT_NO_FOREACH QT_NO_CAST_FROM_BYTEARRAY)
endfunction()

# A shared library whose headers lie in this folder, are included flat and are installed. With COMPONENT
# it is one that not every application wants, with packages of its own.
# usage: project_library(NAME [COMPONENT name] HEADERS a.h ... SOURCES a.cpp ...)
function(project_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "COMPONENT" "HEADERS;SOURCES")
  set(runtime Runtime)
  if(arg_COMPONENT)
    set(runtime ${arg_COMPONENT})
  endif()
  add_library(${name} SHARED ${arg_SOURCES} ${arg_HEADERS})
  add_library(ConvertWrappers::${name} ALIAS ${name})
  project_compile_settings(${name})
  generate_export_header(${name} EXPORT_FILE_NAME ${CMAKE_CURRENT_BINARY_DIR}/${name}Export.h)
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}>
    $<BUILD_INTERFACE:${CMAKE_CURRENT_BINARY_DIR}>
    $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
    $<INSTALL_INTERFACE:${CONVERTWRAPPERS_INCLUDEDIR}>
    $<INSTALL_INTERFACE:${CONVERTWRAPPERS_INCLUDEDIR_ABOVE}>)
  # <ConvertWrappers/Name.h>, as they are installed.
  foreach(header IN LISTS arg_HEADERS)
    file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/include/ConvertWrappers/${header}
      CONTENT "#include \"${CMAKE_CURRENT_SOURCE_DIR}/${header}\"\n")
  endforeach()
  target_compile_features(${name} PUBLIC cxx_std_17)
  target_link_options(${name} PRIVATE LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map)
  set_target_properties(${name} PROPERTIES
    AUTOMOC ON
    OUTPUT_NAME ${name}${CONVERTWRAPPERS_SUFFIX}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${CONVERTWRAPPERS_SOVERSION}
    LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/exports.map
    PUBLIC_HEADER "${arg_HEADERS};${CMAKE_CURRENT_BINARY_DIR}/${name}Export.h"
    INSTALL_RPATH $ORIGIN)
  install(TARGETS ${name} EXPORT ConvertWrappers${arg_COMPONENT}Targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
      COMPONENT ${runtime} NAMELINK_COMPONENT ${arg_COMPONENT}Development
    PUBLIC_HEADER DESTINATION ${CONVERTWRAPPERS_INCLUDEDIR} COMPONENT ${arg_COMPONENT}Development)
endfunction()

# Lets log records name each source of a library by its path in the project. A mapping of prefixes
# would not do: the compiler's cache hands on other paths, which depend on the generator and on where
# the build folder lies, and does not look at the mapping when it looks for what it has.
function(project_name_sources_in_records library)
  get_target_property(sources ${library} SOURCES)
  list(FILTER sources INCLUDE REGEX "\\.cpp$")
  foreach(source IN LISTS sources)
    file(RELATIVE_PATH name ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/${source})
    set_property(SOURCE ${source} APPEND PROPERTY COMPILE_DEFINITIONS __FILE__="${name}")
    set_property(SOURCE ${source} APPEND PROPERTY COMPILE_OPTIONS -Wno-builtin-macro-redefined)
  endforeach()
endfunction()

# A program installed into `destination`, which finds the project's libraries wherever both lie.
function(project_program name destination component)
  project_compile_settings(${name})
  file(RELATIVE_PATH to_libraries
    ${CMAKE_INSTALL_FULL_BINDIR}/../${destination} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(${name} PROPERTIES INSTALL_RPATH $ORIGIN/${to_libraries})
  install(TARGETS ${name} RUNTIME DESTINATION ${destination} COMPONENT ${component})
endfunction()
