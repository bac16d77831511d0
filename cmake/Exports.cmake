# What a shared library shows of itself: the namespace JNFoundation, and of JNFoundation::impl only
# what public headers define or call. Nothing of the libraries beneath or of the standard library's
# templates, so that another copy of them in the same process is not mixed up with these. Symbols
# carry the version in which they may change, in their names and beside them, so that two such
# versions do not meet either.

# How the mangled names of what belongs to a class or namespace begin: functions by their qualifiers,
# variables in functions, guards, references, thread-local access, virtual tables, type information.
set(JN_EXPORT_PREFIXES _ZN _ZNK _ZNR _ZNKR _ZNO _ZNKO _ZZN _ZZNK _ZGVN _ZGVZN _ZGVZNK _ZGRN _ZTHN _ZTWN
  _ZTVN _ZTTN _ZTCN _ZTIN _ZTSN _ZThn*_N _ZThn*_NK _ZTv0_n*_N _ZTv0_n*_NK)

# jn_export_only_ours(<target>)
function(jn_export_only_ours target)
  get_target_property(type ${target} TYPE)
  if(NOT type STREQUAL SHARED_LIBRARY OR NOT CMAKE_EXECUTABLE_FORMAT STREQUAL ELF)
    return()
  endif()
  set(script ${PROJECT_BINARY_DIR}/JNFoundation.map)
  file(STRINGS ${PROJECT_SOURCE_DIR}/cmake/exports.txt machinery REGEX "^[A-Za-z]")
  string(REPLACE . _ space v${JN_ABI})
  string(LENGTH ${space} length)
  set(space 12JNFoundation${length}${space})
  set(shown "")
  foreach(prefix ${JN_EXPORT_PREFIXES})
    # Everything but "impl", letter by letter: what is shown cannot be hidden again.
    foreach(rest [^4] 4[^i] 4i[^m] 4im[^p] 4imp[^l])
      string(APPEND shown "    ${prefix}${space}${rest}*;\n")
    endforeach()
    foreach(name ${machinery})
      string(LENGTH ${name} length)
      string(APPEND shown "    ${prefix}${space}4impl${length}${name}*;\n")
    endforeach()
  endforeach()
  file(CONFIGURE OUTPUT ${script} @ONLY CONTENT
"JNFoundation_@JN_ABI@ {
  global:
@shown@  local:
    *;
};
")
  target_link_options(${target} PRIVATE LINKER:--version-script=${script})
  set_target_properties(${target} PROPERTIES LINK_DEPENDS ${script})
endfunction()
