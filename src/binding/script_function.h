#ifndef VIREON_BINDING_SCRIPT_FUNCTION_H
#define VIREON_BINDING_SCRIPT_FUNCTION_H

#include <Python.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "binding/arguments.h"
#include "binding/conversion_error.h"
#include "binding/results.h"

namespace binding {

// Script functions made from native operations. A signature such as
//     Owned<type::Result>(Self<type::DeviceInfo>, Reference<type::String>)
// names the kinds of the result (results.h) and of the arguments (arguments.h); with the function's
// name and the native operation it is a row of the method table. Call(arguments) does what the
// interpreter asks of a function: a new reference, or null with an exception set. It may throw what
// the native operation throws.

template <typename Signature>
struct Wrapper;

template <typename Result, typename... Arguments>
struct Wrapper<Result(Arguments...)> {
    static constexpr std::size_t kArity = sizeof...(Arguments);

    // arguments is a tuple, which must have exactly kArity items.
    template <typename Native>
    static PyObject* Call(const char* name, const Native& native, PyObject* arguments) {
        return Call(name, native, arguments, std::index_sequence_for<Arguments...>());
    }

    // Whether Call would find an argument of the right kind in every place. The tuple has at least
    // kArity items.
    static bool Accepts(PyObject* arguments) {
        return Accepts(arguments, std::index_sequence_for<Arguments...>());
    }

  private:
    template <typename Native, std::size_t... index>
    static PyObject* Call(const char* name, const Native& native, PyObject* arguments,
                          std::index_sequence<index...>) {
        [[maybe_unused]] PyObject* objects[kArity + 1] = {};
        if (!PyArg_UnpackTuple(arguments, name, kArity, kArity, &objects[index]...)) return nullptr;
        std::tuple<Arguments...> converted;
        if (!(Convert(std::get<index>(converted), objects[index], name, int{index} + 1) && ...))
            return nullptr;
        if constexpr (std::is_same_v<Result, Nothing>) {
            std::invoke(native, std::get<index>(converted).Get()...);
            return NewNone();
        } else {
            return Result::Wrap(std::invoke(native, std::get<index>(converted).Get()...));
        }
    }

    template <typename Argument>
    static bool Convert(Argument& argument, PyObject* object, const char* name, int number) {
        const ArgumentPlace place = {name, number, Argument::kText, Argument::kSuffix};
        const int code = argument.Convert(object);
        if (code < 0) {
            RaiseConversionError(code, place);
            return false;
        }
        if (argument.IsForbiddenNull()) {
            RaiseNullReference(place);
            return false;
        }
        return true;
    }

    template <std::size_t... index>
    static bool Accepts([[maybe_unused]] PyObject* arguments, std::index_sequence<index...>) {
        return (Arguments::Accepts(PyTuple_GET_ITEM(arguments, index)) && ...);
    }
};

// Whether a kind of result wraps what a native operation gives.
template <typename Result, typename Given, typename = void>
inline constexpr bool kWraps = std::is_same_v<Result, Nothing>;
template <typename Result, typename Given>
inline constexpr bool
    kWraps<Result, Given, std::void_t<decltype(Result::Wrap(std::declval<Given>()))>> = true;

// The base of whatever pairs a signature with a native operation. A class, which the compiler makes
// where it is named: so it reports a pair that does not match at its own row of the table.
template <typename Signature, typename Native>
struct Matched;

template <typename Result, typename... Arguments, typename Native>
struct Matched<Result(Arguments...), Native> {
    static_assert(std::is_invocable_v<const Native&, decltype(std::declval<Arguments>().Get())...>,
                  "the native operation does not take the arguments of its signature");
    static_assert(
        kWraps<Result,
               std::invoke_result_t<const Native&, decltype(std::declval<Arguments>().Get())...>>,
        "the native operation's result is not of the signature's kind");
};

// The usual row: one native operation.
template <typename Signature, typename Native>
struct PlainFunction {
    using Match = decltype(Matched<Signature, Native>());
    const char* name;
    Native native;

