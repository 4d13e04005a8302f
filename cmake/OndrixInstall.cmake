include(CMakePackageConfigHelpers)

# The soname changes with each version that may break programs: before 1.0 these are the minor ones.
set(ONDRIX_SOVERSION ${PROJECT_VERSION_MAJOR})
if(PROJECT_VERSION_MAJOR EQUAL 0)
  string(APPEND ONDRIX_SOVERSION .${PROJECT_VERSION_MINOR})
endif()

# Install components: runtime is what every program needs; media, window and effects are the libraries that some do;
# development is what programs are built with, tools the program ondrix.
set(packageFolder ${CMAKE_INSTALL_LIBDIR}/cmake/Ondrix)
file(RELATIVE_PATH prefixFromPkgConfig /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" prefixFromPkgConfig "${prefixFromPkgConfig}")
foreach(component "" media window effects)
  set(name ondrix)
  set(installComponent runtime)
  if(component)
    set(name ondrix-${component})
    set(installComponent ${component})
  endif()
  if(NOT TARGET ${name})
    continue()
  endif()
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${ONDRIX_SOVERSION})
  if(component AND NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set_target_properties(${name} PROPERTIES INSTALL_RPATH "$ORIGIN" BUILD_WITH_INSTALL_RPATH ON)
  endif()
  install(TARGETS ${name} EXPORT ${name}
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${installComponent} NAMELINK_COMPONENT development
          FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
  install(EXPORT ${name} FILE ${name}-targets.cmake NAMESPACE ondrix:: DESTINATION ${packageFolder} COMPONENT development)

  set(requires "")
  set(ofComponent "")
  if(component)
    set(requires "ondrix = ${PROJECT_VERSION}")
    set(ofComponent ", ${component}")
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/ondrix.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()
# Debian packages have a file of their own for the licence instead: see OndrixPackages.
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/NOTICE DESTINATION ${CMAKE_INSTALL_DOCDIR}
        COMPONENT documents)
install(DIRECTORY ${PROJECT_BINARY_DIR}/lib/ondrix.bundle DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime)
install(FILES ${PROJECT_SOURCE_DIR}/ondrix/shading/Module.cpp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ondrix/shading
        COMPONENT development)
if(TARGET ondrix-tool)
  # The program finds its library wherever the tree is moved to, and needs no help in the system's own folders. It has the
  # same run path before it is installed: CMake ends one that it will replace with an empty entry, the current folder.
  file(RELATIVE_PATH libraryFolder /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
  if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(runPath "$ORIGIN/${libraryFolder}" "$ORIGIN/../lib")  # the second is the build tree's
    list(REMOVE_DUPLICATES runPath)
    set_target_properties(ondrix-tool PROPERTIES INSTALL_RPATH "${runPath}" BUILD_WITH_INSTALL_RPATH ON)
  endif()
  install(TARGETS ondrix-tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endif()

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/OndrixConfig.cmake.in ${PROJECT_BINARY_DIR}/OndrixConfig.cmake
                              INSTALL_DESTINATION ${packageFolder} PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OndrixConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/OndrixConfig.cmake ${PROJECT_BINARY_DIR}/OndrixConfigVersion.cmake
              ${PROJECT_SOURCE_DIR}/cmake/OndrixShaderLibrary.cmake ${PROJECT_SOURCE_DIR}/cmake/shader-module.map
        DESTINATION ${packageFolder} COMPONENT development)
