# The library that a user links: every floor in one file, with its headers, its licence and the
# package files that find_package(JNFoundation) reads.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

get_property(floors GLOBAL PROPERTY JN_FLOORS)
if(NOT floors)
  return()
endif()

add_library(JNFoundation)
add_library(JNFoundation::JNFoundation ALIAS JNFoundation)
set_target_properties(JNFoundation PROPERTIES
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
  LINKER_LANGUAGE CXX)
target_compile_features(JNFoundation PUBLIC cxx_std_20)
target_include_directories(JNFoundation PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
if(JN_COUNT_OBJECTS)
  # Constructors in headers count too, so users must agree with the library.
  target_compile_definitions(JNFoundation PUBLIC JN_COUNT_OBJECTS=1)
endif()
target_link_libraries(JNFoundation PUBLIC Threads::Threads)
foreach(floor ${floors})
  target_sources(JNFoundation PRIVATE $<TARGET_OBJECTS:jn_${floor}>)
  get_property(external GLOBAL PROPERTY JN_EXTERNAL_${floor})
  target_link_libraries(JNFoundation PRIVATE ${external})
endforeach()

if(NOT JN_INSTALL)
  return()
endif()

set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/JNFoundation)
install(TARGETS JNFoundation EXPORT JNFoundationTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/JNFoundation DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h" PATTERN "impl" EXCLUDE)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
# gdb loads what is named after a shared library by itself.
install(FILES ${PROJECT_SOURCE_DIR}/debugging/jnfoundation_gdb.py
  DESTINATION ${CMAKE_INSTALL_DATADIR}/JNFoundation)
if(BUILD_SHARED_LIBS)
  install(FILES ${PROJECT_SOURCE_DIR}/debugging/jnfoundation_gdb.py
    DESTINATION ${CMAKE_INSTALL_DATADIR}/gdb/auto-load${CMAKE_INSTALL_FULL_LIBDIR}
    RENAME $<TARGET_FILE_NAME:JNFoundation>-gdb.py)
endif()
install(EXPORT JNFoundationTargets NAMESPACE JNFoundation:: DESTINATION ${package_directory})
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
