# Warnings for the project's own targets: ondrix_warnings(TARGET).
function(ondrix_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
                                           -Wconversion -Wno-sign-conversion -Wimplicit-fallthrough)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # With -O3 this compiler sees an overlap in `"text" + std::string()`, where there is none.
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
  if(ONDRIX_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
