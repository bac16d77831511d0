# Its targets are visible everywhere: a static adapter hands them to whoever links it.
set(QT_PROMOTE_TO_GLOBAL_TARGETS TRUE)
find_package(Qt6 QUIET COMPONENTS Core)
set(JNFoundation_Qt_LACKS "")
if(NOT TARGET Qt6::Core)
  set(JNFoundation_Qt_LACKS "Qt 6 (its package Qt6 with the component Core)")
endif()
