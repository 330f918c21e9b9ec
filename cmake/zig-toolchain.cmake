# Linux as far back as glibc 2.17, for the processor that VIREON_PROCESSOR names: zig's clang (scripts/wheels/
# zig.sh) knows each version of the C library, and links its own C++ library into what it builds.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${VIREON_PROCESSOR})
if(NOT VIREON_ZIG)
    execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../scripts/wheels/zig.sh
        OUTPUT_VARIABLE VIREON_ZIG OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failed)
    if(failed)
        message(FATAL_ERROR "There is no compiler for the wheels, see above")
    endif()
    set(VIREON_ZIG ${VIREON_ZIG} CACHE FILEPATH "The compiler of the wheels for Linux")
endif()
# What CMake tries the compiler with is told the same.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VIREON_PROCESSOR VIREON_ZIG)
set(CMAKE_CXX_COMPILER ${VIREON_ZIG} c++ -target ${VIREON_PROCESSOR}-linux-gnu.2.17)
# The same program under further names, each of which is a word of its own.
set(CMAKE_AR ${VIREON_ZIG})
set(CMAKE_CXX_ARCHIVE_CREATE "<CMAKE_AR> ar qc <TARGET> <LINK_FLAGS> <OBJECTS>")
set(CMAKE_CXX_ARCHIVE_APPEND "<CMAKE_AR> ar q <TARGET> <LINK_FLAGS> <OBJECTS>")
set(CMAKE_CXX_ARCHIVE_FINISH "<CMAKE_AR> ranlib <TARGET>")
