// Runs a program as its debugger and writes what it sends to the debugger channel to a file, a line
// each, the text's own line breaks written as \n. The exit code is the program's.
//
// The channel hands text of the wide call over in the narrow code page too, so the two cannot be
// told apart here.
//
// usage: debug_capture OUTPUT PROGRAM [ARGUMENT ...]
#include <windows.h>

#include <cstdio>
#include <string>

namespace {

std::string Quoted(int count, char** arguments) {
    std::string line;
    for (int i = 0; i < count; ++i) {
        if (i > 0) line += ' ';
        line += '"';
        for (const char* c = arguments[i]; *c; ++c) {
            if (*c == '"') line += '\\';
            line += *c;
        }
        line += '"';
    }
    return line;
}

// The length that the channel reports counts the terminator.
std::string ReadText(HANDLE process, const OUTPUT_DEBUG_STRING_INFO& message) {
    const std::size_t length = message.nDebugStringLength;
    SIZE_T read = 0;
    std::string narrow(length, '\0');
    ReadProcessMemory(process, message.lpDebugStringData, narrow.data(), length, &read);
    while (!narrow.empty() && narrow.back() == '\0')
        narrow.pop_back();
    return narrow;
}

void WriteLine(std::FILE* output, const std::string& text) {
    for (const char c : text) {
        if (c == '\n') {
            std::fputs("\\n", output);
        } else {
            std::fputc(c, output);
        }
    }
    std::fputc('\n', output);
    std::fflush(output);
}

// Until the program ends; its exit code.
int Follow(HANDLE process, std::FILE* output) {
    bool started = false;
    for (;;) {
        DEBUG_EVENT event;
        if (!WaitForDebugEvent(&event, INFINITE)) return 126;
        DWORD answer = DBG_CONTINUE;
        switch (event.dwDebugEventCode) {
            case OUTPUT_DEBUG_STRING_EVENT:
                WriteLine(output, ReadText(process, event.u.DebugString));
                break;
            case CREATE_PROCESS_DEBUG_EVENT:
                CloseHandle(event.u.CreateProcessInfo.hFile);
                break;
            case LOAD_DLL_DEBUG_EVENT:
                CloseHandle(event.u.LoadDll.hFile);
                break;
            case EXCEPTION_DEBUG_EVENT:
                // The first break point is the loader's greeting to a debugger, not a fault.
                if (started || event.u.Exception.ExceptionRecord.ExceptionCode !=
                                   static_cast<DWORD>(EXCEPTION_BREAKPOINT)) {
                    answer = DBG_EXCEPTION_NOT_HANDLED;
                }
                started = true;
                break;
            case EXIT_PROCESS_DEBUG_EVENT:
                ContinueDebugEvent(event.dwProcessId, event.dwThreadId, DBG_CONTINUE);
                return static_cast<int>(event.u.ExitProcess.dwExitCode);
            default:
                break;
        }
        ContinueDebugEvent(event.dwProcessId, event.dwThreadId, answer);
    }
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 3) {
        std::fputs("usage: debug_capture OUTPUT PROGRAM [ARGUMENT ...]\n", stderr);
        return 2;
    }
    std::FILE* output = std::fopen(arguments[1], "wb");
    if (!output) {
        std::perror(arguments[1]);
        return 126;
    }
    std::string command = Quoted(count - 2, arguments + 2);
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION child = {};
    if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, DEBUG_ONLY_THIS_PROCESS,
                        nullptr, nullptr, &startup, &child)) {
        std::fprintf(stderr, "cannot run %s: error %lu\n", command.c_str(), GetLastError());
        std::fclose(output);
        return 127;
    }
    const int code = Follow(child.hProcess, output);
    std::fclose(output);
    CloseHandle(child.hThread);
    CloseHandle(child.hProcess);
    return code;
}
