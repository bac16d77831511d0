# One program, fuzz_<name>, for each fuzz/<name>.cpp: a part of the library that is called with
# whatever the fuzzer thinks of, and held against itself. They may use what helps the tests. Needs
# Clang; the preset "fuzz" sets it up.

add_custom_target(fuzzers)
file(GLOB fuzzers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/fuzz/*.cpp)
foreach(source ${fuzzers})
  cmake_path(GET source STEM name)
  add_executable(fuzz_${name} ${source})
  target_include_directories(fuzz_${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_compile_options(fuzz_${name} PRIVATE ${JN_WARNINGS})
  add_dependencies(fuzzers fuzz_${name})
  target_link_libraries(fuzz_${name} PRIVATE JNFoundation::JNFoundation -fsanitize=fuzzer)
endforeach()
