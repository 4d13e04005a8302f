# Debian packages of the three parts that OndrixInstall knows: cpack -G DEB in a build for the prefix /usr, which the preset
# "package" is; scripts/package does all of it.
set(ONDRIX_PACKAGE_CONTACT "Ondrix developers <developers@ondrix.invalid>" CACHE STRING "Maintainer of the Debian packages")

set(CPACK_PACKAGE_NAME ondrix)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has one of its own
set(CPACK_PACKAGE_CONTACT "${ONDRIX_PACKAGE_CONTACT}")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                                WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libondrix)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# What packages of programs that link a library depend on, which is this very version: before 1.0 a class may change its
# layout with each. CPack's own way would list the shader libraries, too.
set(shlibs "")
foreach(library ondrix ondrix-media ondrix-window ondrix-effects)
  if(TARGET ${library})
    string(APPEND shlibs "lib${library} ${ONDRIX_SOVERSION} libondrix (= ${PROJECT_VERSION})\n")
  endif()
endforeach()
file(WRITE ${PROJECT_BINARY_DIR}/debian/shlibs "${shlibs}")
file(WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/shlibs ${PROJECT_BINARY_DIR}/debian/triggers)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "GPU image and video processing, libraries
Runs pictures and video frames through chains of GPU passes: scale, fit, turn,
mirror, convert, and what an application's own shaders do. Needs no GPU: its
own device runs the same passes on the CPU.
.
This package holds the shared libraries and their shader libraries.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libondrix-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libondrix (= ${PROJECT_VERSION}), g++ (>= 4:12) | c++-compiler, cmake (>= 3.25), make | ninja-build")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "GPU image and video processing, for development
Runs pictures and video frames through chains of GPU passes.
.
This package holds the headers, the CMake package with the function that
builds shader libraries, and the files for pkg-config.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ondrix-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libondrix (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "libondrix-dev (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "GPU image and video processing, the program ondrix
Runs pictures and movies through scaling, turning, effects and shaders of
one's own, shows the result of a shader while it is written, and begins new
projects.")

include(CPack)
