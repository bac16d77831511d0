# RxCpp is headers only. RXCPP_ROOT may name its source tree or where it is installed.
find_path(JN_RXCPP_INCLUDE_DIR rxcpp/rx.hpp
  HINTS ${RXCPP_ROOT} $ENV{RXCPP_ROOT} PATH_SUFFIXES Rx/v2/src include)
mark_as_advanced(JN_RXCPP_INCLUDE_DIR)
set(JNFoundation_Rx_LACKS "")
if(NOT JN_RXCPP_INCLUDE_DIR)
  set(JNFoundation_Rx_LACKS "RxCpp (the header rxcpp/rx.hpp; set RXCPP_ROOT)")
elseif(NOT TARGET JNFoundation::RxCppHeaders)
  add_library(JNFoundation::RxCppHeaders INTERFACE IMPORTED GLOBAL)
  set_target_properties(JNFoundation::RxCppHeaders PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${JN_RXCPP_INCLUDE_DIR}")
endif()
