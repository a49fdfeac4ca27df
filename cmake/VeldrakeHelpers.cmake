# One helper per kind of target, so every area declares its targets the same way.
include(VeldrakeLayers)

# Warnings for every target of ours; errors with VELDRAKE_WERROR (the debug preset).
function(veldrake_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wshadow -Wnon-virtual-dtor
                                           -Wconversion -Wsign-conversion -Wno-unused-parameter)
  if(VELDRAKE_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# The include check (cmake/VeldrakeCheckLayers.cmake) as a step of the build: every
# layer's core waits for it, so an include above its layer fails the build, not only
# CTest. It runs again whenever a file of the library or the layer table changes.
function(_veldrake_layer_check)
  if(TARGET veldrake_layer_check)
    return()
  endif()
  file(GLOB_RECURSE files CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/*.h
       ${PROJECT_SOURCE_DIR}/src/*.cpp ${PROJECT_SOURCE_DIR}/include/*.h)
  set(stamp ${PROJECT_BINARY_DIR}/veldrake_layers.checked)
  add_custom_command(
    OUTPUT ${stamp}
    COMMAND ${CMAKE_COMMAND} -DVELDRAKE_SOURCE_DIR=${PROJECT_SOURCE_DIR}
            -P ${PROJECT_SOURCE_DIR}/cmake/VeldrakeCheckLayers.cmake
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${files} ${PROJECT_SOURCE_DIR}/cmake/VeldrakeLayers.cmake
            ${PROJECT_SOURCE_DIR}/cmake/VeldrakeCheckLayers.cmake
    COMMENT "Checking every include of the library against its layer"
    VERBATIM)
  add_custom_target(veldrake_layer_check DEPENDS ${stamp})
endfunction()

# veldrake_layer(name): the OBJECT core veldrake_<name> of one layer of the library, from
# the sources of the current folder (src/<name>). It sees the shared include/ root, its
# own folder (its private headers) and, through the layers it may use (as
# cmake/VeldrakeLayers.cmake has them), their folders; the platform frameworks it calls
# stay its own. The include check, run before it compiles, keeps it off the higher
# layers' public headers.
function(veldrake_layer name)
  if(NOT name IN_LIST VELDRAKE_LAYERS)
    message(FATAL_ERROR "${name} is no layer of cmake/VeldrakeLayers.cmake")
  endif()
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  set(target veldrake_${name})
  add_library(${target} OBJECT ${sources})
  target_include_directories(${target} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}
                                              ${PROJECT_SOURCE_DIR}/include)
  target_compile_definitions(${target} PRIVATE VELDRAKE_BUILDING_LIBRARY)
  foreach(used IN LISTS VELDRAKE_LAYER_${name}_USES)
    target_link_libraries(${target} PUBLIC veldrake_${used})
  endforeach()
  foreach(framework IN LISTS VELDRAKE_LAYER_${name}_PLATFORM)
    target_link_libraries(${target} PRIVATE Veldrake::${framework})
  endforeach()
  veldrake_warnings(${target})
  _veldrake_layer_check()
  add_dependencies(${target} veldrake_layer_check)
  set_property(GLOBAL APPEND PROPERTY VELDRAKE_CORES ${target})
endfunction()

# veldrake_test(name SOURCES... [LIBS ...] [LABELS ...]): a GoogleTest program run by CTest.
function(veldrake_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES} ${PROJECT_SOURCE_DIR}/tests/common/TestMain.cpp)
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gtest Threads::Threads)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/common)
  target_compile_definitions(${name} PRIVATE VELDRAKE_SOURCE_DIR_DEFAULT="${PROJECT_SOURCE_DIR}")
  veldrake_warnings(${name})
  include(GoogleTest)
  # Tests run under a UTF-8 locale: the library never sets one, a host does.
  gtest_discover_tests(${name}
    PROPERTIES ENVIRONMENT "LC_ALL=C.UTF-8" LABELS "${ARG_LABELS}"
    DISCOVERY_TIMEOUT 60)
endfunction()

# veldrake_fuzzer(what SOURCES... [LIBS ...]): with VELDRAKE_FUZZ a libFuzzer binary
# fuzz_<what>; otherwise a replay program that runs every file of fuzz/corpus/<what>/
# once, registered as a CTest test, so the corpus is a regression suite.
function(veldrake_fuzzer what)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  set(corpus ${PROJECT_SOURCE_DIR}/fuzz/corpus/${what})
  if(VELDRAKE_FUZZ)
    add_executable(fuzz_${what} ${ARG_SOURCES})
    target_link_options(fuzz_${what} PRIVATE -fsanitize=fuzzer)
    target_link_libraries(fuzz_${what} PRIVATE ${ARG_LIBS})
  else()
    add_executable(fuzz_${what}_replay ${ARG_SOURCES} ${PROJECT_SOURCE_DIR}/fuzz/common/ReplayMain.cpp)
    target_link_libraries(fuzz_${what}_replay PRIVATE ${ARG_LIBS})
    veldrake_warnings(fuzz_${what}_replay)
    if(VELDRAKE_TESTS)
      add_test(NAME fuzz_replay_${what} COMMAND fuzz_${what}_replay ${corpus})
      set_tests_properties(fuzz_replay_${what} PROPERTIES ENVIRONMENT "LC_ALL=C.UTF-8" LABELS fuzz)
    endif()
  endif()
endfunction()

# veldrake_bench(name SOURCES... [LIBS ...]): a Google Benchmark program (never a test).
function(veldrake_bench name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} benchmark::benchmark Threads::Threads)
  veldrake_warnings(${name})
endfunction()

# Adds every immediate subdirectory of the current one that has a CMakeLists.txt, so
# each area (tests/plist, fuzz/bplist, ...) owns its own folder.
macro(veldrake_add_subdirectories)
  file(GLOB _children LIST_DIRECTORIES true RELATIVE ${CMAKE_CURRENT_SOURCE_DIR}
       ${CMAKE_CURRENT_SOURCE_DIR}/*)
  list(SORT _children)
  foreach(_child IN LISTS _children)
    if(IS_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/${_child}
       AND EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${_child}/CMakeLists.txt)
      add_subdirectory(${_child})
    endif()
  endforeach()
endmacro()
