# A module packed and then signed with osslsigncode, run by the real DLL under
# Wine: once per cross build (the 32-bit one needs Wine's 32-bit support; the
# test is skipped without it). Included by tests/wine/CMakeLists.txt.
if(TARGET setup-pack)
  foreach(width win64 win32)
    if(width STREQUAL win64)
      set(dll_dir ${WINE_TEST_WIN64_DIR})
    else()
      set(dll_dir ${SETUP_WIN32_DIR})
    endif()
    add_test(NAME wine_signed_module_${width}
             COMMAND ${BASH_PROGRAM} ${CMAKE_CURRENT_SOURCE_DIR}/signed.sh
                     $<TARGET_FILE:setup-pack> ${dll_dir} ${CMAKE_CURRENT_BINARY_DIR}/work
                     ${CMAKE_CURRENT_SOURCE_DIR}/data)
    set_tests_properties(wine_signed_module_${width} PROPERTIES SKIP_RETURN_CODE 77
                         RESOURCE_LOCK wineprefix TIMEOUT 900)
  endforeach()
endif()
