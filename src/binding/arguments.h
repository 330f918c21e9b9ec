#ifndef VIREON_BINDING_ARGUMENTS_H
#define VIREON_BINDING_ARGUMENTS_H

#include <Python.h>

#include <string_view>

#include "binding/conversion_error.h"
#include "binding/module_types.h"
#include "binding/pointer_conversion.h"

namespace binding {

// The kinds of arguments that signatures are made of. An object of a kind lives for one call:
//   kText, kSuffix         the type text of messages, in two pieces
//   Convert(object)        reads the script object; a code of conversion_error.h, never an
//                          exception of its own
//   Accepts(object)        whether Convert would succeed; overloads are chosen by it
//   IsForbiddenNull()      after Convert: a null where the native side takes none
//   Get()                  what the native operation is called with

// How a wrapped native object is passed: what follows the type in messages, whether null is
// allowed, whether the native side gets the address or the object, and the conversion's flags.
struct AsPointer {
    static constexpr const char* kSuffix = " *";
    static constexpr bool kNullAllowed = true;
    static constexpr bool kDereferenced = false;
    static constexpr int kFlags = 0;
};
struct AsConstPointer : AsPointer {
    static constexpr const char* kSuffix = " const *";
};
struct AsDisownedPointer : AsPointer {
    static constexpr int kFlags = kDisown;
};
struct AsSelf : AsPointer {
    static constexpr bool kNullAllowed = false;
};
struct AsConstSelf : AsSelf {
    static constexpr const char* kSuffix = " const *";
};
// The native operation takes the copy by its own by-value parameter.
struct AsValue : AsSelf {
    static constexpr const char* kSuffix = "";
    static constexpr bool kDereferenced = true;
};
struct AsReference : AsValue {
    static constexpr const char* kSuffix = " &";
};
struct AsConstReference : AsValue {
    static constexpr const char* kSuffix = " const &";
};

template <typename Type, typename Passing>
class WrappedArgument {
  public:
    static constexpr const char* kText = Type::kText;
    // A second star follows the first one without a blank.
    static constexpr const char* kSuffix =
        std::string_view(kText).back() == '*' ? Passing::kSuffix + 1 : Passing::kSuffix;

    static bool Accepts(PyObject* object) {
        ConvertedPointer converted;
        return ConvertPointer(object, DescriptorOf<Type>(), 0, converted) >= 0;
    }
    int Convert(PyObject* object) {
        return ConvertPointer(object, DescriptorOf<Type>(), Passing::kFlags, converted_);
    }
    bool IsForbiddenNull() const { return !Passing::kNullAllowed && !converted_.address; }
    decltype(auto) Get() const {
        auto* native = static_cast<typename Type::Native*>(converted_.address);
        if constexpr (Passing::kDereferenced) {
            return (*native);
        } else {
            return native;
        }
    }

  private:
    ConvertedPointer converted_;
};

// The object of a method; the others stand for the parameter types they are named after.
template <typename Type>
using Self = WrappedArgument<Type, AsSelf>;
template <typename Type>
using ConstSelf = WrappedArgument<Type, AsConstSelf>;
template <typename Type>
using Pointer = WrappedArgument<Type, AsPointer>;
template <typename Type>
using ConstPointer = WrappedArgument<Type, AsConstPointer>;
// A pointer whose native object the script stops owning.
template <typename Type>
using Disowned = WrappedArgument<Type, AsDisownedPointer>;
template <typename Type>
using Value = WrappedArgument<Type, AsValue>;
template <typename Type>
using Reference = WrappedArgument<Type, AsReference>;
template <typename Type>
using ConstReference = WrappedArgument<Type, AsConstReference>;

// For kinds whose text is one piece and that take whatever was converted.
struct PlainArgument {
    static constexpr const char* kSuffix = "";
    static bool IsForbiddenNull() { return false; }
};

// A byte string, lent to the native side without a copy; None or a wrapped "char *" as well.
class Text : public PlainArgument {
  public:
    static constexpr const char* kText = "char const *";

    static bool Accepts(PyObject* object);
    int Convert(PyObject* object);
    const char* Get() const { return text_; }

  private:
    const char* text_ = nullptr;
    ConvertedPointer converted_;
};

// A float, an integer or a long in the range of a 32-bit float.
class Float : public PlainArgument {
  public:
    static constexpr const char* kText = "float";

    int Convert(PyObject* object);
    float Get() const { return value_; }

  private:
    float value_ = 0;
};

// True, False or any integer.
class Bool : public PlainArgument {
  public:
    static constexpr const char* kText = "bool";

    int Convert(PyObject* object);
    bool Get() const { return value_; }

  private:
    bool value_ = false;
};

// Any script object as it is, borrowed.
class Object : public PlainArgument {
  public:
    static constexpr const char* kText = "PyObject *";

    int Convert(PyObject* object) {
        object_ = object;
        return kConverted;
    }
    PyObject* Get() const { return object_; }

  private:
    PyObject* object_ = nullptr;
};

}  // namespace binding

#endif
