# How tests that are scripts are registered; C++ tests stand beside their unit (VireonFolder.cmake).
#
# A test's label tells what it needs and so which preset runs it:
#   unit     a GoogleTest program               script   a Python 2.7 script that imports the module
#   house    looks at the tree, builds nothing  network  makes network namespaces
#   fuzz     replays a corpus                   sanitizer  shows that a check finds a fault
find_package(Python3 REQUIRED COMPONENTS Interpreter)

# vireon_script_test(NAME file.py [LABEL label] [PYTHON3] [SERIAL] [TIMEOUT seconds] [ARGS ...]
#     [ENVIRONMENT NAME=VALUE ...])
#
# A unittest script. It runs with the module's folder on its path, by VIREON_PYTHON_EXECUTABLE or,
# with PYTHON3, by the build's own Python 3 (for tests that drive the module from outside). SERIAL is
# for a test that measures time: nothing else then runs beside it. The environment names the
# interpreter as VIREON_PYTHON and the module's folder as VIREON_MODULE_DIR. What searches
# runs once more for each older version of Windows, as NAME_on_VERSION.
function(vireon_script_test name file)
    cmake_parse_arguments(TEST "PYTHON3;SERIAL" "LABEL;TIMEOUT" "ARGS;ENVIRONMENT" ${ARGN})
    if(NOT TEST_LABEL)
        set(TEST_LABEL script)
    endif()
    if(NOT TEST_TIMEOUT)
        set(TEST_TIMEOUT 300)
    endif()
    set(interpreter ${VIREON_PYTHON_EXECUTABLE})
    set(environment "VIREON_PYTHON=${VIREON_PYTHON_EXECUTABLE}" "VIREON_MODULE_DIR=${PROJECT_BINARY_DIR}"
        ${TEST_ENVIRONMENT})
    if(TEST_PYTHON3)
        set(interpreter ${Python3_EXECUTABLE})
    elseif(WIN32)
        # Wine's sockets live in one namespace, so a test that may search is in its own from the start.
        set(interpreter ${PROJECT_SOURCE_DIR}/tests/script/isolated.sh ${PROJECT_BINARY_DIR}/python-isolated)
        list(APPEND environment VIREON_ISOLATED=1)
    elseif(VIREON_SANITIZE MATCHES "address")
        set(interpreter ${Python3_EXECUTABLE} -B ${PROJECT_SOURCE_DIR}/tests/sanitizers/leak_checker.py
            ${VIREON_PYTHON_EXECUTABLE})
    endif()
    cmake_path(ABSOLUTE_PATH file)
    set(variants plain)
    if(WIN32 AND (NOT TEST_PYTHON3 OR TEST_LABEL STREQUAL "network"))
        list(APPEND variants on_win81 on_win7)
    endif()
    foreach(variant IN LISTS variants)
        set(test ${name})
        set(variant_environment)
        if(NOT variant STREQUAL "plain")
            string(APPEND test _${variant})
        endif()
        if(variant MATCHES "^on_(.*)")
            set(variant_environment VIREON_WINDOWS_VERSION=${CMAKE_MATCH_1})
        endif()
        add_test(NAME ${test} COMMAND ${interpreter} -B ${file} --verbose ${TEST_ARGS})
        set_tests_properties(${test} PROPERTIES
            LABELS ${TEST_LABEL}
            TIMEOUT ${TEST_TIMEOUT}
            ENVIRONMENT "${environment};${variant_environment}")
        if(TEST_SERIAL)
            set_tests_properties(${test} PROPERTIES RUN_SERIAL ON)
        endif()
    endforeach()
endfunction()
