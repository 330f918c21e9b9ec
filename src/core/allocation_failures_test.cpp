// Every operation of this folder that allocates, with each of its allocations refused in turn: it
// throws std::bad_alloc or gives NPT_ERROR_NO_MEMORY, and leaves what its header says.
#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>

#include "core/buffered_input_stream.h"
#include "core/critical_section.h"
#include "core/event.h"
#include "core/list.h"
#include "core/memory_stream.h"
#include "core/mutex.h"
#include "core/reference.h"
#include "core/string.h"
#include "core/string_output_stream.h"
#include "core/system_thread.h"
#include "core/testing/failing_allocation.h"
#include "core/testing/scripted_input_stream.h"

namespace {

constexpr char kLong[] = "a text that does not fit into what a short one has reserved";

struct StringWork {
    const char* name;
    void (*run)(NPT_String& text);
};

void PrintTo(const StringWork& work, std::ostream* out) {
    *out << work.name;
}

class StringWithoutMemory : public testing::TestWithParam<StringWork> {};

TEST_P(StringWithoutMemory, IsWhatItWas) {
    const long refusals = RefuseEachAllocation([] { return NPT_String("a,b"); },
                                               [](NPT_String& text) { GetParam().run(text); },
                                               [](const NPT_String& text, bool refused) {
                                                   if (!refused) return;
                                                   EXPECT_EQ(text, "a,b");
                                               });
    EXPECT_GE(refusals, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Operations, StringWithoutMemory,
    testing::Values(StringWork{"AssignText", [](NPT_String& text) { text = kLong; }},
                    StringWork{"AssignString", [](NPT_String& text) { text = NPT_String(kLong); }},
                    StringWork{"AssignRange", [](NPT_String& text) { text.Assign(kLong, 20); }},
                    StringWork{"Append", [](NPT_String& text) { text.Append(kLong); }},
                    StringWork{"AppendItself", [](NPT_String& text) { text += text; }},
                    StringWork{"AppendCharacter", [](NPT_String& text) { text += 'x'; }},
                    StringWork{"Reserve", [](NPT_String& text) { text.Reserve(100); }},
                    StringWork{"SetLength", [](NPT_String& text) { text.SetLength(100, true); }},
                    StringWork{"Copy", [](NPT_String& text) { const NPT_String copy(text); }},
                    StringWork{"Concatenate", [](NPT_String& text) { (kLong + text) + kLong; }},
                    StringWork{"SubString", [](NPT_String& text) { text.SubString(1); }},
                    StringWork{"Lowercase", [](NPT_String& text) { text.ToLowercase(); }},
                    StringWork{"Split", [](NPT_String& text) { text.Split(","); }},
                    StringWork{"FromInteger", [](NPT_String&) { NPT_String::FromInteger(-12345); }},
                    StringWork{"Format",
                               [](NPT_String& text) {
                                   text = NPT_String::Format("%300s", text.GetChars());
                               }}),
    [](const testing::TestParamInfo<StringWork>& work) { return std::string(work.param.name); });

TEST(ListWithoutMemory, IsWhatItWas) {
    using Strings = NPT_List<NPT_String>;
    const auto make = [] {
        Strings list;
        list.Add("a");
        list.Add("b");
        return list;
    };
    const auto check = [](const Strings& list, bool refused) {
        if (!refused) return;
        ASSERT_EQ(list.GetItemCount(), 2u);
        EXPECT_EQ(*list.begin(), "a");
        EXPECT_EQ(*list.GetLastItem(), "b");
    };
    EXPECT_EQ(RefuseEachAllocation(
                  make, [](Strings& list) { list.Add(kLong); }, check),
              2);
    EXPECT_EQ(RefuseEachAllocation(
                  make, [](Strings& list) { const Strings copy(list); }, check),
              4);
    EXPECT_EQ(RefuseEachAllocation(
                  make,
                  [&make](Strings& list) {
                      const Strings other = make();
                      list = other;
                  },
                  check),
              8);
}

struct BufferWork {
    const char* name;
    NPT_Result (*run)(NPT_DataBuffer& buffer);
};

void PrintTo(const BufferWork& work, std::ostream* out) {
    *out << work.name;
}

struct Buffered {
    Buffered() { buffer.SetData(reinterpret_cast<const NPT_UInt8*>("abc"), 3); }
    NPT_DataBuffer buffer;
    NPT_Result result = NPT_SUCCESS;
};

class BufferWithoutMemory : public testing::TestWithParam<BufferWork> {};

TEST_P(BufferWithoutMemory, SaysSoAndIsWhatItWas) {
    const long refusals = RefuseEachAllocation(
        [] { return std::make_unique<Buffered>(); },
        [](auto& subject) { subject->result = GetParam().run(subject->buffer); },
        [](const auto& subject, bool refused) {
            if (!refused) return;
            EXPECT_EQ(subject->result, NPT_ERROR_NO_MEMORY);
            ASSERT_EQ(subject->buffer.GetDataSize(), 3u);
            EXPECT_EQ(subject->buffer.GetBufferSize(), 3u);
            EXPECT_EQ(std::string(reinterpret_cast<const char*>(subject->buffer.GetData()), 3),
                      "abc");
        });
    EXPECT_EQ(refusals, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Operations, BufferWithoutMemory,
    testing::Values(
        BufferWork{"SetBufferSize", [](NPT_DataBuffer& buffer) { return buffer.SetBufferSize(9); }},
        BufferWork{"Reserve", [](NPT_DataBuffer& buffer) { return buffer.Reserve(9); }},
        BufferWork{"SetDataSize", [](NPT_DataBuffer& buffer) { return buffer.SetDataSize(9); }},
        BufferWork{"SetData",
                   [](NPT_DataBuffer& buffer) {
                       return buffer.SetData(reinterpret_cast<const NPT_UInt8*>(kLong), 9);
                   }}),
    [](const testing::TestParamInfo<BufferWork>& work) { return std::string(work.param.name); });

NPT_InputStreamReference MakeStream() {
    return NPT_InputStreamReference(new ScriptedInputStream({"line\r\n", kLong}));
}

TEST(StreamsWithoutMemory, LoadKeepsWhatHadArrived) {
    struct Loading {
        NPT_InputStreamReference stream = MakeStream();
        NPT_DataBuffer buffer;
        NPT_Result result = NPT_SUCCESS;
    };
    const long refusals = RefuseEachAllocation(
        [] { return std::make_unique<Loading>(); },
        [](auto& subject) { subject->result = subject->stream->Load(subject->buffer); },
        [](const auto& subject, bool refused) {
            EXPECT_EQ(subject->result, refused ? NPT_ERROR_NO_MEMORY : NPT_SUCCESS);
        });
    EXPECT_GE(refusals, 1);
}

TEST(StreamsWithoutMemory, ACopyReportsIt) {
    struct Copying {
        NPT_InputStreamReference from = MakeStream();
        NPT_MemoryStream to;
        NPT_Result result = NPT_SUCCESS;
    };
    const long refusals = RefuseEachAllocation(
        [] { return std::make_unique<Copying>(); },
        [](auto& subject) {
            subject->result = NPT_StreamToStreamCopy(*subject->from, subject->to);
        },
        [](const auto& subject, bool refused) {
            EXPECT_EQ(subject->result, refused ? NPT_ERROR_NO_MEMORY : NPT_SUCCESS);
        });
    EXPECT_GE(refusals, 2);
}

TEST(StreamsWithoutMemory, ALineIsReadAfterwards) {
    struct Reading {
        NPT_BufferedInputStream stream{MakeStream()};
        NPT_String line;
        NPT_Result result = NPT_SUCCESS;
    };
    const long refusals = RefuseEachAllocation(
        [] { return std::make_unique<Reading>(); },
        [](auto& subject) { subject->result = subject->stream.ReadLine(subject->line, 100); },
        [](const auto& subject, bool refused) {
            if (refused) {
                EXPECT_EQ(subject->result, NPT_ERROR_NO_MEMORY);
                EXPECT_TRUE(subject->line.IsEmpty());
                subject->result = subject->stream.ReadLine(subject->line, 100);
            }
            EXPECT_EQ(subject->result, NPT_SUCCESS);
            EXPECT_EQ(subject->line, "line");
        });
    EXPECT_EQ(refusals, 2);
}

TEST(StreamsWithoutMemory, AStringTakesNoPartOfAWrite) {
    struct Writing {
        NPT_String target{"old"};
        NPT_StringOutputStream stream{target};
        NPT_UInt32 written = 7;
        NPT_Result result = NPT_SUCCESS;
    };
    const long refusals = RefuseEachAllocation([] { return std::make_unique<Writing>(); },
                                               [](auto& subject) {
                                                   subject->result = subject->stream.Write(
                                                       kLong, sizeof(kLong), &subject->written);
                                               },
                                               [](const auto& subject, bool refused) {
                                                   if (!refused) return;
                                                   EXPECT_EQ(subject->result, NPT_ERROR_NO_MEMORY);
                                                   EXPECT_EQ(subject->written, 0u);
                                                   EXPECT_EQ(subject->target, "old");
                                               });
    EXPECT_EQ(refusals, 1);
}

// What a construction that throws has made by then, it frees; the sanitized build sees that.
struct Construction {
    const char* name;
    void (*run)();
    long allocations;
};

void PrintTo(const Construction& construction, std::ostream* out) {
    *out << construction.name;
}

class ConstructionWithoutMemory : public testing::TestWithParam<Construction> {};

TEST_P(ConstructionWithoutMemory, LeavesNothing) {
    const long refusals =
        RefuseEachAllocation([] { return 0; }, [](int) { GetParam().run(); }, [](int, bool) {});
    EXPECT_GE(refusals, GetParam().allocations);
}

INSTANTIATE_TEST_SUITE_P(
    Of, ConstructionWithoutMemory,
    testing::Values(
        Construction{"Event", [] { Event event; }, 1},
        Construction{"CriticalSection", [] { CriticalSection section; }, 1},
        Construction{"Mutex",
                     [] {
                         NPT_Mutex mutex;
                         const NPT_AutoLock lock(mutex);
                     },
                     1},
        Construction{"Reference",
                     [] {
                         const NPT_Reference<NPT_String> reference(new NPT_String(kLong));
                         const NPT_Reference<NPT_String> copy(reference);
                     },
                     3},
        Construction{"StringOutputStream", [] { const NPT_StringOutputStream stream(100); }, 2},
        Construction{"Thread",
                     [] {
                         const auto thread =
                             SystemThread::Start([](void*) -> NPT_UInt32 { return 0; }, nullptr);
                         if (thread) thread->Join();
                     },
                     3}),
    [](const testing::TestParamInfo<Construction>& construction) {
        return std::string(construction.param.name);
    });

}  // namespace
