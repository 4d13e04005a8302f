include(CMakePackageConfigHelpers)

set(libraries ondrix)
foreach(component media window)
  if(TARGET ondrix-${component})
    list(APPEND libraries ondrix-${component})
    set_target_properties(ondrix-${component} PROPERTIES INSTALL_RPATH "$ORIGIN")
  endif()
endforeach()
install(TARGETS ${libraries} EXPORT OndrixTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_BINARY_DIR}/lib/ondrix.bundle DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET ondrix-tool)
  # The program finds its library wherever the tree is moved to.
  file(RELATIVE_PATH libraryFolder /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
  set_target_properties(ondrix-tool PROPERTIES INSTALL_RPATH "$ORIGIN/${libraryFolder}")
  install(TARGETS ondrix-tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# Only what applications include: not the implementations of the platform, nor the headers that sources alone use.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/ondrix DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h"
        PATTERN "platform/software" EXCLUDE PATTERN "platform/image" EXCLUDE PATTERN "platform/ffmpeg" EXCLUDE
        PATTERN "platform/sdl" EXCLUDE PATTERN "ondrix/functions" EXCLUDE
        PATTERN "BlitComputePass.h" EXCLUDE PATTERN "ClassName.h" EXCLUDE PATTERN "ConstantBytes.h" EXCLUDE
        PATTERN "DrawableQueue.h" EXCLUDE PATTERN "FatalError.h" EXCLUDE PATTERN "FrameworkBundle.h" EXCLUDE
        PATTERN "MeanTimer.h" EXCLUDE PATTERN "PassParts.h" EXCLUDE PATTERN "RawText.h" EXCLUDE
        PATTERN "RenderViewDelegate.h" EXCLUDE PATTERN "YUVToRGBConstants.h" EXCLUDE)
function(install_headers folder)
  list(TRANSFORM ARGN PREPEND ${PROJECT_SOURCE_DIR}/ondrix/${folder}/)
  install(FILES ${ARGN} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ondrix/${folder})
endfunction()
if(TARGET ondrix-media)
  install_headers(platform/ffmpeg LiveSource.h MovieInformation.h MoviePlayerItem.h MovieReader.h MovieWriter.h)
endif()
if(TARGET ondrix-window)
  install_headers(platform/sdl WindowView.h)
endif()
install(FILES ${PROJECT_SOURCE_DIR}/ondrix/shading/Module.cpp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ondrix/shading)

set(packageFolder ${CMAKE_INSTALL_LIBDIR}/cmake/Ondrix)
install(EXPORT OndrixTargets NAMESPACE ondrix:: DESTINATION ${packageFolder})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/OndrixConfig.cmake.in ${PROJECT_BINARY_DIR}/OndrixConfig.cmake
                              INSTALL_DESTINATION ${packageFolder} PATH_VARS CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OndrixConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/OndrixConfig.cmake ${PROJECT_BINARY_DIR}/OndrixConfigVersion.cmake
              ${PROJECT_SOURCE_DIR}/cmake/OndrixShaderLibrary.cmake ${PROJECT_SOURCE_DIR}/cmake/shader-module.map
        DESTINATION ${packageFolder})
