# cmake --install: the module, fxhost and its gallery photograph, the public
# header and a pkg-config file. The frei0r plugins and their bridge have
# their rules in frei0r/CMakeLists.txt.
include(GNUInstallDirs)

install(TARGETS effects LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS fxhost RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/effects/effects.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/effects)
install(FILES ${PROJECT_SOURCE_DIR}/tools/gallery/coffee.png
  DESTINATION ${CMAKE_INSTALL_DATADIR}/effects)

# An installed fxhost looks for the module and the photograph relative to
# itself, in these directories under its prefix.
target_compile_definitions(fxhost_host PRIVATE EFFECTS_INSTALL_LIBDIR="${CMAKE_INSTALL_LIBDIR}")
target_compile_definitions(fxhost_tool PRIVATE EFFECTS_INSTALL_DATADIR="${CMAKE_INSTALL_DATADIR}")

# The .pc file names its prefix relative to itself, so that the same file is
# right under any --prefix and inside the Debian package.
file(RELATIVE_PATH effects_pc_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" effects_pc_to_prefix "${effects_pc_to_prefix}")
set(effects_pc_file ${PROJECT_BINARY_DIR}/effects.pc)
file(CONFIGURE OUTPUT ${effects_pc_file} @ONLY CONTENT [=[
prefix=${pcfiledir}/@effects_pc_to_prefix@
libdir=${prefix}/@CMAKE_INSTALL_LIBDIR@
includedir=${prefix}/@CMAKE_INSTALL_INCLUDEDIR@
module=${libdir}/libeffects.so
frei0rdir=${prefix}/lib/frei0r-1

Name: effects
Description: Video effects module for hosts that dlopen it (it is not linked); the header describes plugin_main and its records
Version: @PROJECT_VERSION@
Libs: -ldl
Cflags: -I${includedir}
]=])
install(FILES ${effects_pc_file} DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
