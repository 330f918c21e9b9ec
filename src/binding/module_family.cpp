#include "binding/module_family.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "binding/interpreter/interpreter.h"
#include "binding/interpreter/pending_exception.h"
#include "binding/pointer_conversion.h"

namespace binding {

namespace {

// Not constant, since the interpreter's functions take them that way.
char runtime_module_name[] = "swig_runtime_data3";
char record_name[] = "type_pointer";
// The two together, as whoever imports a capsule spells them.
constexpr char kCapsuleName[] = "swig_runtime_data3.type_pointer";

// Calls visit for each record of the ring, start first, until it returns true. A sibling may have
// left its ring of one open.
template <typename Visit>
bool AnyRecord(ModuleRecord& start, Visit visit) {
    ModuleRecord* record = &start;
    do {
        if (visit(*record)) return true;
        record = record->next;
    } while (record && record != &start);
    return false;
}

template <typename Visit>
void ForEachType(ModuleRecord& start, Visit visit) {
    AnyRecord(start, [&visit](const ModuleRecord& record) {
        for (std::size_t i = 0; i < record.count; ++i) {
            if (record.types[i]) visit(*record.types[i]);
        }
        return false;
    });
}

TypeDescriptor* FindByName(const ModuleRecord& record, const char* name) {
    TypeDescriptor** end = record.types + record.count;
    TypeDescriptor** found = std::lower_bound(record.types, end, name,
                                              [](const TypeDescriptor* type, const char* wanted) {
                                                  return std::strcmp(MangledName(type), wanted) < 0;
                                              });
    return found != end && std::strcmp(MangledName(*found), name) == 0 ? *found : nullptr;
}

bool SameButBlanks(std::string_view left, std::string_view right) {
    auto a = left.begin(), b = right.begin();
    for (;;) {
        a = std::find_if(a, left.end(), [](char c) { return c != ' '; });
        b = std::find_if(b, right.end(), [](char c) { return c != ' '; });
        if (a == left.end() || b == right.end()) return a == left.end() && b == right.end();
        if (*a++ != *b++) return false;
    }
}

bool HasHumanName(const TypeDescriptor& type, std::string_view wanted) {
    if (!type.human_name) return false;
    std::string_view rest = type.human_name;
    for (;;) {
        const std::size_t separator = rest.find('|');
        if (SameButBlanks(rest.substr(0, separator), wanted)) return true;
        if (separator == std::string_view::npos) return false;
        rest.remove_prefix(separator + 1);
    }
}

// The descriptor that another member of the ring brought for the type, or type itself.
TypeDescriptor& SharedDescriptor(ModuleRecord& module, TypeDescriptor& type) {
    TypeDescriptor* shared = nullptr;
    AnyRecord(module, [&](const ModuleRecord& record) {
        if (&record != &module) shared = FindByName(record, type.name);
        return shared != nullptr;
    });
    return shared ? *shared : type;
}

// Behind the first link, which stays the type's link to itself.
void AddCast(TypeDescriptor& type, CastLink& link) {
    if (!type.casts) {
        type.casts = &link;
        return;
    }
    link.previous = type.casts;
    link.next = type.casts->next;
    if (link.next) link.next->previous = &link;
    type.casts->next = &link;
}

void SettleTypes(ModuleRecord& module) {
    for (std::size_t i = 0; i < module.count; ++i) {
        TypeDescriptor& own = *module.type_initial[i];
        TypeDescriptor& shared = SharedDescriptor(module, own);
        if (&shared != &own && own.client_data) shared.client_data = own.client_data;
        for (CastLink* link = module.cast_initial[i]; link->from; ++link) {
            link->from = &SharedDescriptor(module, *link->from);
            if (!FindCast(link->from->name, shared)) AddCast(shared, *link);
        }
        module.types[i] = &shared;
    }
    module.types[module.count] = nullptr;
    module.cast_initial[module.count] = nullptr;
}

// The latest registration that there is for the type, in whichever interpreter.
ClassRecord* LatestOf(const TypeDescriptor& type) {
    ClassRecord* latest = nullptr;
    for (const RegisteredClass& each : RegisteredClasses()) {
        if (each.type == &type) latest = each.record;
    }
    return latest;
}

// The types that show it show what another interpreter has for them.
void DropClass(ModuleRecord& module, ClassRecord& record) {
    std::vector<RegisteredClass>& classes = RegisteredClasses();
    const auto is_of_it = [&record](const RegisteredClass& each) { return each.record == &record; };
    classes.erase(std::remove_if(classes.begin(), classes.end(), is_of_it), classes.end());
    ForEachType(module, [&record](TypeDescriptor& type) {
        if (type.client_data != &record) return;
        type.client_data = LatestOf(type);
        if (!type.client_data) type.owns_client_data = 0;
    });
    ClearClassRecord(record);
}

// No class of the interpreter dresses or destroys anything any more.
void DropClassesOf(PyInterpreterState* interpreter, ModuleRecord& module) {
    const std::vector<RegisteredClass>& classes = RegisteredClasses();
    for (;;) {
        // Anew each time: what a class leaves to its end may run scripts that register others.
        const auto found = std::find_if(classes.begin(), classes.end(), [&](const auto& each) {
            return each.interpreter == interpreter;
        });
        if (found == classes.end()) return;
        DropClass(module, *found->record);
    }
}

bool IsRegistered(const ClassRecord& record) {
    const std::vector<RegisteredClass>& classes = RegisteredClasses();
    return std::any_of(classes.begin(), classes.end(),
                       [&record](const RegisteredClass& each) { return each.record == &record; });
}

// No class dresses or destroys anything of the module's types any more, except those that other
// interpreters have registered here. A sibling's does not say where it was registered.
void DropClasses(ModuleRecord& module) {
    DropClassesOf(PyThreadState_GET()->interp, module);
    for (std::size_t i = 0; i < module.count; ++i) {
        const TypeDescriptor& type = *module.types[i];
        if (type.owns_client_data && type.client_data && !IsRegistered(*type.client_data))
            DropClass(module, *type.client_data);
    }
    // What was left to a linked type of a sibling's.
    for (ClassRecord& own : OwnClassRecords()) {
        if (!IsRegistered(own)) DropClass(module, own);
    }
}

// The runtime module goes, by a script or with its interpreter, which drops modules in any order.
// The classes of one that ends stay for a while: what others still hold wants its destructor.
void CleanUp(PyObject* capsule) REQUIRES(interpreter_lock) {
    const PendingException pending;
    const EntryFromInterpreter entry;
    auto& module = *static_cast<ModuleRecord*>(PyCapsule_GetPointer(capsule, kCapsuleName));
    if (Py_IsInitialized() && !Interpreter::IsCurrentEnding()) DropClasses(module);
    ForgetThisName();
}

// The older call reads both kinds of opaque object: the capsule that this module publishes and the
// CObject that older siblings do.
ModuleRecord* PublishedRecord() {
    auto* record = static_cast<ModuleRecord*>(PyCObject_Import(runtime_module_name, record_name));
    PyErr_Clear();
    return record;
}

void Publish(ModuleRecord& module) {
    static PyMethodDef no_methods[] = {{nullptr, nullptr, 0, nullptr}};
    PyObject* runtime =
        Py_InitModule4(runtime_module_name, no_methods, nullptr, nullptr, PYTHON_API_VERSION);
    PyObject* pointer = runtime ? PyCapsule_New(&module, kCapsuleName, CleanUp) : nullptr;
    if (pointer) PyModule_AddObject(runtime, record_name, pointer);
    PyErr_Clear();
}

void ShareClass(TypeDescriptor& type, ClassRecord& record) {
    type.client_data = &record;
    for (const CastLink* link = type.casts; link; link = link->next) {
        if (!link->convert && !link->from->client_data) ShareClass(*link->from, record);
    }
}

bool HasClass(const TypeDescriptor& type, PyInterpreterState* interpreter) {
    const std::vector<RegisteredClass>& classes = RegisteredClasses();
    return std::any_of(classes.begin(), classes.end(), [&](const RegisteredClass& each) {
        return each.type == &type && each.interpreter == interpreter;
    });
}

// The same in one interpreter alone.
void ShareClassIn(PyInterpreterState* interpreter, TypeDescriptor& type, ClassRecord& record) {
    RegisteredClasses().push_back({interpreter, &type, &record});
    for (const CastLink* link = type.casts; link; link = link->next) {
        if (!link->convert && !HasClass(*link->from, interpreter))
            ShareClassIn(interpreter, *link->from, record);
    }
}

// What the interpreter had for the type, and what nothing leads to since a sibling has replaced it.
void ForgetReplacedClasses(PyInterpreterState* interpreter, const TypeDescriptor& type) {
    std::vector<RegisteredClass>& classes = RegisteredClasses();
    std::vector<RegisteredClass> kept;
    for (const RegisteredClass& each : classes) {
        const bool is_replaced = each.interpreter == interpreter &&
                                 (each.type == &type || ClassOf(*each.type) != each.record);
        if (!is_replaced) kept.push_back(each);
    }
    classes.swap(kept);
}

// A type that still shows the record, or null.
TypeDescriptor* FindUser(ModuleRecord& module, const ClassRecord& record) {
    TypeDescriptor* user = nullptr;
    ForEachType(module, [&](TypeDescriptor& type) {
        if (type.client_data == &record) user = &type;
    });
    return user;
}

bool HasAnyClass(PyInterpreterState* interpreter) {
    const std::vector<RegisteredClass>& classes = RegisteredClasses();
    return std::any_of(classes.begin(), classes.end(), [interpreter](const RegisteredClass& each) {
        return each.interpreter == interpreter;
    });
}

}  // namespace

void JoinFamily(ModuleRecord& module) {
    const bool settled = module.next != nullptr;
    if (!settled) module.next = &module;
    ModuleRecord* head = PublishedRecord();
    if (!head) {
        Publish(module);
    } else if (!AnyRecord(*head, [&module](ModuleRecord& other) { return &other == &module; })) {
        if (!head->next) head->next = head;
        // Two rings that exchange a link are one: this puts a lone record behind the head, and
        // joins the rings of a family that has lost its runtime module in between.
        std::swap(module.next, head->next);
    }
    if (!settled) SettleTypes(module);
}

TypeDescriptor* QueryType(ModuleRecord& module, const char* name, const char* human_name) {
    TypeDescriptor* found = nullptr;
    AnyRecord(module, [&](const ModuleRecord& record) {
        found = FindByName(record, name);
        return found != nullptr;
    });
    if (found) return found;
    ForEachType(module, [&](TypeDescriptor& type) {
        if (!found && HasHumanName(type, human_name)) found = &type;
    });
    return found;
}

bool RegisterClass(ModuleRecord& module, TypeDescriptor& type, PyObject* script_class) {
    // First, since it takes away what one that has ended may have left under the same address.
    const std::shared_ptr<Interpreter> current = Interpreter::GetCurrent();
    PyInterpreterState* const interpreter = current->GetState();
    if (!HasAnyClass(interpreter))
        current->CallAtEnd([interpreter, &module] { DropClassesOf(interpreter, module); });
    ClassRecord* record = NewClassRecord(script_class);
    if (!record) return false;
    ForgetReplacedClasses(interpreter, type);
    ShareClassIn(interpreter, type, *record);
    const bool owned = std::exchange(type.owns_client_data, 1) != 0;
    ClassRecord* left = std::exchange(type.client_data, nullptr);
    ShareClass(type, *record);
    // Linked types keep the class that they have, so one of them keeps its record from now on.
    TypeDescriptor* heir = left && owned ? FindUser(module, *left) : nullptr;
    if (heir) heir->owns_client_data = 1;
    // What nobody has ends, also what a sibling's registration left behind. A sibling's records are
    // the sibling's.
    for (ClassRecord& own : OwnClassRecords()) {
        if (!FindUser(module, own) && !IsRegistered(own)) ClearClassRecord(own);
    }
    return true;
}

void ForgetClasses(ModuleRecord& module) {
    ForEachType(module, [](TypeDescriptor& type) {
        type.client_data = nullptr;
        type.owns_client_data = 0;
    });
    RegisteredClasses().clear();
    for (ClassRecord& own : OwnClassRecords())
        own = ClassRecord();
}

}  // namespace binding
