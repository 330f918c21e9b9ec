#include "binding/interpreter/testing/embedded_interpreter.h"

#include "binding/interpreter/script_object.h"
#include "binding/interpreter/unicode_text.h"

namespace {

TEST(UnicodeText, HoldsTheTextAndIsTheCallersOwn) {
    using namespace std::string_view_literals;
    script::ExpectLocked();
    const ScriptObject text = ScriptObject::Steal(NewUnicodeText(L"Gr\u00F6\u00DFe \u20AC\0end"sv));
    ASSERT_TRUE(text);
    EXPECT_EQ(Py_REFCNT(text.Get()), 1);
    const ScriptObject shown = ScriptObject::Steal(PyObject_Repr(text.Get()));
    EXPECT_STREQ(PyString_AsString(shown.Get()), R"(u'Gr\xf6\xdfe \u20ac\x00end')");
}

}  // namespace
