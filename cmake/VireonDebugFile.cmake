# vireon_split_debug_file(TARGET)
#
# A module is shipped without its debug information, which is twenty times its size and names the
# folders of the machine that built it. It lies beside the module in <module>.debug, and the module
# says so, for debuggers. Debug builds and checked ones keep theirs in place (VIREON_SPLIT_DEBUG).
set(VIREON_SPLIT_DEBUG OFF)
if(CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo" AND NOT VIREON_SANITIZE)
    set(VIREON_SPLIT_DEBUG ON)
endif()

function(vireon_split_debug_file target)
    if(NOT VIREON_SPLIT_DEBUG)
        return()
    endif()
    # By its bare name in its own folder, since that is what the module is to remember.
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE_NAME:${target}>
            $<TARGET_FILE_NAME:${target}>.debug
        COMMAND ${CMAKE_OBJCOPY} --strip-all --add-gnu-debuglink=$<TARGET_FILE_NAME:${target}>.debug
            $<TARGET_FILE_NAME:${target}>
        BYPRODUCTS ${PROJECT_BINARY_DIR}/${target}${VIREON_PYTHON_MODULE_SUFFIX}.debug
        WORKING_DIRECTORY $<TARGET_FILE_DIR:${target}>
        COMMENT "Splitting off the debug information of $<TARGET_FILE_NAME:${target}>"
        VERBATIM)
endfunction()
