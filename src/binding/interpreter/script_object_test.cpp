#include "binding/interpreter/testing/embedded_interpreter.h"

#include "binding/interpreter/script_object.h"

#include <utility>

namespace {

class ScriptObjectTest : public testing::Test {
  protected:
    ~ScriptObjectTest() override { Py_DECREF(list_); }

    PyObject* const list_ = PyList_New(0);
};

TEST_F(ScriptObjectTest, IsNoneUnlessMade) {
    const ScriptObject none;
    EXPECT_FALSE(none);
    EXPECT_EQ(none.Get(), nullptr);
    EXPECT_FALSE(ScriptObject::Steal(nullptr));
    EXPECT_FALSE(ScriptObject::Borrow(nullptr));
}

TEST_F(ScriptObjectTest, BorrowsByAReferenceOfItsOwn) {
    {
        const ScriptObject object = ScriptObject::Borrow(list_);
        EXPECT_EQ(object.Get(), list_);
        EXPECT_EQ(Py_REFCNT(list_), 2);
    }
    EXPECT_EQ(Py_REFCNT(list_), 1);
}

TEST_F(ScriptObjectTest, StealsTheCallersReference) {
    Py_INCREF(list_);
    { const ScriptObject object = ScriptObject::Steal(list_); }
    EXPECT_EQ(Py_REFCNT(list_), 1);
}

TEST_F(ScriptObjectTest, MovesItsReference) {
    ScriptObject first = ScriptObject::Borrow(list_);
    ScriptObject second = std::move(first);
    EXPECT_EQ(Py_REFCNT(list_), 2);
    EXPECT_EQ(second.Get(), list_);
    second = ScriptObject();
    EXPECT_EQ(Py_REFCNT(list_), 1);
}

TEST_F(ScriptObjectTest, HandsItsReferenceOver) {
    ScriptObject object = ScriptObject::Borrow(list_);
    EXPECT_EQ(object.Release(), list_);
    EXPECT_FALSE(object);
    EXPECT_EQ(Py_REFCNT(list_), 2);
    Py_DECREF(list_);
}

}  // namespace
