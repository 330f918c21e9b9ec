// The module's calls of the interpreter that take memory. The program defines them before any
// library could, so they are turned here one by one in the loaded module: where it looks up the
// address of such a function it finds a few instructions that ask the plan, and then either give
// the function's failure or go on to it with all arguments as they are.
#include <dlfcn.h>
#include <link.h>
#include <stdint.h>
#include <string.h>
#include <sys/mman.h>

#include <atomic>

#include "fault_plan.h"

namespace {

enum class Outcome {
    kNullWithError,
    kNegativeWithError,
    kNull,
};

struct Function {
    const char* name;
    Outcome outcome;
    void* next;
};

Function functions[] = {
    {"PyCFunction_NewEx", Outcome::kNullWithError, nullptr},
    {"PyCapsule_New", Outcome::kNullWithError, nullptr},
    {"PyDict_New", Outcome::kNullWithError, nullptr},
    {"PyDict_SetItem", Outcome::kNegativeWithError, nullptr},
    {"PyDict_SetItemString", Outcome::kNegativeWithError, nullptr},
    {"PyFloat_FromDouble", Outcome::kNullWithError, nullptr},
    {"PyImport_ImportModule", Outcome::kNullWithError, nullptr},
    {"PyInstance_NewRaw", Outcome::kNullWithError, nullptr},
    {"PyInt_FromLong", Outcome::kNullWithError, nullptr},
    {"PyList_New", Outcome::kNullWithError, nullptr},
    {"PyLong_FromLong", Outcome::kNullWithError, nullptr},
    {"PyLong_FromUnsignedLongLong", Outcome::kNullWithError, nullptr},
    {"PyMem_Malloc", Outcome::kNull, nullptr},
    {"PyModule_AddObject", Outcome::kNegativeWithError, nullptr},
    {"PyObject_Call", Outcome::kNullWithError, nullptr},
    {"PyObject_CallFunctionObjArgs", Outcome::kNullWithError, nullptr},
    {"PyObject_CallMethod", Outcome::kNullWithError, nullptr},
    {"PyObject_CallObject", Outcome::kNullWithError, nullptr},
    {"PyObject_GetAttr", Outcome::kNullWithError, nullptr},
    {"PyObject_GetAttrString", Outcome::kNullWithError, nullptr},
    {"PyString_FromFormat", Outcome::kNullWithError, nullptr},
    {"PyString_FromString", Outcome::kNullWithError, nullptr},
    {"PyString_FromStringAndSize", Outcome::kNullWithError, nullptr},
    {"PyString_InternFromString", Outcome::kNullWithError, nullptr},
    {"PyThreadState_New", Outcome::kNull, nullptr},
    {"PyTuple_GetSlice", Outcome::kNullWithError, nullptr},
    {"PyTuple_New", Outcome::kNullWithError, nullptr},
    {"PyTuple_Pack", Outcome::kNullWithError, nullptr},
    {"PyType_Ready", Outcome::kNegativeWithError, nullptr},
    {"PyUnicodeUCS4_FromWideChar", Outcome::kNullWithError, nullptr},
    {"Py_AtExit", Outcome::kNegativeWithError, nullptr},
    {"Py_BuildValue", Outcome::kNullWithError, nullptr},
    {"Py_InitModule4_64", Outcome::kNullWithError, nullptr},
    {"Py_VaBuildValue", Outcome::kNullWithError, nullptr},
    {"_PyObject_New", Outcome::kNullWithError, nullptr},
};
constexpr uint64_t kFunctions = sizeof functions / sizeof *functions;

std::atomic<long> raised{0};

Function* FindFunction(const char* name) {
    for (Function& function : functions) {
        if (strcmp(function.name, name) == 0) return &function;
    }
    return nullptr;
}

}  // namespace

extern "C" {

void* (*faults_raise_memory_error)() = nullptr;

// Null when the call fails; then result has what it gives.
__attribute__((visibility("hidden"))) void* faults_next(uint64_t number, void** result) {
    const Function& function = functions[number];
    if (!fault_plan::MustFailInterpreterCall()) return function.next;
    *result = function.outcome == Outcome::kNegativeWithError
                  ? reinterpret_cast<void*>(static_cast<intptr_t>(-1))
                  : nullptr;
    if (function.outcome != Outcome::kNull) {
        faults_raise_memory_error();
        ++raised;
    }
    return nullptr;
}

// In %r11 the function's number. All registers that can hold an argument are kept.
__attribute__((visibility("hidden"))) extern const char faults_ask[];
asm(R"(
    .text
    .hidden faults_ask
    .globl faults_ask
faults_ask:
    push %rbp
    mov %rsp, %rbp
    push %rdi
    push %rsi
    push %rdx
    push %rcx
    push %r8
    push %r9
    push %rax
    push %r10
    sub $144, %rsp
    movups %xmm0, 16(%rsp)
    movups %xmm1, 32(%rsp)
    movups %xmm2, 48(%rsp)
    movups %xmm3, 64(%rsp)
    movups %xmm4, 80(%rsp)
    movups %xmm5, 96(%rsp)
    movups %xmm6, 112(%rsp)
    movups %xmm7, 128(%rsp)
    mov %r11, %rdi
    mov %rsp, %rsi
    call faults_next
    mov %rax, %r11
    test %rax, %rax
    jz 1f
    movups 16(%rsp), %xmm0
    movups 32(%rsp), %xmm1
    movups 48(%rsp), %xmm2
    movups 64(%rsp), %xmm3
    movups 80(%rsp), %xmm4
    movups 96(%rsp), %xmm5
    movups 112(%rsp), %xmm6
    movups 128(%rsp), %xmm7
    add $144, %rsp
    pop %r10
    pop %rax
    pop %r9
    pop %r8
    pop %rcx
    pop %rdx
    pop %rsi
    pop %rdi
    pop %rbp
    jmp *%r11
1:  mov (%rsp), %rax
    leave
    ret
)");

}  // extern "C"

