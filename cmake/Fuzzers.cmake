# One program, fuzz_<name>, for each fuzz/<name>.cpp: a parser called with whatever the fuzzer thinks
# of. Needs Clang; the preset "fuzz" sets it up.

file(GLOB fuzzers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/fuzz/*.cpp)
foreach(source ${fuzzers})
  cmake_path(GET source STEM name)
  add_executable(fuzz_${name} ${source})
  target_compile_options(fuzz_${name} PRIVATE ${JN_WARNINGS})
  target_link_libraries(fuzz_${name} PRIVATE JNFoundation::JNFoundation -fsanitize=fuzzer)
endforeach()
