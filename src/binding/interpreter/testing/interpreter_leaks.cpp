// What the leak check is to know in a test program that embeds the interpreter. Python 2.7 leaves
// much behind when it ends: type objects, interned strings and whatever only its own small-object
// heap points to. A stack names the allocation's direct caller only, so that nothing is hidden that
// our own code allocates, even when a script called it. The sanitizers look these two functions up
// by name; without them nobody calls them.

extern "C" __attribute__((visibility("default"), used)) const char* __asan_default_options() {
    return "malloc_context_size=2";
}

extern "C" __attribute__((visibility("default"), used)) const char* __lsan_default_suppressions() {
    return "leak:libpython2.7\n";
}

extern "C" __attribute__((visibility("default"), used)) const char* __lsan_default_options() {
    return "print_suppressions=0";
}
