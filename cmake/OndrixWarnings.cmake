# Warnings for the project's own targets: ondrix_warnings(TARGET).
function(ondrix_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
                                           -Wconversion -Wno-sign-conversion -Wimplicit-fallthrough)
  if(ONDRIX_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
