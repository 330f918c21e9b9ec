# vireon_folder(NAME [SOURCES ...] [PLATFORM ...] [USES ...] [TESTS ...] [PLATFORM_TESTS ...])
#
# One folder of src/ as a static library vireon_<NAME> and, when it has tests, one GoogleTest program
# <NAME>_test. PLATFORM names files that stand in both posix/ and win32/; the one that fits is built.
# What one platform needs beyond that stands in <platform>/platform.cmake, if there is one.
# PLATFORM_TESTS names tests with that folder, since not every one has a counterpart; those of the
# platform at hand are built.
# USES names the folders below it. The order of the folders is the architecture: a folder may only
# use those that CMake has seen before it, and is refused otherwise.
if(WIN32)
    set(VIREON_PLATFORM_FOLDER win32)
else()
    set(VIREON_PLATFORM_FOLDER posix)
endif()

# What is shipped is optimised as a whole, when the module is linked. Its objects hold the usual code
# as well, which whatever tests them is linked from, since all that would take long each time. Not for
# Windows: mingw's linker takes a destructor that has a thunk for two when both sides have it inline.
set(VIREON_OPTIMISES_WHOLE OFF)
if(VIREON_SPLIT_DEBUG AND NOT WIN32 AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set(VIREON_OPTIMISES_WHOLE ON)
endif()

# Several processes at once, which older compilers (Debian 11's) leave to make: who only installs the module
# need not have that.
set(VIREON_LTO_PROCESSES auto)
if(VIREON_ONLY_MODULE)
    set(VIREON_LTO_PROCESSES 1)
endif()

function(vireon_optimise_whole target)
    if(VIREON_OPTIMISES_WHOLE)
        target_compile_options(${target} PRIVATE -flto=${VIREON_LTO_PROCESSES} -ffat-lto-objects)
        target_link_options(${target} PRIVATE -flto=${VIREON_LTO_PROCESSES})
    endif()
endfunction()

function(vireon_folder name)
    cmake_parse_arguments(FOLDER "" "" "SOURCES;PLATFORM;USES;TESTS;PLATFORM_TESTS" ${ARGN})
    set(sources ${FOLDER_SOURCES})
    foreach(source IN LISTS FOLDER_PLATFORM)
        list(APPEND sources ${VIREON_PLATFORM_FOLDER}/${source})
    endforeach()
    add_library(vireon_${name} STATIC ${sources})
    target_include_directories(vireon_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(vireon_${name} PUBLIC vireon_options)
    vireon_optimise_whole(vireon_${name})
    include(${CMAKE_CURRENT_SOURCE_DIR}/${VIREON_PLATFORM_FOLDER}/platform.cmake OPTIONAL)
    foreach(used IN LISTS FOLDER_USES)
        if(NOT TARGET vireon_${used})
            message(FATAL_ERROR "${name} uses ${used}, which is no folder before it")
        endif()
        target_link_libraries(vireon_${name} PUBLIC vireon_${used})
    endforeach()
    set(tests ${FOLDER_TESTS})
    foreach(test IN LISTS FOLDER_PLATFORM_TESTS)
        if(NOT test MATCHES "^(posix|win32)/")
            message(FATAL_ERROR "${test} stands in neither posix/ nor win32/")
        endif()
        if(test MATCHES "^${VIREON_PLATFORM_FOLDER}/")
            list(APPEND tests ${test})
        endif()
    endforeach()
    if(VIREON_BUILD_TESTS AND tests)
        add_executable(${name}_test ${tests})
        target_link_libraries(${name}_test PRIVATE vireon_${name} GTest::gmock_main)
        target_link_options(${name}_test PRIVATE -fno-lto)
        add_test(NAME ${name} COMMAND ${name}_test)
        set_tests_properties(${name} PROPERTIES LABELS unit TIMEOUT 300)
    endif()
endfunction()
