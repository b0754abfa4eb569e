# The public header against the module's records, read by a C99 compiler and
# by the C++ compiler: the same source built once as each.
enable_language(C)
set(public_layout_cxx ${CMAKE_CURRENT_BINARY_DIR}/public_header_layout_cxx.cpp)
configure_file(${CMAKE_CURRENT_SOURCE_DIR}/public_header_layout.c ${public_layout_cxx} COPYONLY)
effects_suite(public_header_test public_header_test.cpp public_header_layout.c ${public_layout_cxx})
target_include_directories(public_header_test PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include
  ${CMAKE_CURRENT_SOURCE_DIR})
set_target_properties(public_header_test PROPERTIES C_STANDARD 99 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF)
set_source_files_properties(public_header_layout.c ${public_layout_cxx}
  PROPERTIES COMPILE_OPTIONS "-Wpedantic;-Werror")

# Installing, the example host and the Debian package run the plain build's
# programs from outside it; the sanitizer build's cannot be loaded that way.
if(NOT EFFECTS_SANITIZE AND NOT WIN32)
  # cmake --install into a temporary prefix, the example built with
  # pkg-config and run, the installed fxhost and a frei0r plugin in ffmpeg.
  add_test(NAME install_and_example
    COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/install_check.sh ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR}
      ${CMAKE_INSTALL_LIBDIR})
  set_tests_properties(install_and_example PROPERTIES TIMEOUT 300 LABELS install)

  # The .deb made by cpack, unpacked: its control data, its layout, and its
  # fxhost and frei0r plugin run from the unpacked tree.
  add_test(NAME package_check
    COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/package_check.sh ${PROJECT_BINARY_DIR} ${CMAKE_CPACK_COMMAND}
      ${CMAKE_INSTALL_LIBDIR})
  set_tests_properties(package_check PROPERTIES TIMEOUT 600 LABELS install)
endif()
