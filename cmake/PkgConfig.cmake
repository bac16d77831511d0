# What pkg-config reads. The files find the library from where they stand themselves, so that the
# installed tree may be moved.

# jn_install_pkg_config(<target> <component> <description> [REQUIRES <module>...]
#                       [REQUIRES_PRIVATE <module>...] [CFLAGS <flag>...])
# Installs JNFoundation<component>.pc. Modules of REQUIRES are seen by who compiles, or belong to the
# library's own components; a static library needs those of REQUIRES_PRIVATE as well.
function(jn_install_pkg_config target component description)
  cmake_parse_arguments(PC "" "" "REQUIRES;REQUIRES_PRIVATE;CFLAGS" ${ARGN})
  set(name JNFoundation${component})
  set(directory ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR} OR IS_ABSOLUTE ${CMAKE_INSTALL_INCLUDEDIR})
    set(prefix ${CMAKE_INSTALL_PREFIX})
    set(libdir ${CMAKE_INSTALL_FULL_LIBDIR})
    set(includedir ${CMAKE_INSTALL_FULL_INCLUDEDIR})
  else()
    # As many steps up as the directory of these files is deep.
    cmake_path(NORMAL_PATH directory)
    string(REGEX REPLACE "[^/]+" ".." up ${directory})
    set(prefix \${pcfiledir}/${up})
    set(libdir \${prefix}/${CMAKE_INSTALL_LIBDIR})
    set(includedir \${prefix}/${CMAKE_INSTALL_INCLUDEDIR})
  endif()
  list(JOIN PC_REQUIRES ", " requires)
  list(JOIN PC_REQUIRES_PRIVATE ", " requires_private)
  set(flags -I\${includedir} ${PC_CFLAGS})
  if(JN_COUNT_OBJECTS AND NOT component)
    list(APPEND flags -DJN_COUNT_OBJECTS=1)
  endif()
  list(JOIN flags " " flags)
  get_target_property(type ${target} TYPE)
  set(libraries "")
  if(NOT type STREQUAL INTERFACE_LIBRARY)
    set(libraries "-L\${libdir} -l${name}")
  endif()
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/${name}.pc @ONLY CONTENT
"prefix=@prefix@
libdir=@libdir@
includedir=@includedir@

Name: @name@
Description: @description@
Version: @PROJECT_VERSION@
Requires: @requires@
Requires.private: @requires_private@
Libs: @libraries@
Libs.private: @CMAKE_THREAD_LIBS_INIT@
Cflags: @flags@
")
  if(NOT component)
    set(component Unspecified)
  endif()
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${directory} COMPONENT ${component})
endfunction()
