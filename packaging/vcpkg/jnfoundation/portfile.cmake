# An overlay port, for the tree that it stands in:
#   vcpkg install jnfoundation --overlay-ports=<tree>/packaging/vcpkg
cmake_path(SET SOURCE_PATH NORMALIZE "${CURRENT_PORT_DIR}/../../..")

set(adapters "")
foreach(pair asio:Asio glib:GLib qt:Qt rx:Rx)
  string(REPLACE ":" ";" pair ${pair})
  list(GET pair 0 feature)
  list(GET pair 1 component)
  if(feature IN_LIST FEATURES)
    list(APPEND adapters ${component})
  endif()
endforeach()
set(build_tools OFF)
if(tools IN_LIST FEATURES)
  set(build_tools ON)
endif()

vcpkg_find_acquire_program(PKGCONFIG)
vcpkg_cmake_configure(
  SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS
    "-DJN_ADAPTERS=${adapters}"
    -DJN_BUILD_TESTS=OFF
    -DJN_BUILD_EXAMPLES=OFF
    -DJN_BUILD_TOOLS=${build_tools}
    "-DPKG_CONFIG_EXECUTABLE=${PKGCONFIG}")
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME JNFoundation CONFIG_PATH lib/cmake/JNFoundation)
vcpkg_fixup_pkgconfig()
if(build_tools)
  vcpkg_copy_tools(TOOL_NAMES jnmap AUTO_CLEAN)
endif()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
