# cpack -G DEB: one package with everything cmake --install puts in place,
# under /usr. The frei0r plugins land in /usr/lib/frei0r-1, where frei0r
# hosts look for them.
set(CPACK_PACKAGE_NAME effects)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "effects developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Video effects module, fxhost command and frei0r filter plugins")
set(CPACK_PACKAGE_DESCRIPTION "Colour, kaleidoscope and time-based video effects in one module
(libeffects.so) that hosts load with dlopen, the fxhost command that lists
the effects and renders pictures and clips through them, a C header and
pkg-config file for host authors, and one frei0r filter plugin per effect
for ffmpeg, MLT and the editors built on it.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_PACKAGE_MAINTAINER "effects developers")
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# Dependencies from the shared libraries the binaries link (libc6,
# libstdc++6, libpng16-16, ...), as dpkg-shlibdeps finds them.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# fxhost reads and writes video through the ffmpeg command.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS ffmpeg)

include(CPack)
