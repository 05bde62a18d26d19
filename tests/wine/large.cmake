# A package with a 1.5 GiB entry under Wine, for each cross build: the 64-bit
# DLL, and the 32-bit one, whose address space has no room for a view of the
# whole module. Skipped (exit 77) when Wine, the build or Wine's 32-bit part
# is missing. Included by tests/wine/CMakeLists.txt.
if(TARGET setup-pack)
  foreach(width win64 win32)
    if(width STREQUAL "win64")
      set(dll_dir ${WINE_TEST_WIN64_DIR})
    else()
      set(dll_dir ${SETUP_WIN32_DIR})
    endif()
    add_test(NAME wine_large_package_${width}
             COMMAND ${BASH_PROGRAM} ${CMAKE_CURRENT_SOURCE_DIR}/large_package.sh
                     $<TARGET_FILE:setup-pack> ${dll_dir} ${CMAKE_CURRENT_BINARY_DIR}/work)
    set_tests_properties(wine_large_package_${width} PROPERTIES SKIP_RETURN_CODE 77
                         RESOURCE_LOCK wineprefix TIMEOUT 900)
  endforeach()
endif()
