# One program, fuzz_<name>, for each fuzz/<name>.cpp: a parser called with whatever the fuzzer thinks
# of. Needs Clang; the preset "fuzz" sets it up.

get_property(fuzzed GLOBAL PROPERTY JN_CLOSURE_testing)
get_property(external GLOBAL PROPERTY JN_EXTERNAL_testing)
file(GLOB fuzzers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/fuzz/*.cpp)
foreach(source ${fuzzers})
  cmake_path(GET source STEM name)
  add_executable(fuzz_${name} ${source})
  target_include_directories(fuzz_${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_features(fuzz_${name} PRIVATE cxx_std_20)
  target_compile_options(fuzz_${name} PRIVATE ${JN_WARNINGS})
  foreach(object ${fuzzed})
    target_sources(fuzz_${name} PRIVATE $<TARGET_OBJECTS:${object}>)
  endforeach()
  target_link_libraries(fuzz_${name} PRIVATE ${external} Threads::Threads -fsanitize=fuzzer)
endforeach()
