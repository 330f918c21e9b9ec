# What the module needs of Python 2.7, as two targets and one variable:
#
#   vireon_python             the headers (quietly, as system headers) and, on Windows, python27.dll's
#                             import library. No libpython on Linux: the module takes the
#                             interpreter's symbols from the process that loads it.
#   vireon_python_embed       the same with libpython, for test programs that are the process.
#   VIREON_PYTHON_EXECUTABLE  runs a script with the module on its path: the interpreter in a small
#                             wrapper (build/<preset>/python), handy from the shell as well.
#
# VIREON_PYTHON_DEBUG=ON takes the debug interpreter, whose modules end in _d.so. VIREON_PYTHON names the
# interpreter to build for, in place of the first on PATH; the wheels for Linux are built for Debian 11's.
# A build for Windows is told by VIREON_WINDOWS_PYTHON where Windows' Python 2.7 lies (a folder with
# include/ and libs/).
option(VIREON_PYTHON_DEBUG "Build for the debug interpreter, which counts references" OFF)

add_library(vireon_python INTERFACE)
add_library(vireon_python_embed INTERFACE)
target_link_libraries(vireon_python_embed INTERFACE vireon_python)

if(WIN32)
    set(VIREON_WINDOWS_PYTHON "" CACHE PATH "Python 2.7 for 64-bit Windows: include/ and libs/")
    if(NOT VIREON_WINDOWS_PYTHON AND CMAKE_CROSSCOMPILING)
        # Asked each time, since the environment may name another one than last time.
        execute_process(COMMAND ${PROJECT_SOURCE_DIR}/scripts/windows/interpreter.sh
            OUTPUT_VARIABLE VIREON_WINDOWS_PYTHON OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failed)
        if(failed)
            message(FATAL_ERROR "There is no Windows interpreter to build for, see above")
        endif()
    endif()
    if(CMAKE_CROSSCOMPILING)
        # Test programs run with the interpreter that they were built for, whatever is chosen then.
        list(PREPEND CMAKE_CROSSCOMPILING_EMULATOR env VIREON_WINDOWS_PYTHON=${VIREON_WINDOWS_PYTHON})
    endif()
    include(${CMAKE_CURRENT_LIST_DIR}/VireonWindowsPython.cmake)
    vireon_check_windows_python("${VIREON_WINDOWS_PYTHON}" windows_python_library)
    set(VIREON_PYTHON_MODULE_SUFFIX .pyd)
    target_include_directories(vireon_python SYSTEM INTERFACE ${VIREON_WINDOWS_PYTHON}/include)
    target_link_libraries(vireon_python INTERFACE ${windows_python_library})
    # The headers know 64-bit Windows by this name alone; only Microsoft's compiler sets it itself.
    target_compile_definitions(vireon_python INTERFACE MS_WIN64)
    foreach(name python python-isolated)
        configure_file(${PROJECT_SOURCE_DIR}/cmake/windows-${name}.sh.in ${PROJECT_BINARY_DIR}/${name}
            @ONLY FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                WORLD_READ WORLD_EXECUTE)
    endforeach()
    set(VIREON_PYTHON_EXECUTABLE ${PROJECT_BINARY_DIR}/python)
    return()
endif()

if(VIREON_PYTHON_DEBUG)
    set(kind --debug)
    set(VIREON_PYTHON_MODULE_SUFFIX _d.so)
else()
    set(kind)
    set(VIREON_PYTHON_MODULE_SUFFIX .so)
endif()
set(VIREON_PYTHON "" CACHE FILEPATH "The Python 2.7 to build for, instead of the first on PATH")
if(VIREON_ZIG)
    # Asked each time, since what it is made of may have changed. Not for its libraries: the wheels'
    # compiler builds no program that is the process.
    string(REPLACE "x86_64" "amd64" architecture ${CMAKE_SYSTEM_PROCESSOR})
    string(REPLACE "aarch64" "arm64" architecture ${architecture})
    execute_process(COMMAND ${PROJECT_SOURCE_DIR}/scripts/wheels/debian-python.sh ${architecture}
        OUTPUT_VARIABLE found RESULT_VARIABLE failed OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(failed)
        message(FATAL_ERROR "There is no Linux interpreter to build for, see above")
    endif()
    set(python_EXECUTABLE ${found}/python)
    set(python_INCLUDE ${found}/include)
else()
    execute_process(COMMAND ${PROJECT_SOURCE_DIR}/scripts/find-python2.sh ${kind} ${VIREON_PYTHON}
        OUTPUT_VARIABLE found RESULT_VARIABLE failed OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(failed)
        message(FATAL_ERROR "Python 2.7 with headers is missing: './dev setup' installs it")
    endif()
    foreach(name EXECUTABLE INCLUDE PLATFORM_INCLUDE LIBRARY SYSTEM_LIBRARIES VERSION)
        string(REGEX MATCH "(^|\n)${name}=([^\n]*)" match "${found}")
        set(python_${name} "${CMAKE_MATCH_2}")
    endforeach()
endif()
message(STATUS "Python ${python_VERSION}: ${python_EXECUTABLE}")

# A module that is built with a sanitizer needs its runtime in the process before anything else.
set(python_environment)
if(VIREON_SANITIZE MATCHES "address|thread")
    string(REGEX MATCH "address|thread" sanitizer "${VIREON_SANITIZE}")
    string(REPLACE "address" "libasan.so" runtime ${sanitizer})
    string(REPLACE "thread" "libtsan.so" runtime ${runtime})
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${runtime}
        OUTPUT_VARIABLE runtime OUTPUT_STRIP_TRAILING_WHITESPACE)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libstdc++.so
        OUTPUT_VARIABLE standard_library OUTPUT_STRIP_TRAILING_WHITESPACE)
    file(READ ${PROJECT_SOURCE_DIR}/tests/sanitizers/${sanitizer}.env python_environment)
    string(CONFIGURE "${python_environment}" python_environment @ONLY)
endif()
set(VIREON_PYTHON_EXECUTABLE ${PROJECT_BINARY_DIR}/python)
configure_file(${PROJECT_SOURCE_DIR}/cmake/python.sh.in ${VIREON_PYTHON_EXECUTABLE} @ONLY
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
        WORLD_READ WORLD_EXECUTE)

target_include_directories(vireon_python SYSTEM INTERFACE
    ${python_INCLUDE} ${python_PLATFORM_INCLUDE})
if(VIREON_PYTHON_DEBUG)
    # Debian's headers for its debug interpreter leave this one to whoever compiles.
    target_compile_definitions(vireon_python INTERFACE Py_DEBUG)
    # Its macros cast what they are given, in the line of whoever uses them.
    target_compile_options(vireon_python INTERFACE -Wno-old-style-cast)
endif()
if(python_LIBRARY)
    separate_arguments(system_libraries UNIX_COMMAND "${python_SYSTEM_LIBRARIES}")
    target_link_libraries(vireon_python_embed INTERFACE ${python_LIBRARY} ${system_libraries})
    # A static libpython's symbols are what the extension modules it loads link against.
    target_link_options(vireon_python_embed INTERFACE -rdynamic)
endif()
