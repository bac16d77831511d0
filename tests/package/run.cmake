# Builds and runs the project beside this file out of the tree, against the library as installed or
# against its source tree, with the adapters that were built. The project's second source includes
# every public header; each adapter's has a source of its own.

cmake_path(SET work ${BUILD}/package/${WAY})
file(REMOVE_RECURSE ${work})
file(COPY ${SOURCE}/tests/package/CMakeLists.txt ${SOURCE}/tests/package/main.cpp
  ${SOURCE}/tests/package/hosts.cpp DESTINATION ${work}/source)

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output
    ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    list(JOIN ARGV " " command)
    message(NOTICE "${command}\n${output}")
    message(FATAL_ERROR "ended with ${result}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

# The options of the build around, so that the compiler cache knows every object already.
set(options -G ${GENERATOR} -D CMAKE_CXX_COMPILER=${COMPILER}
  -D CMAKE_BUILD_TYPE=${CONFIGURATION} -D CMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}
  "-DADAPTERS=${ADAPTERS}" "-DCMAKE_CXX_FLAGS=${FLAGS}" "-DCMAKE_CXX_FLAGS_DEBUG=${FLAGS_DEBUG}")
if(WAY STREQUAL "installed")
  run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${work}/prefix)
  list(APPEND options -D CMAKE_PREFIX_PATH=${work}/prefix -D JNFOUNDATION_VERSION=${VERSION})
  set(tree ${work}/prefix/include)
else()
  list(APPEND options -D JNFOUNDATION_TREE=${SOURCE} -D JN_COUNT_OBJECTS=${COUNT_OBJECTS}
    -D CMAKE_COMPILE_WARNING_AS_ERROR=${WARNING_AS_ERROR})
  set(tree ${SOURCE})
endif()

file(GLOB_RECURSE headers RELATIVE ${tree} ${tree}/JNFoundation/*.h)
list(FILTER headers EXCLUDE REGEX "/impl/|-inl\\.h$|/adapters/")
if(NOT headers)
  message(FATAL_ERROR "no public headers in ${tree}")
endif()
set(includes "")
foreach(header ${headers})
  string(APPEND includes "#include <${header}>\n")
endforeach()
file(WRITE ${work}/source/every_header.cpp "${includes}")
# Two libraries with adapters may not stand each other's headers.
separate_arguments(ADAPTER_HEADERS)
foreach(header ${ADAPTER_HEADERS})
  cmake_path(GET header STEM name)
  file(WRITE ${work}/source/header_${name}.cpp "#include <JNFoundation/adapters/${header}>\n")
endforeach()

run(${CMAKE_COMMAND} -S ${work}/source -B ${work}/build ${options})
run(${CMAKE_COMMAND} --build ${work}/build --target uses --parallel 2)
run(${work}/build/uses)
if(NOT output MATCHES "JNFoundation works")
  message(FATAL_ERROR "the program said: ${output}")
endif()
message(STATUS "${output}")
