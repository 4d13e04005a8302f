# ondrix_exports(TARGET pattern...): the shared library TARGET exports what lies in namespace ondrix and matches one of the
# patterns, which follow "ondrix::" and may hold * and ?, with the tables and type information of such classes. All else is
# its own: the standard library's templates, the libraries that it is made from, and the implementations of the platform.
#
# Checked builds export everything: sanitizers tell types apart by the address of their type information, and that of
# standard classes would exist once for each library.
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  set(ONDRIX_EXPORTS_ALL ON)
else()
  set(ONDRIX_EXPORTS_ALL OFF)
endif()

function(ondrix_exports target)
  if(ONDRIX_EXPORTS_ALL)
    return()
  endif()
  set(names "")
  foreach(pattern IN LISTS ARGN)
    foreach(what "" "vtable?for?" "VTT?for?" "typeinfo?for?" "typeinfo?name?for?" "non-virtual?thunk?to?" "virtual?thunk?to?")
      string(APPEND names "            ${what}ondrix::${pattern};\n")
    endforeach()
  endforeach()
  set(map ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
  file(CONFIGURE OUTPUT ${map}
       CONTENT "{\n    global:\n        extern \"C++\" {\n@names@        };\n    local: *;\n};\n" @ONLY)
  target_link_options(${target} PRIVATE "-Wl,--version-script=${map}")
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map})
endfunction()
