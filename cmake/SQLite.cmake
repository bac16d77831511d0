# Where SQLite comes from: the system's, or a copy of the application's own inside the library, whose
# names are other ones, so that it goes with another SQLite in the same program. Sets JN_SQLITE_LINK,
# the target to link, and JN_SQLITE_OBJECTS, the objects that the library holds.

set(JN_SQLITE system CACHE STRING "system, or bundled: the sqlite3.c in JN_SQLITE_SOURCE")
set_property(CACHE JN_SQLITE PROPERTY STRINGS system bundled)
set(JN_SQLITE_SOURCE "" CACHE PATH "Directory of sqlite3.c and sqlite3.h, to be bundled")
set(JN_SQLITE_OBJECTS "")

if(JN_SQLITE STREQUAL system)
  set(JN_SQLITE_LINK PkgConfig::sqlite3)
  return()
elseif(NOT JN_SQLITE STREQUAL bundled)
  message(FATAL_ERROR "JN_SQLITE is system or bundled, not ${JN_SQLITE}")
elseif(NOT EXISTS ${JN_SQLITE_SOURCE}/sqlite3.c OR NOT EXISTS ${JN_SQLITE_SOURCE}/sqlite3.h)
  message(FATAL_ERROR "JN_SQLITE=bundled needs JN_SQLITE_SOURCE: a directory with sqlite3.c and sqlite3.h")
endif()
enable_language(C)

# Every function and variable of SQLite's interface under a name of ours.
file(READ ${JN_SQLITE_SOURCE}/sqlite3.h interface)
string(REGEX MATCHALL "SQLITE_API [^;(]*sqlite3_[a-z0-9_]+" declarations "${interface}")
list(TRANSFORM declarations REPLACE ".*(sqlite3_[a-z0-9_]+)$" "\\1")
list(REMOVE_DUPLICATES declarations)
set(renamed "")
foreach(name ${declarations})
  string(APPEND renamed "#define ${name} jn_${name}\n")
endforeach()
set(names ${PROJECT_BINARY_DIR}/sqlite/jn_sqlite_names.h)
file(CONFIGURE OUTPUT ${names} CONTENT "${renamed}" @ONLY)

add_library(jn_sqlite_interface INTERFACE)
target_include_directories(jn_sqlite_interface SYSTEM INTERFACE ${JN_SQLITE_SOURCE})
target_compile_options(jn_sqlite_interface INTERFACE "SHELL:-include ${names}")
set(JN_SQLITE_LINK $<BUILD_INTERFACE:jn_sqlite_interface>)

add_library(jn_sqlite OBJECT ${JN_SQLITE_SOURCE}/sqlite3.c)
target_link_libraries(jn_sqlite PRIVATE jn_sqlite_interface)
target_compile_definitions(jn_sqlite PRIVATE SQLITE_THREADSAFE=1 SQLITE_OMIT_LOAD_EXTENSION
  HAVE_USLEEP=1)
set_target_properties(jn_sqlite PROPERTIES POSITION_INDEPENDENT_CODE ON C_VISIBILITY_PRESET hidden
  UNITY_BUILD OFF)
set(JN_SQLITE_OBJECTS jn_sqlite)
