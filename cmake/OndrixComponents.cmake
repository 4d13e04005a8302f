# The parts that need more than the framework does. Each is built where its libraries are installed, and otherwise left
# out with one line that names what is missing. ONDRIX_MEDIA and ONDRIX_WINDOW say which are built; set one to OFF to
# leave it out anyway.
option(ONDRIX_MEDIA "Build the component media: movie files and cameras (FFmpeg)" ON)
option(ONDRIX_WINDOW "Build the component window: views on the desktop (SDL2)" ON)

find_package(PkgConfig)

# ondrix_component(VARIABLE PREFIX MISSING modules...): sets VARIABLE to OFF where the modules aren't there.
macro(ondrix_component variable prefix missing)
  if(${variable})
    if(PkgConfig_FOUND)
      pkg_check_modules(${prefix} IMPORTED_TARGET ${ARGN})
    endif()
    if(NOT ${prefix}_FOUND)
      message(STATUS "Left out, see ${variable}: ${missing}")
      set(${variable} OFF)
    endif()
  endif()
endmacro()

ondrix_component(ONDRIX_MEDIA FFMPEG
  "movie files, because FFmpeg is missing (libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libavdevice-dev)"
  libavformat libavcodec libavutil libswscale libavdevice)
ondrix_component(ONDRIX_WINDOW SDL2 "windows, because SDL2 is missing (libsdl2-dev)" sdl2)
