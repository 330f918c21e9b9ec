# How tests that are scripts are registered; C++ tests stand beside their unit (VireonFolder.cmake).
#
# A test's label tells what it needs and so which preset runs it:
#   unit        a GoogleTest program               script   a Python 2.7 script that imports the module
#   house       looks at the tree, builds nothing  network  makes network namespaces
#   tidy        reads what is shipped, as a compiler does
#   fuzz        replays a corpus                   sanitizer  shows that a check finds a fault
#   host        makes network namespaces and runs a host in them that has several interpreters
#   neighbours  a script or network test once more, beside other extension modules
#   bundle      packs the tests for a Windows machine and tries that as its user would
#   counts      makes network namespaces, and counts what an answer makes the module do
#   lives       makes network namespaces, and lets searches and threads in them live long
#   peers       makes network namespaces and runs programs of others in them (./dev peers)
find_package(Python3 REQUIRED COMPONENTS Interpreter)

# What searches runs once more for each of these: other packages in the process (tests/neighbours),
# loaded before or after the module, and on Windows an older version of it at the same time. The
# packages are built for an interpreter as users have it.
if(WIN32)
    set(VIREON_TEST_VARIANTS before_on_win81 after_on_win7)
    set(neighbours_platform windows)
elseif(VIREON_PYTHON_DEBUG OR VIREON_SANITIZE)
    set(VIREON_TEST_VARIANTS)
else()
    set(VIREON_TEST_VARIANTS before after)
    set(neighbours_platform linux)
endif()

# vireon_script_test(NAME file.py [LABEL label] [PYTHON3] [SERIAL] [ONLY_BESIDE] [TIMEOUT seconds]
#     [ARGS ...] [ENVIRONMENT NAME=VALUE ...])
#
# A unittest script. It runs with the module's folder on its path, by VIREON_PYTHON_EXECUTABLE or,
# with PYTHON3, by the build's own Python 3 (for tests that drive the module from outside). SERIAL is
# for a test that measures time: nothing else then runs beside it. The environment names the
# interpreter as VIREON_PYTHON and the module's folder as VIREON_MODULE_DIR. A script or network test
# runs once more for each of VIREON_TEST_VARIANTS, as NAME_beside_VARIANT, one that is ONLY_BESIDE for
# those alone.
function(vireon_script_test name file)
    cmake_parse_arguments(TEST "PYTHON3;SERIAL;ONLY_BESIDE" "LABEL;TIMEOUT" "ARGS;ENVIRONMENT" ${ARGN})
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
    # What went wrong among hundreds of network tests is told first where nothing tells of the others.
    set(verbose --verbose)
    if(TEST_LABEL STREQUAL "network")
        set(verbose)
    endif()
    set(command ${interpreter} -B ${file} ${verbose} ${TEST_ARGS})
    set(tests)
    if(NOT TEST_ONLY_BESIDE)
        add_test(NAME ${name} COMMAND ${command})
        set_tests_properties(${name} PROPERTIES LABELS ${TEST_LABEL} ENVIRONMENT "${environment}")
        list(APPEND tests ${name})
    endif()
    if(NOT TEST_PYTHON3 OR TEST_LABEL STREQUAL "network")
        foreach(variant IN LISTS VIREON_TEST_VARIANTS)
            string(REGEX MATCH "^(before|after)(_on_(.*))?$" match ${variant})
            set(order ${CMAKE_MATCH_1})
            set(version)
            if(CMAKE_MATCH_3)
                set(version VIREON_WINDOWS_VERSION=${CMAKE_MATCH_3})
            endif()
            set(test ${name}_beside_${variant})
            add_test(NAME ${test} COMMAND
                ${PROJECT_SOURCE_DIR}/tests/neighbours/beside.sh ${neighbours_platform} ${order} ${command})
            set_tests_properties(${test} PROPERTIES LABELS neighbours
                ENVIRONMENT "${environment};${version}")
            list(APPEND tests ${test})
        endforeach()
    endif()
    if(tests)
        set_tests_properties(${tests} PROPERTIES TIMEOUT ${TEST_TIMEOUT})
        if(TEST_SERIAL)
            set_tests_properties(${tests} PROPERTIES RUN_SERIAL ON)
        endif()
    endif()
endfunction()
