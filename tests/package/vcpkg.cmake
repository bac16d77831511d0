# Runs the port of vcpkg with functions of the same names that do here what vcpkg's do there, as far
# as the port can see it. BUILD is where it builds, CURRENT_PACKAGES_DIR where it installs.
cmake_minimum_required(VERSION 3.22)

function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(vcpkg_find_acquire_program name)
  find_program(${name} NAMES pkgconf pkg-config REQUIRED)
endfunction()

function(vcpkg_cmake_configure)
  cmake_parse_arguments(PARSE_ARGV 0 PORT "" "SOURCE_PATH" "OPTIONS")
  if(PORT_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "vcpkg_cmake_configure does not know ${PORT_UNPARSED_ARGUMENTS}")
  endif()
  run(${CMAKE_COMMAND} -S ${PORT_SOURCE_PATH} -B ${BUILD} -G Ninja ${PORT_OPTIONS}
    -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=OFF -DCMAKE_UNITY_BUILD=ON
    -DCMAKE_UNITY_BUILD_BATCH_SIZE=40 --warn-uninitialized)
endfunction()

function(vcpkg_cmake_install)
  run(${CMAKE_COMMAND} --build ${BUILD} --parallel ${JOBS})
  run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${CURRENT_PACKAGES_DIR})
endfunction()

# CMake files go to share/<name>, and find the rest from there.
function(vcpkg_cmake_config_fixup)
  cmake_parse_arguments(PARSE_ARGV 0 PORT "" "PACKAGE_NAME;CONFIG_PATH" "")
  set(from ${CURRENT_PACKAGES_DIR}/${PORT_CONFIG_PATH})
  if(NOT EXISTS ${from}/${PORT_PACKAGE_NAME}Config.cmake)
    message(FATAL_ERROR "${from} has no ${PORT_PACKAGE_NAME}Config.cmake")
  endif()
  file(GLOB files ${from}/*.cmake)
  foreach(file ${files})
    file(READ ${file} content)
    string(REPLACE [[get_filename_component(_IMPORT_PREFIX "${_IMPORT_PREFIX}" PATH)
get_filename_component(_IMPORT_PREFIX "${_IMPORT_PREFIX}" PATH)
get_filename_component(_IMPORT_PREFIX "${_IMPORT_PREFIX}" PATH)]]
      [[get_filename_component(_IMPORT_PREFIX "${_IMPORT_PREFIX}" PATH)
get_filename_component(_IMPORT_PREFIX "${_IMPORT_PREFIX}" PATH)]] content "${content}")
    string(REPLACE "/../../../" "/../../" content "${content}")
    cmake_path(GET file FILENAME name)
    file(WRITE ${CURRENT_PACKAGES_DIR}/share/${PORT_PACKAGE_NAME}/${name} "${content}")
  endforeach()
  file(REMOVE_RECURSE ${from})
endfunction()

function(vcpkg_fixup_pkgconfig)
endfunction()

function(vcpkg_copy_tools)
endfunction()

function(vcpkg_install_copyright)
  cmake_parse_arguments(PARSE_ARGV 0 PORT "" "" "FILE_LIST")
  foreach(file ${PORT_FILE_LIST})
    file(READ ${file} content)
  endforeach()
endfunction()

include(${CURRENT_PORT_DIR}/portfile.cmake)
