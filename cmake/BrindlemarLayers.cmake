# The layers of the helper are separate targets, and each target's headers are reachable only
# through the targets that link it. A header is included by its path under src/
# ("capture/still_capture.h"), but src/ itself is never an include directory: every target
# exposes its own headers as links in a folder of the build tree, so including a header of a
# layer that the target does not link fails to compile.
#
#   base (errors, text, JSON helpers, descriptors, child processes)
#     <- seam (src/platform/*.h, interfaces only)
#       <- core (protocol: output, command loop, state, permissions)
#         <- subsystems (capture, input, cast, semantics, watch, filedrop)
#           <- application (main.cpp and the command table)
#       <- backends (sim, x11, macos: the seam and the base only)

set(BRINDLEMAR_LAYER_ROOT "${CMAKE_BINARY_DIR}/layers")

# brindlemar_expose_headers(<target> <PUBLIC|INTERFACE> PREFIX <path under src> HEADERS <files>)
#   Makes each header reachable as "<prefix>/<file name>" to <target> and to whoever links it.
function(brindlemar_expose_headers target scope)
  cmake_parse_arguments(ARG "" "PREFIX" "HEADERS" ${ARGN})
  set(root "${BRINDLEMAR_LAYER_ROOT}/${target}")
  foreach(header IN LISTS ARG_HEADERS)
    get_filename_component(absolute "${header}" ABSOLUTE)
    get_filename_component(name "${header}" NAME)
    if(ARG_PREFIX STREQUAL "")
      set(link "${root}/${name}")
    else()
      set(link "${root}/${ARG_PREFIX}/${name}")
    endif()
    get_filename_component(link_dir "${link}" DIRECTORY)
    file(MAKE_DIRECTORY "${link_dir}")
    if(NOT IS_SYMLINK "${link}")
      file(CREATE_LINK "${absolute}" "${link}" SYMBOLIC)
    endif()
  endforeach()
  target_include_directories(${target} ${scope} "${root}")
endfunction()

# The headers directly inside the current source directory (subfolders are other layers).
function(brindlemar_directory_headers out_var)
  file(GLOB headers CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.h")
  set(${out_var} ${headers} PARENT_SCOPE)
endfunction()

# brindlemar_layer(<target> [INTERFACE] [PREFIX <path>] [HEADERS <files>] [SOURCES <files>]
#                  [DEPENDS <targets>] [PRIVATE_DEPENDS <targets>])
#   A static library (or an interface target) whose headers are those of the current source
#   directory, or HEADERS when given, reachable as "<prefix>/<name>". PREFIX defaults to the
#   directory's path under src/. DEPENDS are linked publicly: their headers are part of this
#   layer's interface.
function(brindlemar_layer target)
  cmake_parse_arguments(ARG "INTERFACE" "PREFIX"
                        "HEADERS;SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
  if(NOT DEFINED ARG_PREFIX)
    file(RELATIVE_PATH ARG_PREFIX "${PROJECT_SOURCE_DIR}/src" "${CMAKE_CURRENT_SOURCE_DIR}")
  endif()
  if(NOT ARG_HEADERS)
    brindlemar_directory_headers(ARG_HEADERS)
  endif()
  if(ARG_INTERFACE)
    add_library(${target} INTERFACE)
    brindlemar_expose_headers(${target} INTERFACE PREFIX "${ARG_PREFIX}" HEADERS ${ARG_HEADERS})
    target_link_libraries(${target} INTERFACE ${ARG_DEPENDS})
    return()
  endif()
  add_library(${target} STATIC ${ARG_SOURCES})
  brindlemar_expose_headers(${target} PUBLIC PREFIX "${ARG_PREFIX}" HEADERS ${ARG_HEADERS})
  target_link_libraries(${target} PUBLIC ${ARG_DEPENDS}
                        PRIVATE brindlemar_warnings ${ARG_PRIVATE_DEPENDS})
endfunction()
