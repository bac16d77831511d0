# Tests that are not GoogleTest programs: rules about the tree that are quick enough to watch with
# every run, and the package as its users meet it.

find_package(Python3 REQUIRED COMPONENTS Interpreter)

foreach(rule exports floors forward readme registered)
  add_test(NAME rule_${rule}
    COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/scripts/check_${rule}.py
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
  set_tests_properties(rule_${rule} PROPERTIES LABELS rule)
endforeach()
# Each rule must still catch what it is there for.
add_test(NAME rules_catch_offenders
  COMMAND ${Python3_EXECUTABLE} -m unittest discover -s ${PROJECT_SOURCE_DIR}/tests/scripts -p *Test.py
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
set_tests_properties(rules_catch_offenders PROPERTIES LABELS rule)

# What must not compile does not, and says why: the first line of each file names a part of it.
if(NOT MSVC)
  file(GLOB refusals CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/refusals/*.cpp)
  foreach(source ${refusals})
    cmake_path(GET source STEM name)
    file(STRINGS ${source} reason LIMIT_COUNT 1)
    string(REPLACE "// Refused with: " "" reason "${reason}")
    add_test(NAME refuses_${name}
      COMMAND ${CMAKE_CXX_COMPILER} -std=c++20 -fsyntax-only -I${PROJECT_SOURCE_DIR} ${source})
    set_tests_properties(refuses_${name} PROPERTIES LABELS rule PASS_REGULAR_EXPRESSION "${reason}")
  endforeach()
endif()

if(TARGET JNFoundation AND JN_INSTALL)
  get_property(adapters GLOBAL PROPERTY JN_ADAPTERS_BUILT)
  get_property(adapter_headers GLOBAL PROPERTY JN_ADAPTER_HEADERS)
  set(components Testing ${adapters})
  list(JOIN components " " components)
  list(JOIN adapter_headers " " adapter_headers)
  foreach(way installed fetched)
    add_test(NAME package_${way}
      COMMAND ${CMAKE_COMMAND}
        -D WAY=${way}
        -D SOURCE=${PROJECT_SOURCE_DIR}
        -D BUILD=${PROJECT_BINARY_DIR}
        -D GENERATOR=${CMAKE_GENERATOR}
        -D COMPILER=${CMAKE_CXX_COMPILER}
        -D LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER}
        -D CONFIGURATION=${CMAKE_BUILD_TYPE}
        -D VERSION=${PROJECT_VERSION}
        -D COUNT_OBJECTS=${JN_COUNT_OBJECTS}
        -D WARNING_AS_ERROR=${CMAKE_COMPILE_WARNING_AS_ERROR}
        "-D OPTIONS=-DJN_STRICT_WARNINGS=ON -DCMAKE_CXX_EXTENSIONS=OFF"
        -D COMPONENTS=${components}
        -D ADAPTER_HEADERS=${adapter_headers}
        "-D FLAGS=${CMAKE_CXX_FLAGS}"
        "-D FLAGS_DEBUG=${CMAKE_CXX_FLAGS_DEBUG}"
        -P ${PROJECT_SOURCE_DIR}/tests/package/run.cmake)
    set_tests_properties(package_${way} PROPERTIES LABELS package TIMEOUT 900)
  endforeach()
endif()

# The printers for debuggers, on a program that is compiled as users compile theirs for debugging.
find_program(JN_GDB gdb)
find_program(JN_LLDB lldb)
if(TARGET JNFoundation AND (JN_GDB OR JN_LLDB) AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  add_executable(debugging_subject ${PROJECT_SOURCE_DIR}/tests/debugging/Subject.cpp)
  # Classes whose virtual functions are the library's are described too.
  target_compile_options(debugging_subject PRIVATE -O0 -g -femit-class-debug-always)
  target_link_libraries(debugging_subject PRIVATE JNFoundation)
  foreach(debugger gdb lldb)
    string(TOUPPER JN_${debugger} program)
    if(${program})
      add_test(NAME debugging_${debugger}
        COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tests/debugging/printers.py
          ${${program}} ${PROJECT_SOURCE_DIR}/debugging/jnfoundation_${debugger}.py
          $<TARGET_FILE:debugging_subject>)
      set_tests_properties(debugging_${debugger} PROPERTIES LABELS package TIMEOUT 300)
    endif()
  endforeach()
endif()