    PyObject* Call(PyObject* arguments) const {
        return Wrapper<Signature>::Call(name, native, arguments);
    }
};

template <typename Signature, typename Native>
constexpr PlainFunction<Signature, Native> Function(const char* name, Native native) {
    return {name, native};
}

// Ignores what stands behind the arguments of its signature.
template <typename Signature, typename Native>
struct VariadicFunction {
    using Match = decltype(Matched<Signature, Native>());
    const char* name;
    Native native;

    PyObject* Call(PyObject* arguments) const {
        const auto used =
            ScriptObject::Steal(PyTuple_GetSlice(arguments, 0, Wrapper<Signature>::kArity));
        return used ? Wrapper<Signature>::Call(name, native, used.Get()) : nullptr;
    }
};

template <typename Signature, typename Native>
constexpr VariadicFunction<Signature, Native> Variadic(const char* name, Native native) {
    return {name, native};
}

// One of the native operations behind an overloaded function, with the text that shows it to
// people.
template <typename Signature, typename Native>
struct Candidate {
    using Match = decltype(Matched<Signature, Native>());
    using Wrap = Wrapper<Signature>;
    const char* prototype;
    Native native;
};

template <typename Signature, typename Native>
constexpr Candidate<Signature, Native> Overload(const char* prototype, Native native) {
    return {prototype, native};
}

// Calls the first candidate that takes that many arguments, all of the right kind. Arguments beyond
// the largest arity are left to the chosen candidate to refuse.
template <typename... Candidates>
struct OverloadedFunction {
    static constexpr std::size_t kLargestArity = std::max({Candidates::Wrap::kArity...});
    const char* name;
    std::tuple<Candidates...> candidates;

    PyObject* Call(PyObject* arguments) const {
        const std::size_t count =
            std::min(static_cast<std::size_t>(PyTuple_GET_SIZE(arguments)), kLargestArity);
        return std::apply(
            [&](const Candidates&... candidate) {
                PyObject* result = nullptr;
                const bool called = (TryCall(candidate, count, arguments, result) || ...);
                return called ? result : RaiseNoMatch({candidate.prototype...});
            },
            candidates);
    }

  private:
    template <typename Each>
    bool TryCall(const Each& candidate, std::size_t count, PyObject* arguments,
                 PyObject*& result) const {
        if (Each::Wrap::kArity != count || !Each::Wrap::Accepts(arguments)) return false;
        result = Each::Wrap::Call(name, candidate.native, arguments);
        return true;
    }

    PyObject* RaiseNoMatch(std::initializer_list<const char*> prototypes) const {
        std::string message = "Wrong number of arguments for overloaded function '";
        message.append(name).append("'.\n  Possible C/C++ prototypes are:\n");
        for (const char* prototype : prototypes)
            message.append("    ").append(prototype).append("\n");
        PyErr_SetString(PyExc_NotImplementedError, message.c_str());
        return nullptr;
    }
};

template <typename... Candidates>
constexpr OverloadedFunction<Candidates...> Overloaded(const char* name, Candidates... candidates) {
    return {name, {candidates...}};
}

// Makes a script class the dress of a native type.
template <typename Type>
struct ClassRegistration {
    const char* name;

    PyObject* Call(PyObject* arguments) const REQUIRES(interpreter_lock) {
        PyObject* script_class = nullptr;
        // All registrations complain under the one short name.
        if (!PyArg_UnpackTuple(arguments, "swigregister", 1, 1, &script_class)) return nullptr;
        const bool registered = RegisterClass(OwnModule(), *DescriptorOf<Type>(), script_class);
        return registered ? NewNone() : nullptr;
    }
};

template <typename Type>
constexpr ClassRegistration<Type> Registration(const char* name) {
    return {name};
}

}  // namespace binding

#endif
