# vireon_check_windows_python(FOLDER LIBRARY)
#
# Sets LIBRARY to the import library of the Python 2.7 for 64-bit Windows in FOLDER, or ends with what is
# wrong with the folder. The official installation has libs/python27.lib, which mingw's linker reads as
# well as its own kind; a libs/libpython27.a that lies there too is of no use in a stock installation.
function(vireon_check_windows_python folder library)
    if(NOT EXISTS "${folder}/include/Python.h")
        message(FATAL_ERROR "VIREON_WINDOWS_PYTHON names no folder with include/Python.h: '${folder}'")
    endif()
    foreach(name python27.lib libpython27.a)
        if(EXISTS "${folder}/libs/${name}")
            set(${library} ${folder}/libs/${name} PARENT_SCOPE)
            return()
        endif()
    endforeach()
    message(FATAL_ERROR "VIREON_WINDOWS_PYTHON names a folder without an import library of "
        "python27.dll (libs/python27.lib or libs/libpython27.a): '${folder}'")
endfunction()