namespace {

// mov $number, %r11d; movabs $faults_ask, %rax is no choice, since %rax counts vector arguments, so
// the address is reached through memory: jmp *(%rip).
constexpr size_t kThunkSize = 32;

void WriteThunk(unsigned char* thunk, uint32_t number) {
    thunk[0] = 0x41;  // mov $number, %r11d
    thunk[1] = 0xBB;
    memcpy(thunk + 2, &number, sizeof number);
    thunk[6] = 0xFF;  // jmp *10(%rip)
    thunk[7] = 0x25;
    const uint32_t distance = 16 - 12;
    memcpy(thunk + 8, &distance, sizeof distance);
    const void* const target = faults_ask;
    memcpy(thunk + 16, &target, sizeof target);
}

void Turn(uintptr_t place, void* to) {
    constexpr uintptr_t kPage = 4096;
    const uintptr_t begin = place & ~(kPage - 1);
    mprotect(reinterpret_cast<void*>(begin), kPage, PROT_READ | PROT_WRITE);
    *reinterpret_cast<void**>(place) = to;
}

struct Tables {
    const ElfW(Rela) * entries[2]{};
    size_t sizes[2]{};
    const ElfW(Sym) * symbols = nullptr;
    const char* names = nullptr;
};

Tables TablesOf(const link_map& module) {
    Tables tables;
    for (const ElfW(Dyn)* entry = module.l_ld; entry->d_tag != DT_NULL; ++entry) {
        const auto address = reinterpret_cast<const void*>(entry->d_un.d_ptr);
        switch (entry->d_tag) {
            case DT_JMPREL:
                tables.entries[0] = static_cast<const ElfW(Rela)*>(address);
                break;
            case DT_PLTRELSZ:
                tables.sizes[0] = entry->d_un.d_val;
                break;
            case DT_RELA:
                tables.entries[1] = static_cast<const ElfW(Rela)*>(address);
                break;
            case DT_RELASZ:
                tables.sizes[1] = entry->d_un.d_val;
                break;
            case DT_SYMTAB:
                tables.symbols = static_cast<const ElfW(Sym)*>(address);
                break;
            case DT_STRTAB:
                tables.names = static_cast<const char*>(address);
                break;
            default:
                break;
        }
    }
    return tables;
}

}  // namespace

// Turns the calls of the module that was loaded by this handle of dlopen. Gives how many places.
extern "C" int faults_turn_interpreter_calls(void* handle) {
    link_map* module = nullptr;
    if (dlinfo(handle, RTLD_DI_LINKMAP, &module) != 0) return 0;
    *reinterpret_cast<void**>(&faults_raise_memory_error) = dlsym(RTLD_DEFAULT, "PyErr_NoMemory");
    auto* const thunks =
        static_cast<unsigned char*>(mmap(nullptr, kFunctions * kThunkSize, PROT_READ | PROT_WRITE,
                                         MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    for (uint32_t number = 0; number < kFunctions; ++number) {
        functions[number].next = dlsym(RTLD_DEFAULT, functions[number].name);
        WriteThunk(thunks + number * kThunkSize, number);
    }
    mprotect(thunks, kFunctions * kThunkSize, PROT_READ | PROT_EXEC);
    const Tables tables = TablesOf(*module);
    int turned = 0;
    for (int table = 0; table < 2; ++table) {
        const size_t count = tables.sizes[table] / sizeof(ElfW(Rela));
        for (size_t index = 0; index < count; ++index) {
            const ElfW(Rela)& entry = tables.entries[table][index];
            const auto type = ELF64_R_TYPE(entry.r_info);
            if (type != R_X86_64_JUMP_SLOT && type != R_X86_64_GLOB_DAT) continue;
            const char* const name =
                tables.names + tables.symbols[ELF64_R_SYM(entry.r_info)].st_name;
            const Function* const function = FindFunction(name);
            if (!function) continue;
            Turn(module->l_addr + entry.r_offset,
                 thunks + static_cast<size_t>(function - functions) * kThunkSize);
            ++turned;
        }
    }
    return turned;
}

// How many of them have failed by an exception so far.
extern "C" long faults_raised() {
    return raised;
}
