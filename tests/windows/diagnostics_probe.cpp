// Writes what the engine writes to the diagnostics: wide lines of several levels, one that is too
// long, and the narrow lines of a thread that finds no COM in its process.
#include <string>

#include "engine/com_apartment.h"
#include "engine/diagnostics_log.h"

int main() {
    DiagnosticsLog& log = DiagnosticsLog::Get();
    for (const NPT_Int32 level : {-1, 0, 3, 4, 5})
        log.Wide(level, L"wide %d", static_cast<int>(level));
    log.Wide(5, L"%ls", std::wstring(2000, L'x').c_str());
    const ComApartment apartment;
    return 0;
}
