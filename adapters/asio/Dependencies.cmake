# Standalone asio is headers only, and has no package of its own in every distribution.
find_path(JN_ASIO_INCLUDE_DIR asio/io_context.hpp)
mark_as_advanced(JN_ASIO_INCLUDE_DIR)
set(JNFoundation_Asio_LACKS "")
if(NOT JN_ASIO_INCLUDE_DIR)
  set(JNFoundation_Asio_LACKS "standalone asio (the header asio/io_context.hpp; set JN_ASIO_INCLUDE_DIR)")
elseif(NOT TARGET JNFoundation::AsioHeaders)
  add_library(JNFoundation::AsioHeaders INTERFACE IMPORTED GLOBAL)
  set_target_properties(JNFoundation::AsioHeaders PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${JN_ASIO_INCLUDE_DIR}")
endif()
