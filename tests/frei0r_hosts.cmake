# The frei0r plugins inside ffmpeg and melt, frame for frame against fxhost:
# every plugin at its defaults and at one other setting, over the test card
# and a moving clip with a moving alpha; and ffmpeg's row alignment fault,
# shown on frei0r's own invert0r beside ours. The hosts dlopen the plugins,
# which a sanitized build cannot serve. ffmpeg, melt, frei0r-plugins and
# Python come from scripts/deps.sh test.
if(TARGET effects_frei0r_plugins AND NOT EFFECTS_SANITIZE)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)

  # The test card as raw BGRA frames, at any size.
  add_executable(frei0r_hosts_card frei0r_hosts_card.cpp)
  target_link_libraries(frei0r_hosts_card PRIVATE fxhost_host)

  set(frei0r_hosts_check ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/frei0r_hosts_check.py
    --fxhost $<TARGET_FILE:fxhost> --card $<TARGET_FILE:frei0r_hosts_card>
    --plugins ${EFFECTS_FREI0R_PLUGIN_DIR} --names ${PROJECT_BINARY_DIR}/frei0r/plugin_names.txt)
  foreach(host ffmpeg melt)
    foreach(input card clip)
      add_test(NAME frei0r_host_${host}_${input} COMMAND ${frei0r_hosts_check} ${host} ${input})
      set_tests_properties(frei0r_host_${host}_${input} PROPERTIES TIMEOUT 240)
    endforeach()
  endforeach()
  # melt's consumer loses a start-up race when the machine is loaded: its
  # runs do not share the machine with other tests.
  foreach(input card clip)
    set_tests_properties(frei0r_host_melt_${input} PROPERTIES RUN_SERIAL TRUE)
  endforeach()
  add_test(NAME frei0r_host_ffmpeg_alignment COMMAND ${frei0r_hosts_check} alignment)
  set_tests_properties(frei0r_host_ffmpeg_alignment PROPERTIES TIMEOUT 120)
endif()
