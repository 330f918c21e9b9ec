#include "fault_plan.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>

#include <atomic>
#include <new>

namespace {

// The plan: made by the script thread, which is also the one that asks how it went.
std::atomic<int> planned_call{-1};
std::atomic<int> planned_thread{0};
std::atomic<int> planned_error{0};
std::atomic<long> calls_left{0};
std::atomic<long> reached{0};
// Shared with children, whose end their parent sees.
std::atomic<bool>& has_failed =
    *new (mmap(nullptr, sizeof(std::atomic<bool>), PROT_READ | PROT_WRITE,
               MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<bool>(false);

std::atomic<int> threads_made{0};
std::atomic<long> living{0};

// 0 on all threads that the module has not made.
thread_local int thread_number = 0;
thread_local bool looks_at_stack = false;

std::atomic<uintptr_t> module_begin{0};
std::atomic<uintptr_t> module_end{0};

int NoteModule(dl_phdr_info* info, size_t, void*) {
    constexpr char kModuleFile[] = "/_vireon.so";
    constexpr size_t kLength = sizeof kModuleFile - 1;
    const size_t length = strlen(info->dlpi_name);
    if (length < kLength || strcmp(info->dlpi_name + length - kLength, kModuleFile) != 0) return 0;
    uintptr_t end = 0;
    for (int index = 0; index < info->dlpi_phnum; ++index) {
        const ElfW(Phdr)& part = info->dlpi_phdr[index];
        const uintptr_t part_end = info->dlpi_addr + part.p_vaddr + part.p_memsz;
        if (part.p_type == PT_LOAD && part_end > end) end = part_end;
    }
    module_end = end;
    module_begin = info->dlpi_addr;
    return 1;
}

using fault_plan::IsInModule;

struct Extent {
    uintptr_t begin = 0;
    uintptr_t size = 0;
    bool Holds(const void* address) const {
        return reinterpret_cast<uintptr_t>(address) - begin < size;
    }
};

Extent ExtentOf(const char* function) {
    void* const begin = dlsym(RTLD_DEFAULT, function);
    Dl_info info;
    ElfW(Sym)* symbol = nullptr;
    if (!begin || !dladdr1(begin, &info, reinterpret_cast<void**>(&symbol), RTLD_DL_SYMENT))
        return {};
    return {reinterpret_cast<uintptr_t>(begin), symbol ? symbol->st_size : 0};
}

// What the interpreter allocates in these it does not do without: it ends the process itself.
const Extent fatal_to_interpreter[] = {ExtentOf("PyThread_set_key_value"),
                                       ExtentOf("PyEval_InitThreads")};

// Whether the module is on the thread's stack, and the interpreter in none of those places.
bool IsBelowModule() {
    if (looks_at_stack) return false;  // an allocation of the look itself
    looks_at_stack = true;
    constexpr int kDepth = 128;
    void* frames[kDepth];
    const int count = backtrace(frames, kDepth);
    bool is_below = thread_number > 0;  // the thread's own first function, out of sight
    bool is_fatal = false;
    for (int index = 0; index < count && !is_fatal; ++index) {
        is_below = is_below || IsInModule(frames[index]);
        for (const Extent& function : fatal_to_interpreter)
            is_fatal = is_fatal || function.Holds(frames[index]);
    }
    looks_at_stack = false;
    return is_below && !is_fatal;
}

bool IsPlanned(Call call) {
    return planned_call.load(std::memory_order_relaxed) == static_cast<int>(call) &&
           planned_thread == thread_number;
}

bool IsItsTurn() {
    ++reached;
    if (--calls_left != 0) return false;
    has_failed = true;
    return true;
}

struct Numbered {
    void* (*entry)(void*);
    void* argument;
    int number;
};

// The first look at a stack loads the unwinder.
[[maybe_unused]] const int unwinder_is_loaded = [] {
    void* frame = nullptr;
    return backtrace(&frame, 1);
}();

}  // namespace

namespace fault_plan {

bool IsInModule(const void* address) {
    if (!module_begin) dl_iterate_phdr(NoteModule, nullptr);
    const uintptr_t place = reinterpret_cast<uintptr_t>(address);
    return module_begin && place >= module_begin && place < module_end;
}

bool MustFail(Call call, const void* caller) {
    return IsPlanned(call) && IsInModule(caller) && IsItsTurn();
}

bool MustFailBelowModule(Call call) {
    return IsPlanned(call) && IsBelowModule() && IsItsTurn();
}

bool MustFailInterpreterCall() {
    return IsPlanned(Call::kInterpreter) && IsItsTurn();
}

int Error() {
    return planned_error;
}

void* NumberThread(void* (*entry)(void*), void* argument) {
    const int call = planned_call.exchange(-1);  // this allocation is the plan's own
    auto* const numbered = static_cast<Numbered*>(malloc(sizeof(Numbered)));
    planned_call = call;
    if (numbered) *numbered = {entry, argument, ++threads_made};
    return numbered;
}

void* RunNumbered(void* numbered) {
    const Numbered thread = *static_cast<Numbered*>(numbered);
    free(numbered);
    thread_number = thread.number;
    return thread.entry(thread.argument);
}

void ForgetThread(void* numbered) {
    free(numbered);
}

void Count(long change) {
    living += change;
}

}  // namespace fault_plan

extern "C" {

void faults_plan(int call, int thread, long nth, int error) {
    planned_call = -1;
    threads_made = 0;
    reached = 0;
    has_failed = false;
    calls_left = nth;
    planned_thread = thread;
    planned_error = error;
    planned_call = call;
}

void faults_end() {
    planned_call = -1;
}

int faults_has_failed() {
    return has_failed;
}

long faults_reached() {
    return reached;
}

long faults_living() {
    return living;
}
}
