# What makes faults of memory harder to use, for all targets below the folder that includes this; the modules of shader
# libraries have their own in OndrixShaderLibrary. The test `hardening` looks at the results. Sanitizers find such faults
# themselves, and their own versions of library calls exclude the fortified ones.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

set(hardeningOptions -fstack-protector-strong)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
  list(APPEND hardeningOptions -fcf-protection=full)  # indirect branches go to marked places only
endif()
set(hardeningLinkOptions -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)

if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize|--coverage")
  add_compile_options(${hardeningOptions})
  if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")  # only optimized code can be fortified
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  endif()
  add_link_options(${hardeningLinkOptions})
endif()
