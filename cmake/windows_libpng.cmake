# libpng for the Windows build, compiled from the source of this system's
# libpng (scripts/libpng_source.sh) against MinGW's zlib, both static: the
# Windows programs write PNG files byte for byte as the Linux ones do.
enable_language(C)
set(EFFECTS_LIBPNG_SOURCE "" CACHE PATH "libpng's source directory (scripts/libpng_source.sh)")
if(NOT EXISTS "${EFFECTS_LIBPNG_SOURCE}/png.h")
  message(FATAL_ERROR "EFFECTS_LIBPNG_SOURCE must name libpng's source: scripts/libpng_source.sh DIR fetches it")
endif()
find_library(EFFECTS_MINGW_ZLIB NAMES libz.a REQUIRED)
find_path(EFFECTS_MINGW_ZLIB_INCLUDE zlib.h REQUIRED)

set(png_sources png.c pngerror.c pngget.c pngmem.c pngpread.c pngread.c pngrio.c pngrtran.c
  pngrutil.c pngset.c pngtrans.c pngwio.c pngwrite.c pngwtran.c pngwutil.c)
list(TRANSFORM png_sources PREPEND ${EFFECTS_LIBPNG_SOURCE}/)
configure_file(${EFFECTS_LIBPNG_SOURCE}/scripts/pnglibconf.h.prebuilt
  ${CMAKE_CURRENT_BINARY_DIR}/libpng/pnglibconf.h COPYONLY)
add_library(effects_png STATIC ${png_sources})
target_include_directories(effects_png SYSTEM PUBLIC ${EFFECTS_LIBPNG_SOURCE}
  ${CMAKE_CURRENT_BINARY_DIR}/libpng ${EFFECTS_MINGW_ZLIB_INCLUDE})
target_compile_options(effects_png PRIVATE -w)
target_link_libraries(effects_png PUBLIC ${EFFECTS_MINGW_ZLIB})
add_library(PNG::PNG ALIAS effects_png)
