# Builds and runs the project beside this file out of the tree, with the library as WAY says:
#   installed     find_package, after the installed tree was moved
#   pkgconfig     the flags of pkg-config alone, after the same
#   fetched       FetchContent of the source tree
#   subdirectory  add_subdirectory of the source tree
#   amalgamation  the two files that scripts/amalgamate.py writes
# COMPONENTS are those to use, ADAPTER_HEADERS the headers of adapters among them where a source tree
# is used. One source of the project includes every public header; each adapter's has a source of its
# own. PREFIX, if it is given, is where the library is installed already; else it is installed from
# BUILD. OPTIONS are more of CMake's for the project.

cmake_path(SET work ${BUILD}/package/${WAY})
if(WAY STREQUAL subdirectory)
  cmake_path(SET work ${BUILD}/package/fetched)
endif()
file(REMOVE_RECURSE ${work})
file(GLOB sources ${CMAKE_CURRENT_LIST_DIR}/*.cpp)
file(COPY ${CMAKE_CURRENT_LIST_DIR}/CMakeLists.txt ${sources} DESTINATION ${work}/source)

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
separate_arguments(OPTIONS)
set(options -G ${GENERATOR} -D WAY=${WAY} -D EXPECTED_VERSION=${VERSION}
  -D CMAKE_CXX_COMPILER=${COMPILER} -D CMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}
  -D CMAKE_BUILD_TYPE=${CONFIGURATION} "-DCOMPONENTS=${COMPONENTS}" "-DCMAKE_CXX_FLAGS=${FLAGS}"
  "-DCMAKE_CXX_FLAGS_DEBUG=${FLAGS_DEBUG}" ${OPTIONS})
if(WAY MATCHES "^(installed|pkgconfig)$")
  if(NOT PREFIX)
    run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${work}/first)
    file(RENAME ${work}/first ${work}/prefix)
    set(PREFIX ${work}/prefix)
    # Nothing that is installed may lead back to where it was made.
    file(GLOB_RECURSE texts ${PREFIX}/*.cmake ${PREFIX}/*.pc)
    foreach(text ${texts})
      file(READ ${text} content)
      foreach(place ${SOURCE} ${BUILD} ${work}/first)
        string(FIND "${content}" "${place}" position)
        if(NOT position EQUAL -1)
          message(FATAL_ERROR "${text} knows ${place}")
        endif()
      endforeach()
    endforeach()
  endif()
  list(APPEND options -D CMAKE_PREFIX_PATH=${PREFIX})
  set(tree ${PREFIX}/include)
  file(GLOB headers RELATIVE ${tree}/JNFoundation/adapters ${tree}/JNFoundation/adapters/*.h)
  list(JOIN headers " " ADAPTER_HEADERS)
elseif(WAY STREQUAL amalgamation)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  run(${Python3_EXECUTABLE} ${SOURCE}/scripts/amalgamate.py ${work}/tree)
  list(APPEND options -D JNFOUNDATION_TREE=${work}/tree)
  file(GLOB sources ${work}/source/*.cpp)
  foreach(source ${sources})
    file(READ ${source} content)
    string(REGEX REPLACE "#include <JNFoundation/[^>]*>" "#include \"JNFoundation.h\"" content "${content}")
    file(WRITE ${source} "${content}")
  endforeach()
  set(tree "")
else()
  list(APPEND options -D JNFOUNDATION_TREE=${SOURCE} -D JN_COUNT_OBJECTS=${COUNT_OBJECTS}
    -D CMAKE_COMPILE_WARNING_AS_ERROR=${WARNING_AS_ERROR})
  set(tree ${SOURCE})
endif()

if(tree)
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
endif()
# Two libraries with adapters may not stand each other's headers.
separate_arguments(ADAPTER_HEADERS)
foreach(header ${ADAPTER_HEADERS})
  cmake_path(GET header STEM name)
  file(WRITE ${work}/source/header_${name}.cpp "#include <JNFoundation/adapters/${header}>\n")
endforeach()

if(WAY STREQUAL pkgconfig)
  file(GLOB_RECURSE files ${PREFIX}/JNFoundation.pc ${PREFIX}/libJNFoundation.*)
  list(FILTER files INCLUDE REGEX "\\.pc$")
  cmake_path(GET files PARENT_PATH directory)
  set(ENV{PKG_CONFIG_PATH} ${directory})
  separate_arguments(components UNIX_COMMAND "${COMPONENTS}")
  set(defined "-DEXPECTED_VERSION=\"${VERSION}\"")
  set(modules JNFoundation)
  foreach(component ${components})
    list(APPEND modules JNFoundation${component})
    list(APPEND defined -DHAS_${component}=1)
  endforeach()
  run(pkg-config --print-errors --exists "JNFoundation = ${VERSION}")
  run(pkg-config --cflags ${modules})
  separate_arguments(compile UNIX_COMMAND "${output}")
  file(GLOB static ${directory}/../libJNFoundation.a)
  if(static)
    set(static --static)
  endif()
  run(pkg-config --libs ${static} ${modules})
  separate_arguments(link UNIX_COMMAND "${output}")
  file(GLOB sources ${work}/source/*.cpp)
  file(MAKE_DIRECTORY ${work}/build)
  cmake_path(NORMAL_PATH directory)
  cmake_path(GET directory PARENT_PATH libraries)
  # As Qt wants it, whose modules do not ask for it.
  run(${COMPILER} -std=c++20 -fPIC ${defined} ${compile} ${sources} -o ${work}/build/uses ${link}
    -Wl,-rpath,${libraries})
else()
  run(${CMAKE_COMMAND} -S ${work}/source -B ${work}/build ${options})
  run(${CMAKE_COMMAND} --build ${work}/build --target uses --parallel 2)
endif()
execute_process(COMMAND ${work}/build/uses WORKING_DIRECTORY ${work}/build RESULT_VARIABLE result
  OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result EQUAL 0 OR NOT output MATCHES "JNFoundation works")
  message(FATAL_ERROR "the program ended with ${result} and said: ${output}")
endif()
message(STATUS "${output}")
