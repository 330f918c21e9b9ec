#include <Python.h>

#include "binding/interpreter/empty_arguments.h"

#include <cstring>
#include <utility>
#include <vector>

namespace {

constexpr int kDeepestNesting = 100;

using Items = std::vector<ScriptObject>;

ScriptObject Fail(const char* reason) {
    PyErr_SetString(PyExc_SystemError, reason);
    return ScriptObject();
}

ScriptObject MakeTuple(Items& items) {
    ScriptObject tuple = ScriptObject::Steal(PyTuple_New(static_cast<Py_ssize_t>(items.size())));
    if (!tuple) return tuple;
    Py_ssize_t index = 0;
    for (ScriptObject& item : items)
        PyTuple_SET_ITEM(tuple.Get(), index++, item.Release());
    return tuple;
}

ScriptObject MakeList(Items& items) {
    ScriptObject list = ScriptObject::Steal(PyList_New(static_cast<Py_ssize_t>(items.size())));
    if (!list) return list;
    Py_ssize_t index = 0;
    for (ScriptObject& item : items)
        PyList_SET_ITEM(list.Get(), index++, item.Release());
    return list;
}

ScriptObject MakeDictionary(Items& items) REQUIRES(interpreter_lock) {
    if (items.size() % 2 != 0) return Fail("a dictionary's key without its value in format");
    ScriptObject dictionary = ScriptObject::Steal(PyDict_New());
    if (!dictionary) return dictionary;
    for (std::size_t index = 0; index < items.size(); index += 2) {
        if (PyDict_SetItem2(dictionary.Get(), items[index].Release(), items[index + 1].Release()))
            return ScriptObject();
    }
    return dictionary;
}

// Walks a format once, from left to right.
class FormatReader {
  public:
    explicit FormatReader(const char* format) : cursor_(format) {}

    // All items up to the character that ends them, which is passed over. False with the error set.
    bool ReadItems(char end, Items& items) {
        for (;;) {
            cursor_ += std::strspn(cursor_, ",: \t");
            if (*cursor_ == end) {
                if (end) ++cursor_;
                return true;
            }
            if (!*cursor_) {
                Fail("unmatched paren in format");
                return false;
            }
            ScriptObject item = ReadItem();
            if (!item) return false;
            items.push_back(std::move(item));
        }
    }

  private:
    ScriptObject ReadItem() {
        switch (*cursor_++) {
            case '(':
                return ReadContainer(')', MakeTuple);
            case '[':
                return ReadContainer(']', MakeList);
            case '{':
                return ReadContainer('}', MakeDictionary);
            case 'b':
            case 'B':
            case 'h':
            case 'H':
            case 'i':
            case 'I':
            case 'l':
            case 'k':
            case 'n':
                return ScriptObject::Steal(PyInt_FromLong(0));
            case 'L':
            case 'K':
                return ScriptObject::Steal(PyLong_FromLong(0));
            case 'f':
            case 'd':
                return ScriptObject::Steal(PyFloat_FromDouble(0));
            case 'c':
                return ScriptObject::Steal(PyString_FromStringAndSize("", 1));
            case 's':
            case 'z':
            case 'u':
                if (*cursor_ == '#') ++cursor_;
                return ScriptObject::Borrow(Py_None);
            case 'O':
            case 'S':
            case 'N':
                return Fail(*cursor_ == '&' ? "NULL converter passed to Py_BuildValue"
                                            : "NULL object passed to Py_BuildValue");
            case 'D':
                return Fail("NULL complex number passed to Py_BuildValue");
            default:
                return Fail("bad format char passed to Py_BuildValue");
        }
    }

    ScriptObject ReadContainer(char end, ScriptObject (*make)(Items&)) {
        if (depth_ == kDeepestNesting) return Fail("format nests too deep");
        ++depth_;
        Items items;
        const bool is_read = ReadItems(end, items);
        --depth_;
        return is_read ? make(items) : ScriptObject();
    }

    const char* cursor_;
    int depth_ = 0;
};

}  // namespace

ScriptObject BuildFromEmptyArguments(const char* format) {
    Items items;
    if (!FormatReader(format).ReadItems('\0', items)) return ScriptObject();
    if (items.empty()) return ScriptObject::Borrow(Py_None);
    if (items.size() == 1) return std::move(items.front());
    return MakeTuple(items);
}
