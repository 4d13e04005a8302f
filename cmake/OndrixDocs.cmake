# The target `docs`: the API reference of the public headers, as HTML in docs/html of the build folder.
find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
  message(STATUS "No target docs: Doxygen is missing (Debian package doxygen)")
  return()
endif()

set(publicHeaders "")
foreach(library ondrix ondrix-media ondrix-window ondrix-effects)
  if(TARGET ${library})
    get_target_property(headers ${library} HEADER_SET)
    list(APPEND publicHeaders ${headers})
  endif()
endforeach()
list(JOIN publicHeaders "\" \\\n                         \"" publicHeaders)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/docs)
configure_file(${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${PROJECT_BINARY_DIR}/docs/Doxyfile @ONLY)
add_custom_target(docs COMMAND Doxygen::doxygen ${PROJECT_BINARY_DIR}/docs/Doxyfile
                  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
                  COMMENT "API reference: ${PROJECT_BINARY_DIR}/docs/html/index.html" VERBATIM)
if(ONDRIX_BUILD_TESTS)
  add_test(NAME api-reference COMMAND Doxygen::doxygen ${PROJECT_BINARY_DIR}/docs/Doxyfile
           WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
endif()
