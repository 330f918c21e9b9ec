// What scripts see of native pointers and packed values, and how types are found by their names. An
// input is types, each a record's number and two names, then steps of one byte and what belongs to
// it (Run).
#include <Python.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "binding/hex_text.h"
#include "binding/interpreter/script_object.h"
#include "binding/module_family.h"
#include "binding/packed_value.h"
#include "binding/type_descriptor.h"
#include "binding/wrapped_pointer.h"
#include "fuzz_input.h"

namespace {

constexpr std::size_t kMostTypes = 12;
constexpr int kMostSteps = 32;
// Characters of a text with the closing NUL.
constexpr std::size_t kMostCharacters = 1024;

std::string Hex(const std::string& bytes) {
    std::string text = "_";
    for (const char byte : bytes) {
        constexpr char kDigits[] = "0123456789abcdef";
        text += kDigits[static_cast<unsigned char>(byte) / 16];
        text += kDigits[static_cast<unsigned char>(byte) % 16];
    }
    return text;
}

std::string Digits(std::uint64_t number, unsigned base) {
    std::string text;
    do {
        text.insert(text.begin(), "0123456789abcdef"[number % base]);
        number /= base;
    } while (number != 0);
    return text;
}

// The least significant byte first.
std::string BytesOf(std::uint64_t number) {
    std::string bytes;
    for (int count = 0; count < 8; ++count, number >>= 8)
        bytes += static_cast<char>(number & 255);
    return bytes;
}

std::string WithoutBlanks(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    return text;
}

// Up to the first zero.
std::string AsText(const std::string& bytes) {
    return bytes.substr(0, bytes.find('\0'));
}

int SignOf(int number) {
    return (number > 0) - (number < 0);
}

// The text that an operation of the interpreter gives.
std::string Said(PyObject* text) {
    const ScriptObject own = ScriptObject::Steal(text);
    Require(own && PyString_Check(own.Get()), "an object has a text");
    return std::string(PyString_AS_STRING(own.Get()),
                       static_cast<std::size_t>(PyString_GET_SIZE(own.Get())));
}

struct Type {
    std::string name;
    std::string human_name;
    binding::TypeDescriptor descriptor{};
    // What FindCast has to find, in this order.
    std::list<std::string> expected_casts;

    std::string GetShownName() const { return human_name.substr(human_name.rfind('|') + 1); }
    bool HasHumanName(const std::string& wanted) const {
        std::string rest = human_name + "|";
        for (; !rest.empty(); rest.erase(0, rest.find('|') + 1)) {
            if (WithoutBlanks(rest.substr(0, rest.find('|'))) == WithoutBlanks(wanted)) return true;
        }
        return false;
    }
};

// Three modules, each with types of its own, sorted by their names.
class Family {
  public:
    explicit Family(FuzzInput& input) {
        for (std::size_t count = input.TakeByte() % kMostTypes; count > 0; --count) {
            Type type;
            const NPT_UInt8 record = input.TakeByte() % 3;
            type.name = AsText(input.TakeText(input.TakeByte() % 40));
            type.human_name = AsText(input.TakeText(input.TakeByte() % 40));
            modules_[record].emplace(type.name, type);
        }
        for (std::size_t at = 0; at < modules_.size(); ++at)
            Settle(at);
    }

    binding::ModuleRecord& GetFirst() { return records_[0]; }

    // In the order in which they are looked through.
    std::vector<Type*> GetTypes() {
        std::vector<Type*> types;
        for (auto& module : modules_) {
            for (auto& entry : module)
                types.push_back(&entry.second);
        }
        return types;
    }

    const binding::TypeDescriptor* Find(const std::string& name, const std::string& human_name) {
        for (const Type* const type : GetTypes()) {
            if (type->name == name) return &type->descriptor;
        }
        for (const Type* const type : GetTypes()) {
            if (type->HasHumanName(human_name)) return &type->descriptor;
        }
        return nullptr;
    }

    // Has a type take pointers of all types of another module as well.
    void LinkAll(Type& type) {
        for (auto& entry : modules_[type.name.size() % 3]) {
            const auto& names = type.expected_casts;
            if (std::find(names.begin(), names.end(), entry.first) != names.end()) continue;
            binding::CastLink& link = links_.emplace_back();
            link.from = &entry.second.descriptor;
            link.next = type.descriptor.casts;
            if (link.next) link.next->previous = &link;
            type.descriptor.casts = &link;
            type.expected_casts.push_front(entry.first);
        }
    }

