# Agreement of the real 64-bit DLL under Wine with setup-run on the simulated
# machine, over the golden cases that do not depend on machine state.
# Included by tests/wine/CMakeLists.txt.
if(TARGET setup-pack AND TARGET setup-run)
  add_test(NAME wine_agrees_with_simulator
           COMMAND ${BASH_PROGRAM} ${CMAKE_CURRENT_SOURCE_DIR}/agree.sh
                   $<TARGET_FILE:setup-pack> $<TARGET_FILE:setup-run> ${WINE_TEST_WIN64_DIR}
                   ${CMAKE_CURRENT_BINARY_DIR}/work ${CMAKE_SOURCE_DIR}/tests/golden)
  set_tests_properties(wine_agrees_with_simulator PROPERTIES SKIP_RETURN_CODE 77
                       RESOURCE_LOCK wineprefix TIMEOUT 1800)
endif()

# The registry a script writes under Wine, exported with Wine's own reg
# export, equals setup-run's --export-reg of the same keys.
if(TARGET setup-pack AND TARGET setup-run)
  add_test(NAME wine_registry_readback
           COMMAND ${BASH_PROGRAM} ${CMAKE_CURRENT_SOURCE_DIR}/readback.sh
                   $<TARGET_FILE:setup-pack> $<TARGET_FILE:setup-run> ${WINE_TEST_WIN64_DIR}
                   ${CMAKE_CURRENT_BINARY_DIR}/work ${CMAKE_CURRENT_SOURCE_DIR}/data)
  set_tests_properties(wine_registry_readback PROPERTIES SKIP_RETURN_CODE 77
                       RESOURCE_LOCK wineprefix TIMEOUT 900)
endif()

# The device built-ins: Wine's SetupAPI and newdev against the simulator.
if(TARGET setup-pack AND TARGET setup-run)
  add_test(NAME wine_devices_agree_with_simulator
           COMMAND ${BASH_PROGRAM} ${CMAKE_CURRENT_SOURCE_DIR}/devices.sh
                   $<TARGET_FILE:setup-pack> $<TARGET_FILE:setup-run> ${WINE_TEST_WIN64_DIR}
                   ${CMAKE_CURRENT_BINARY_DIR}/work ${CMAKE_CURRENT_SOURCE_DIR}/data
                   ${CMAKE_SOURCE_DIR}/tests/golden/devices/data)
  set_tests_properties(wine_devices_agree_with_simulator PROPERTIES SKIP_RETURN_CODE 77
                       RESOURCE_LOCK wineprefix TIMEOUT 1800)
endif()
