# Libraries of the Linux platform: libpulse for the audio port (it speaks to
# PulseAudio and to PipeWire's pulse server alike), libsystemd's sd-bus for
# logind's sleep signal and for the companion app on the session bus, FFmpeg
# for the media port, libcurl for the HTTP port.
find_package(PkgConfig REQUIRED)
pkg_check_modules(QV_LIBPULSE REQUIRED IMPORTED_TARGET GLOBAL libpulse)
pkg_check_modules(QV_LIBSYSTEMD REQUIRED IMPORTED_TARGET GLOBAL libsystemd)
pkg_check_modules(QV_FFMPEG REQUIRED IMPORTED_TARGET GLOBAL libavformat libavcodec libswresample libavutil)
pkg_check_modules(QV_LIBCURL REQUIRED IMPORTED_TARGET GLOBAL libcurl)
target_link_libraries(qv_platform_native PUBLIC PkgConfig::QV_LIBPULSE PkgConfig::QV_LIBSYSTEMD PkgConfig::QV_FFMPEG
                                                 PkgConfig::QV_LIBCURL)