  private:
    void Settle(std::size_t at) {
        binding::ModuleRecord& record = records_[at];
        for (auto& entry : modules_[at]) {
            Type& type = entry.second;
            type.descriptor.name = type.name.c_str();
            type.descriptor.human_name = type.human_name.c_str();
            types_[at].push_back(&type.descriptor);
        }
        record.count = types_[at].size();
        types_[at].push_back(nullptr);
        record.types = types_[at].data();
        record.next = &records_[(at + 1) % records_.size()];
    }

    std::array<std::map<std::string, Type>, 3> modules_;
    std::array<binding::ModuleRecord, 3> records_{};
    std::array<std::vector<binding::TypeDescriptor*>, 3> types_;
    std::deque<binding::CastLink> links_;
};

class Run {
  public:
    explicit Run(FuzzInput& input) : input_(input), family_(input), types_(family_.GetTypes()) {}

    // The byte's remainder by six is the kind.
    void Step() {
        switch (input_.TakeByte() % 6) {
            case 0:
                CheckRendering();
                break;
            case 1:
                CheckPointer();
                break;
            case 2:
                CheckPacked();
                break;
            case 3:
                CheckQuery();
                break;
            case 4:
                CheckCast();
                break;
            default:
                if (Type* const type = TakeType()) family_.LinkAll(*type);
        }
    }

  private:
    // None now and then.
    Type* TakeType() {
        const std::size_t at = input_.TakeByte() % (types_.size() + 1);
        return at < types_.size() ? types_[at] : nullptr;
    }
    static binding::TypeDescriptor* DescriptorOf(Type* type) {
        return type ? &type->descriptor : nullptr;
    }
    std::uint64_t TakeNumber() {
        std::uint64_t number = 0;
        for (const char byte : input_.TakeText(8))
            number = number << 8 | static_cast<unsigned char>(byte);
        return number;
    }

    // Into room of exactly that size, so that a byte behind it is noticed.
    void CheckRendering() {
        const std::uint64_t number = TakeNumber();
        const std::string name = AsText(input_.TakeText(input_.TakeByte()));
        const std::size_t size = input_.TakeByte();
        const std::unique_ptr<char[]> buffer(new char[size]);
        const char* const text = binding::RenderPointer(
            buffer.get(), size, reinterpret_cast<void*>(number), name.c_str());
        const std::string expected = Hex(BytesOf(number)) + name;
        Require((text != nullptr) == (expected.size() < size), "a text is given where it fits");
        Require(!text || expected == text, "a text is the address's bytes and the name");
    }

    void CheckPointer() {
        const std::uint64_t number = TakeNumber();
        Type* const type = TakeType();
        const ScriptObject object = ScriptObject::Steal(
            binding::NewWrappedPointer(reinterpret_cast<void*>(number), DescriptorOf(type), false));
        const std::string name = type ? type->name : "";
        const std::string shown = type ? type->GetShownName() : "(null)";
        const std::string hex = Digits(number, 16);
        const std::string representation = "<Swig Object of type '" + shown + "' at 0x" + hex + ">";
        Require(Said(PyObject_Repr(object.Get())) == representation, "a pointer shows its type");
        Require(Said(PyObject_Str(object.Get())) == Hex(BytesOf(number)) + name,
                "a pointer's text is its bytes and its type");
        const ScriptObject value = ScriptObject::Steal(PyNumber_Long(object.Get()));
        Require(Said(PyObject_Str(value.Get())) == Digits(number, 10), "a pointer is a number");
        const PyNumberMethods& methods = *Py_TYPE(object.Get())->tp_as_number;
        Require(Said(methods.nb_hex(object.Get())) == hex, "a pointer has a hexadecimal text");
        Require(Said(methods.nb_oct(object.Get())) == Digits(number, 8),
                "a pointer has an octal text");
        CheckOrder(object.Get(), number);
        CheckChain(object.Get(), representation);
    }

    void CheckOrder(PyObject* object, std::uint64_t number) {
        const std::uint64_t other_number = TakeNumber();
        const ScriptObject other = ScriptObject::Steal(binding::NewWrappedPointer(
            reinterpret_cast<void*>(other_number), DescriptorOf(TakeType()), false));
        const int expected = number < other_number ? -1 : number > other_number;
        Require(PyObject_Compare(object, other.Get()) == expected, "pointers compare by address");
        Require(PyObject_RichCompareBool(object, other.Get(), Py_LE) == (expected <= 0),
                "pointers compare by address");
    }

