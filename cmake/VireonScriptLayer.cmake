# The script-side layer, beside the module: whoever has the module's folder on the path has both. Each
# file is a copy, made anew when it changes. It is told the version here, where it is declared.
set(VIREON_SCRIPT_LAYER ${PROJECT_BINARY_DIR}/vireon)
configure_file(${PROJECT_SOURCE_DIR}/python/vireon/_version.py.in ${VIREON_SCRIPT_LAYER}/_version.py @ONLY)
file(GLOB sources RELATIVE ${PROJECT_SOURCE_DIR}/python/vireon CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/python/vireon/*.py ${PROJECT_SOURCE_DIR}/python/vireon/*.pyi)
foreach(source IN LISTS sources)
    configure_file(${PROJECT_SOURCE_DIR}/python/vireon/${source} ${VIREON_SCRIPT_LAYER}/${source} COPYONLY)
    install(FILES ${VIREON_SCRIPT_LAYER}/${source} DESTINATION vireon COMPONENT layer)
endforeach()
install(FILES ${VIREON_SCRIPT_LAYER}/_version.py DESTINATION vireon COMPONENT layer)
