# Takes ccache where the machine has it.
#
# That is decided when a folder is first configured (VIREON_CCACHE): a compiler cache that is installed
# later would change every command line, and all that is built would be built again.
if(NOT DEFINED CACHE{VIREON_CCACHE})
    find_program(ccache ccache NO_CACHE)
    if(NOT ccache)
        set(ccache "")
    endif()
    set(VIREON_CCACHE "${ccache}" CACHE FILEPATH "The compiler cache, if any")
endif()
if(VIREON_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # Paths relative to the checkout, so that another checkout of the same sources finds them too.
    set(CMAKE_CXX_COMPILER_LAUNCHER
        env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${VIREON_CCACHE})
endif()