    void CheckChain(PyObject* object, const std::string& representation) {
        const ScriptObject second = ScriptObject::Steal(
            binding::NewWrappedPointer(nullptr, DescriptorOf(TakeType()), false));
        const std::string behind = Said(PyObject_Repr(second.Get()));
        char append[] = "append";
        char one_object[] = "O";
        const ScriptObject none =
            ScriptObject::Steal(PyObject_CallMethod(object, append, one_object, second.Get()));
        Require(none.Get() == Py_None, "a pointer takes another behind it");
        Require(Said(PyObject_Repr(object)) == representation + behind,
                "a chain shows all that is in it");
    }

    void CheckPacked() {
        // At times more than a text has room for.
        std::string bytes = input_.TakeText(input_.TakeByte());
        const NPT_UInt8 times = input_.TakeByte() % 8;
        const std::string piece = bytes;
        for (NPT_UInt8 count = 0; count < times; ++count)
            bytes += piece;
        Type* const type = TakeType();
        const std::string name = type ? type->name : "";
        const ScriptObject object = MakePacked(bytes, type);
        const bool fits = 2 * bytes.size() + 2 <= kMostCharacters;
        const std::string text = (fits ? Hex(bytes) : "") + name;
        Require(Said(PyObject_Str(object.Get())) == text, "a packed value's text is its bytes");
        Require(Said(PyObject_Repr(object.Get())) ==
                    (fits ? "<Swig Packed at " : "<Swig Packed ") + text + ">",
                "a packed value shows its bytes");

        const std::string other_bytes = input_.TakeText(input_.TakeByte());
        const ScriptObject other = MakePacked(other_bytes, type);
        const int expected = bytes.size() != other_bytes.size()
                                 ? (bytes.size() < other_bytes.size() ? -1 : 1)
                                 : SignOf(AsText(bytes).compare(AsText(other_bytes)));
        Require(PyObject_Compare(object.Get(), other.Get()) == expected,
                "packed values compare by size, then as texts");
    }

    // From bytes that go at once.
    static ScriptObject MakePacked(const std::string& bytes, Type* type) {
        const std::unique_ptr<char[]> copy(new char[bytes.size()]);
        std::memcpy(copy.get(), bytes.data(), bytes.size());
        return ScriptObject::Steal(
            binding::NewPackedValue(copy.get(), bytes.size(), DescriptorOf(type)));
    }

    void CheckQuery() {
        const Type* const type = TakeType();
        const std::string name = type ? type->name : AsText(input_.TakeText(input_.TakeByte()));
        const std::string human_name = AsText(input_.TakeText(input_.TakeByte()));
        for (const std::string& wanted : {name, name + "x"})
            Require(binding::QueryType(family_.GetFirst(), wanted.c_str(), human_name.c_str()) ==
                        family_.Find(wanted, human_name),
                    "a type is found by its name, else by one of those for people");
    }

    void CheckCast() {
        Type* const type = TakeType();
        const Type* const from = TakeType();
        if (!type || !from) return;
        auto& expected = type->expected_casts;
        const auto found = std::find(expected.begin(), expected.end(), from->name);
        const binding::CastLink* const link =
            binding::FindCast(from->name.c_str(), type->descriptor);
        Require((link != nullptr) == (found != expected.end()), "a link is found where it is");
        if (found != expected.end()) expected.splice(expected.begin(), expected, found);
        std::vector<std::string> names;
        const binding::CastLink* previous = nullptr;
        for (const binding::CastLink* next = type->descriptor.casts; next; next = next->next) {
            Require(next->previous == previous, "links lead back as well");
            previous = next;
            names.emplace_back(next->from->name);
        }
        Require(std::equal(names.begin(), names.end(), expected.begin(), expected.end()),
                "what was found last stands first");
    }

    FuzzInput& input_;
    Family family_;
    const std::vector<Type*> types_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const NPT_UInt8* data, std::size_t size) {
    if (!Py_IsInitialized()) Py_InitializeEx(0);
    FuzzInput input(data, size);
    Run run(input);
    for (int count = 0; count < kMostSteps && !input.IsEmpty(); ++count)
        run.Step();
    Require(!PyErr_Occurred(), "no exception is left");
    return 0;
}
