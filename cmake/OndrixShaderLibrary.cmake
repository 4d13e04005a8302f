# ondrix_add_shader_library(TARGET [NAME name] [FOR program-or-library] [DESTINATION folder] SOURCES source...)
#
# Builds the GPU functions in the sources into the folder name.oxlib (TARGET.oxlib without NAME), as one module for each SIMD
# level of the processor family, and one of the level "checked" for ONDRIX_VALIDATE=1. With FOR, the folder lies in the
# bundle of that target, which then depends on it; with DESTINATION, in that folder; otherwise in the current binary folder.
# The library named "default" in a program's bundle is its default library. The property ONDRIX_LIBRARY_FOLDER of TARGET is
# the path of the folder.
#
# ONDRIX_CHECKED_MODULES=OFF leaves the level "checked" out, ONDRIX_SIMD_LEVELS lists the others. Both are read at each call,
# so that set() works after find_package as well as before it.

if(NOT ONDRIX_SHADING_INCLUDE_DIR)  # set by the installed package
  set(ONDRIX_SHADING_INCLUDE_DIR "${CMAKE_CURRENT_LIST_DIR}/..")
endif()
set(ONDRIX_SHADING_INCLUDE_DIR "${ONDRIX_SHADING_INCLUDE_DIR}" CACHE INTERNAL "")
set(ONDRIX_SHADER_MODULE_FILES "${CMAKE_CURRENT_LIST_DIR}" CACHE INTERNAL "")
set(ONDRIX_SHADER_MODULE_SOURCE "${ONDRIX_SHADING_INCLUDE_DIR}/ondrix/shading/Module.cpp" CACHE INTERNAL "")

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
  set(ONDRIX_SIMD_LEVELS plain x86-64-v2 x86-64-v3 x86-64-v4 CACHE STRING "SIMD levels that shader libraries are built for")
else()
  set(ONDRIX_SIMD_LEVELS plain vector128 CACHE STRING "SIMD levels that shader libraries are built for")
endif()

function(ondrix_add_shader_library target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "NAME;FOR;DESTINATION" "SOURCES")
  if(NOT arg_SOURCES)
    message(FATAL_ERROR "ondrix_add_shader_library(${target}): SOURCES is empty")
  endif()
  if(NOT arg_NAME)
    set(arg_NAME ${target})
  endif()
  set(folder ${CMAKE_CURRENT_BINARY_DIR})
  if(arg_DESTINATION)
    set(folder ${arg_DESTINATION})
  elseif(arg_FOR)
    get_target_property(type ${arg_FOR} TYPE)
    if(type STREQUAL "EXECUTABLE")
      get_target_property(folder ${arg_FOR} RUNTIME_OUTPUT_DIRECTORY)
    else()
      get_target_property(folder ${arg_FOR} LIBRARY_OUTPUT_DIRECTORY)
    endif()
    if(NOT folder)
      get_target_property(folder ${arg_FOR} BINARY_DIR)
    endif()
    get_target_property(output ${arg_FOR} OUTPUT_NAME)
    if(NOT output)
      set(output ${arg_FOR})
    endif()
    string(APPEND folder "/${output}.bundle")
  endif()
  set(folder "${folder}/${arg_NAME}.oxlib")

  add_custom_target(${target} ALL)
  set_target_properties(${target} PROPERTIES ONDRIX_LIBRARY_FOLDER "${folder}")
  set(levels ${ONDRIX_SIMD_LEVELS})
  if(ONDRIX_CHECKED_MODULES OR NOT DEFINED ONDRIX_CHECKED_MODULES)
    list(APPEND levels checked)
  endif()
  foreach(level IN LISTS levels)
    set(module ${target}-${level})
    add_library(${module} MODULE ${arg_SOURCES} ${ONDRIX_SHADER_MODULE_SOURCE})
    set_target_properties(${module} PROPERTIES PREFIX "" SUFFIX ".so" OUTPUT_NAME ${level}
                          LIBRARY_OUTPUT_DIRECTORY "${folder}" CXX_STANDARD 20 CXX_STANDARD_REQUIRED ON
                          CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    target_include_directories(${module} PRIVATE "${ONDRIX_SHADING_INCLUDE_DIR}")
    target_compile_definitions(${module} PRIVATE ONDRIX_SIMD_LEVEL="${level}")
    # One rounding a step at every level, whatever the processor could fuse.
    target_compile_options(${module} PRIVATE -ffp-contract=off -fno-math-errno -Wall -Wextra -Wno-psabi
                                             -Wno-ignored-attributes -Wno-unknown-warning-option)
    if(ONDRIX_WARNINGS_AS_ERRORS)
      target_compile_options(${module} PRIVATE -Werror)
    endif()
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      # Its own intrinsics start from values that are undefined on purpose.
      target_compile_options(${module} PRIVATE -fno-gnu-unique -Wno-maybe-uninitialized -Wno-uninitialized)
    endif()
    # Optimized in every kind of build: vector code is of no use otherwise. And a function is compiled into each of its
    # loops, however large it is, because a call would put its packs into memory.
    if(CMAKE_CXX_FLAGS MATCHES "-fsanitize=[a-z,]*address" AND NOT level MATCHES "^(plain|checked)$")
      # All memory but the stack's is checked: packs are thousands of small variables, and code that checks each of them
      # takes ten times as long to compile. The plain level, which all others agree with, is checked for everything.
      target_compile_options(${module} PRIVATE -O1 -fno-sanitize=all -fsanitize=address
                                               -fno-sanitize-address-use-after-scope)
      if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${module} PRIVATE --param=asan-stack=0)
      else()
        target_compile_options(${module} PRIVATE "SHELL:-mllvm -asan-stack=0")
      endif()
    elseif(CMAKE_CXX_FLAGS MATCHES "-fsanitize" OR level STREQUAL "checked")
      target_compile_options(${module} PRIVATE -O1)
    elseif(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      target_compile_options(${module} PRIVATE -O3
        --param=max-inline-insns-single=100000 --param=large-function-growth=100000 --param=inline-unit-growth=100000
        --param=large-stack-frame-growth=100000)
    else()
      target_compile_options(${module} PRIVATE -O3 "SHELL:-mllvm -inlinehint-threshold=100000")
    endif()
    if(level STREQUAL "plain")
      target_compile_definitions(${module} PRIVATE ONDRIX_PLAIN)
    elseif(level STREQUAL "checked")
      target_compile_definitions(${module} PRIVATE ONDRIX_PLAIN ONDRIX_CHECKED _GLIBCXX_ASSERTIONS)
    elseif(level MATCHES "^x86-64-")
      target_compile_options(${module} PRIVATE -march=${level})
      if(level STREQUAL "x86-64-v4")
        target_compile_options(${module} PRIVATE -mprefer-vector-width=512)
      endif()
    endif()
    # A module's stack holds packs and nothing whose length comes from outside, so its frames have no guards.
    target_compile_options(${module} PRIVATE -fno-stack-protector)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
      target_compile_options(${module} PRIVATE -fcf-protection=full)
    endif()
    target_link_options(${module} PRIVATE -Wl,-Bsymbolic -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack
                        "-Wl,--version-script=${ONDRIX_SHADER_MODULE_FILES}/shader-module.map")
    set_property(TARGET ${module} APPEND PROPERTY LINK_DEPENDS ${ONDRIX_SHADER_MODULE_FILES}/shader-module.map)
    add_dependencies(${target} ${module})
  endforeach()
  if(arg_FOR)
    add_dependencies(${arg_FOR} ${target})
  endif()
endfunction()
