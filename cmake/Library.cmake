# The library that a user links, in the build and installed: every floor but the one for tests in one
# file, that one in a file of its own, with the headers, the licence, and what find_package and
# pkg-config read.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
include(${CMAKE_CURRENT_LIST_DIR}/Exports.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/PkgConfig.cmake)

get_property(floors GLOBAL PROPERTY JN_FLOORS)
if(NOT floors)
  return()
endif()
# Libraries of one package find each other beside themselves.
if(APPLE)
  set(JN_RPATH @loader_path)
else()
  set(JN_RPATH $ORIGIN)
endif()
set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/JNFoundation)

# jn_library(<target> <floor>...)
# The library made of the objects of the named floors.
function(jn_library target)
  add_library(${target})
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${JN_ABI}
    INSTALL_RPATH ${JN_RPATH}
    LINKER_LANGUAGE CXX)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  foreach(floor ${ARGN})
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:jn_${floor}>)
  endforeach()
  jn_export_only_ours(${target})
endfunction()

# jn_install_library(<target> <component>)
# Installs a library with the CMake targets of its component.
function(jn_install_library target component)
  set(targets JNFoundation${component}Targets)
  if(NOT component)
    set(component Unspecified)
  endif()
  install(TARGETS ${target} EXPORT ${targets}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${component})
  install(EXPORT ${targets} NAMESPACE JNFoundation:: COMPONENT ${component}
    DESTINATION ${package_directory})
endfunction()

set(below ${floors})
list(REMOVE_ITEM below testing)
jn_library(JNFoundation ${below})
add_library(JNFoundation::JNFoundation ALIAS JNFoundation)
if(JN_COUNT_OBJECTS)
  # Constructors in headers count too, so users must agree with the library.
  target_compile_definitions(JNFoundation PUBLIC JN_COUNT_OBJECTS=1)
endif()
target_link_libraries(JNFoundation PUBLIC Threads::Threads)
get_property(bundled GLOBAL PROPERTY JN_OBJECTS)
foreach(objects ${bundled})
  target_sources(JNFoundation PRIVATE $<TARGET_OBJECTS:${objects}>)
endforeach()
foreach(floor ${below})
  get_property(external GLOBAL PROPERTY JN_EXTERNAL_${floor})
  target_link_libraries(JNFoundation PRIVATE ${external})
endforeach()

if(testing IN_LIST floors)
  jn_library(JNFoundation_Testing testing)
  add_library(JNFoundation::Testing ALIAS JNFoundation_Testing)
  set_target_properties(JNFoundation_Testing PROPERTIES
    OUTPUT_NAME JNFoundationTesting EXPORT_NAME Testing)
  target_link_libraries(JNFoundation_Testing PUBLIC JNFoundation)
endif()

if(NOT JN_INSTALL)
  return()
endif()

set(JN_MODULES simdjson pugixml libutf8proc libpcre2-8)
set(JN_SYSTEM_SQLITE OFF)
if(JN_SQLITE STREQUAL system)
  list(APPEND JN_MODULES sqlite3)
  set(JN_SYSTEM_SQLITE ON)
endif()
jn_install_library(JNFoundation "")
jn_install_pkg_config(JNFoundation "" "What applications are made of: values, deferreds, an object store"
  REQUIRES_PRIVATE ${JN_MODULES})
if(TARGET JNFoundation_Testing)
  jn_install_library(JNFoundation_Testing Testing)
  jn_install_pkg_config(JNFoundation_Testing Testing "Helpers for the tests of applications"
    REQUIRES "JNFoundation = ${PROJECT_VERSION}")
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/JNFoundation DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h" PATTERN "impl" EXCLUDE)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
# gdb loads what is named after a shared library by itself, and that finds the rest.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/debugging/
  DESTINATION ${CMAKE_INSTALL_DATADIR}/JNFoundation
  FILES_MATCHING PATTERN "*.py" PATTERN "__pycache__" EXCLUDE)
if(BUILD_SHARED_LIBS)
  install(FILES ${PROJECT_SOURCE_DIR}/debugging/jnfoundation_gdb.py
    DESTINATION ${CMAKE_INSTALL_DATADIR}/gdb/auto-load${CMAKE_INSTALL_FULL_LIBDIR}
    RENAME $<TARGET_FILE_NAME:JNFoundation>-gdb.py)
endif()
get_target_property(JN_LIBRARY_TYPE JNFoundation TYPE)
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/JNFoundationConfig.cmake.in
  ${PROJECT_BINARY_DIR}/JNFoundationConfig.cmake
  INSTALL_DESTINATION ${package_directory})
# Before 1.0 a minor release may change what a user sees.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/JNFoundationConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/JNFoundationConfig.cmake
  ${PROJECT_BINARY_DIR}/JNFoundationConfigVersion.cmake
  DESTINATION ${package_directory})
