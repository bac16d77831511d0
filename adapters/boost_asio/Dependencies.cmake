# Boost.Asio is headers only, and has no package of its own in every distribution.
find_path(JN_BOOST_ASIO_INCLUDE_DIR boost/asio/io_context.hpp)
mark_as_advanced(JN_BOOST_ASIO_INCLUDE_DIR)
set(JNFoundation_BoostAsio_LACKS "")
if(NOT JN_BOOST_ASIO_INCLUDE_DIR)
  set(JNFoundation_BoostAsio_LACKS "Boost.Asio (the header boost/asio/io_context.hpp; set JN_BOOST_ASIO_INCLUDE_DIR)")
elseif(NOT TARGET JNFoundation::BoostAsioHeaders)
  add_library(JNFoundation::BoostAsioHeaders INTERFACE IMPORTED GLOBAL)
  set_target_properties(JNFoundation::BoostAsioHeaders PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${JN_BOOST_ASIO_INCLUDE_DIR}")
endif()
