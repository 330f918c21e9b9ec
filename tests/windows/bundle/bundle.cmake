# What a person with a Windows machine tests the module with there: all script tests, in one zip.
vireon_test_module(vireon_machine ${CMAKE_CURRENT_LIST_DIR}/machine.cpp)
target_link_libraries(vireon_machine PRIVATE vireon_device)

set(bundle ${PROJECT_BINARY_DIR}/vireon-windows-tests.zip)
list(TRANSFORM concerns REPLACE "(.+)" "test_\\1.py" OUTPUT_VARIABLE bundled_tests)
file(GLOB examples CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/examples/*.py)
file(GLOB script_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/script/*.py)
file(GLOB own CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/*)
add_custom_command(OUTPUT ${bundle}
    COMMAND ${Python3_EXECUTABLE} -B ${CMAKE_CURRENT_LIST_DIR}/make_bundle.py
        ${bundle} ${PROJECT_BINARY_DIR} ${bundled_tests}
    DEPENDS ${own} ${examples} ${script_sources} ${PROJECT_SOURCE_DIR}/tests/sanitizers/leak_checker.py
        _vireon vireon_machine vireon_probe vireon_sibling
    COMMENT "Packing the tests for a Windows machine"
    VERBATIM)
add_custom_target(bundle ALL DEPENDS ${bundle})
