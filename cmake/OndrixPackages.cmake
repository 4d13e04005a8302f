# Debian packages: cpack -G DEB in a build for the prefix /usr, which the preset "package" is; scripts/package does all of it.
# Each library is a package of its own, so that programs without movies and windows bring neither FFmpeg nor SDL2 along.
set(ONDRIX_PACKAGE_CONTACT "Ondrix developers <developers@ondrix.invalid>" CACHE STRING "Maintainer of the Debian packages")

set(CPACK_PACKAGE_NAME ondrix)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has one of its own
set(CPACK_PACKAGE_CONTACT "${ONDRIX_PACKAGE_CONTACT}")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL "")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                                WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)

# ondrix_package(COMPONENT NAME SECTION description): the package NAME holds the install component.
macro(ondrix_package component name section description)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${key}_DESCRIPTION "GPU image and video processing, ${description}")
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/copyright ${PROJECT_SOURCE_DIR}/NOTICE
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component} EXCLUDE_FROM_ALL)
endmacro()

# The first version whose shared libraries have other names.
string(REGEX MATCH "[0-9]+$" nextSoversion ${ONDRIX_SOVERSION})
math(EXPR nextSoversion "${nextSoversion} + 1")
string(REGEX REPLACE "[0-9]+$" "${nextSoversion}" nextSoversion ${ONDRIX_SOVERSION})
file(WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
set(libraryPackages "")

# ondrix_library_package(COMPONENT TARGET description): the same for a shared library, where it is built.
macro(ondrix_library_package component target description)
  if(TARGET ${target})
    ondrix_package(${component} lib${target} libs "${description}")
    set(CPACK_DEBIAN_${key}_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${libraryPackages}")
    # What packages of programs that link it depend on. CPack's own way would list the shader libraries, too.
    set(shlibs ${PROJECT_BINARY_DIR}/debian/${component}/shlibs)
    file(WRITE ${shlibs} "lib${target} ${ONDRIX_SOVERSION} "
                         "lib${target} (>= ${PROJECT_VERSION}), lib${target} (<< ${nextSoversion})\n")
    set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA ${shlibs} ${PROJECT_BINARY_DIR}/debian/triggers)
  endif()
endmacro()

ondrix_library_package(runtime ondrix "the library
Runs pictures and video frames through chains of passes written for a GPU:
scale, fit, turn, mirror, convert, and what an application's own shaders do.
Today they run on the CPU; no GPU is needed, and none is used.")
set(libraryPackages "libondrix (= ${PROJECT_VERSION})")
ondrix_library_package(media ondrix-media "movies and cameras
Reads and writes movie files and opens cameras with FFmpeg, for programs that
use the library Ondrix.")
ondrix_library_package(window ondrix-window "windows
Shows what the library Ondrix draws in windows of the desktop, with SDL2.")
ondrix_library_package(effects ondrix-effects "ready-made effects
Blur, colours, edges, keying and more, for programs that use the library
Ondrix.")
foreach(component media window effects)
  if(TARGET ondrix-${component})
    string(APPEND libraryPackages ", libondrix-${component} (= ${PROJECT_VERSION})")
  endif()
endforeach()

ondrix_package(development libondrix-dev libdevel "for development
The headers of the library Ondrix and its components, the CMake package with
the function that builds shader libraries, and the files for pkg-config.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${libraryPackages}, g++ (>= 4:12) | c++-compiler, cmake (>= 3.25), make | ninja-build")

ondrix_package(tools ondrix-tools graphics "the program ondrix
Runs pictures and movies through scaling, turning, effects and shaders of
one's own, shows the result of a shader while it is written, and begins new
projects. What builds shaders from their source is in libondrix-dev.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${libraryPackages}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "libondrix-dev (= ${PROJECT_VERSION}), g++ | c++-compiler")

include(CPack)
