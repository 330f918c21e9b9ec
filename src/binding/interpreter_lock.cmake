# The interpreter lock is the one piece of binding/ that engine/ uses too: a library of its own, so
# that the order of the folders holds.
vireon_folder(interpreter_lock
    SOURCES
        binding/interpreter_lock.cpp
    USES core
    TESTS
        binding/interpreter_lock_test.cpp
        engine/testing/interpreter_leaks.cpp
)
target_link_libraries(vireon_interpreter_lock PUBLIC vireon_python)
if(TARGET interpreter_lock_test)
    target_link_libraries(interpreter_lock_test PRIVATE vireon_python_embed)
endif()
