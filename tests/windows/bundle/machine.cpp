// vireon_machine: what the bundle needs of the machine beyond what scripts can do. It shows the
// interfaces as the module sees them, and keeps the module's searches on the machine.
#include <Python.h>

#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstring>

#include "device/zo_vireonity.h"
#include "net/owned_interfaces.h"

namespace {

int WSAAPI SendHere(SOCKET socket, const char* data, int size, int flags, const sockaddr* address,
                    int) {
    sockaddr_in here{};
    std::memcpy(&here, address, sizeof here);
    here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return ::sendto(socket, data, size, flags, reinterpret_cast<const sockaddr*>(&here),
                    sizeof here);
}

template <typename Record>
const Record* At(HMODULE file, std::size_t offset) {
    return reinterpret_cast<const Record*>(reinterpret_cast<const char*>(file) + offset);
}

// Where a loaded file keeps the address of a function that it imports by name; null when it does
// not.
const IMAGE_THUNK_DATA64* FindImport(HMODULE file, const char* function) {
    const auto* start = At<IMAGE_DOS_HEADER>(file, 0);
    const auto* headers = At<IMAGE_NT_HEADERS64>(file, static_cast<std::size_t>(start->e_lfanew));
    const IMAGE_DATA_DIRECTORY& imports =
        headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    const auto* library = At<IMAGE_IMPORT_DESCRIPTOR>(file, imports.VirtualAddress);
    for (; library->Name != 0; ++library) {
        const auto* name = At<IMAGE_THUNK_DATA64>(file, library->OriginalFirstThunk);
        const auto* address = At<IMAGE_THUNK_DATA64>(file, library->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++address) {
            if (IMAGE_SNAP_BY_ORDINAL64(name->u1.Ordinal)) continue;
            const auto* import = At<IMAGE_IMPORT_BY_NAME>(file, name->u1.AddressOfData);
            if (std::strcmp(import->Name, function) == 0) return address;
        }
    }
    return nullptr;
}

bool Redirect(const IMAGE_THUNK_DATA64* import,
              int(WSAAPI* function)(SOCKET, const char*, int, int, const sockaddr*, int)) {
    auto* place = const_cast<IMAGE_THUNK_DATA64*>(import);
    DWORD protection = 0;
    if (!::VirtualProtect(place, sizeof *place, PAGE_READWRITE, &protection)) return false;
    place->u1.Function = reinterpret_cast<ULONGLONG>(function);
    return ::VirtualProtect(place, sizeof *place, protection, &protection) != 0;
}

// keep_here(path): from now on all datagrams of the module that was loaded from there go to
// 127.0.0.1, each to the port it is for. The module goes on as ever otherwise. Raises when that
// cannot be had: nothing may be searched then.
//
// A script could not do this: the module sends on threads that outlive the interpreter.
PyObject* KeepHere(PyObject*, PyObject* arguments) {
    const char* path = nullptr;
    if (!PyArg_ParseTuple(arguments, "s", &path)) return nullptr;
    const HMODULE file = ::GetModuleHandleA(path);
    const IMAGE_THUNK_DATA64* sendto = file ? FindImport(file, "sendto") : nullptr;
    if (!sendto || FindImport(file, "WSASendTo") || FindImport(file, "WSASendMsg") ||
        !Redirect(sendto, SendHere))
        return PyErr_Format(PyExc_RuntimeError, "cannot keep the datagrams of %s here", path);
    Py_RETURN_NONE;
}

// interfaces(): (address, netmask, broadcast address, flags) of each one that a search considers.
PyObject* Interfaces(PyObject*, PyObject*) {
    OwnedInterfaces interfaces;
    zorvane::ZoVireonity::GetNetworkInterfaces(interfaces.AsList());
    PyObject* result = PyList_New(0);
    for (const NPT_NetworkInterface* each : interfaces.AsList()) {
        const NPT_NetworkInterfaceAddress& address = *each->GetAddresses().begin();
        PyObject* row = Py_BuildValue("sssI", address.GetPrimaryAddress().ToString().GetChars(),
                                      address.GetNetMask().ToString().GetChars(),
                                      address.GetBroadcastAddress().ToString().GetChars(),
                                      static_cast<unsigned>(each->GetFlags()));
        if (!row || PyList_Append(result, row) != 0) return nullptr;
        Py_DECREF(row);
    }
    return result;
}

PyMethodDef methods[] = {{"keep_here", KeepHere, METH_VARARGS, nullptr},
                         {"interfaces", Interfaces, METH_NOARGS, nullptr},
                         {nullptr, nullptr, 0, nullptr}};

}  // namespace

PyMODINIT_FUNC initvireon_machine() {
    Py_InitModule("vireon_machine", methods);
}
