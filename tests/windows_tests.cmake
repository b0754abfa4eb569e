# The Windows build's own checks: the DLL's one export and the imports of the
# DLL and fxhost.exe; under wine, the public header's records as MinGW lays
# them out, and fxhost.exe drawing every effect at the three depths byte for
# byte as the Linux fxhost does, at every vector level.
include(${CMAKE_CURRENT_SOURCE_DIR}/install_tests.cmake)

# The DLL's one export and the import tables of the DLL and fxhost.exe.
find_program(EFFECTS_OBJDUMP NAMES ${mingw_prefix}-objdump objdump REQUIRED)
add_test(NAME windows_dll_exports_and_imports
  COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/windows_dll_check.sh ${EFFECTS_OBJDUMP}
          $<TARGET_FILE:effects> $<TARGET_FILE:fxhost>)

# The C example host, loading effects.dll with LoadLibrary: the same frame as
# on Linux.
add_executable(list_and_render ${PROJECT_SOURCE_DIR}/examples/list_and_render.c)
target_include_directories(list_and_render PRIVATE ${PROJECT_SOURCE_DIR}/include)
set_target_properties(list_and_render PROPERTIES C_STANDARD 99 C_STANDARD_REQUIRED ON)
add_dependencies(list_and_render effects)
add_test(NAME windows_example_host COMMAND list_and_render effects.dll WORKING_DIRECTORY ${PROJECT_BINARY_DIR})
set_tests_properties(windows_example_host PROPERTIES
  PASS_REGULAR_EXPRESSION "^29 effects.*Posterize: Intensity.*checksum: db68356d")

set(EFFECTS_LINUX_FXHOST "" CACHE FILEPATH "The Linux build's fxhost, to compare fxhost.exe with")
if(EFFECTS_LINUX_FXHOST)
  add_test(NAME windows_fxhost_pictures
    COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/windows_pictures.sh ${CMAKE_CROSSCOMPILING_EMULATOR}
            $<TARGET_FILE:fxhost> ${EFFECTS_LINUX_FXHOST})
  set_tests_properties(windows_fxhost_pictures PROPERTIES TIMEOUT 900)
endif()
