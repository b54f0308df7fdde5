# Compiles ALLOWED (must succeed) and FORBIDDEN (must fail as not found) with the flags of one
# layer. Run by the layers.* tests.
file(MAKE_DIRECTORY "${WORK}")
foreach(kind ALLOWED FORBIDDEN)
  file(WRITE "${WORK}/${kind}.cpp" "#include \"${${kind}}\"\n")
  execute_process(
    COMMAND ${COMPILER} -std=c++20 -fsyntax-only @${FLAGS} ${WORK}/${kind}.cpp
    RESULT_VARIABLE result ERROR_VARIABLE errors OUTPUT_QUIET)
  if(kind STREQUAL "ALLOWED" AND NOT result EQUAL 0)
    message(FATAL_ERROR "the layer cannot include ${ALLOWED}, which it may use:\n${errors}")
  endif()
  if(kind STREQUAL "FORBIDDEN")
    if(result EQUAL 0)
      message(FATAL_ERROR "the layer reaches ${FORBIDDEN}, which it must not")
    endif()
    if(NOT errors MATCHES "No such file|file not found")
      message(FATAL_ERROR "including ${FORBIDDEN} failed for another reason:\n${errors}")
    endif()
  endif()
endforeach()
