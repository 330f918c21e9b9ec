#include "xml/xml_serializer.h"

#include <gtest/gtest.h>

#include <string>

#include "core/string_output_stream.h"

namespace {

constexpr bool kShrink = true;
constexpr bool kExpand = false;
constexpr bool kDeclaration = true;

// A serializer and what it has written so far.
class Document {
  public:
    explicit Document(NPT_UInt32 indentation = 0, bool shrink = kShrink, bool declaration = false)
        : serializer(stream_, indentation, shrink, declaration) {}

    std::string Text() const {
        return std::string(stream_.GetString().GetChars(), stream_.GetString().GetLength());
    }

  private:
    NPT_StringOutputStream stream_;

  public:
    NPT_XmlSerializer serializer;
};

std::string AsText(const char* text) {
    Document document;
    document.serializer.Text(text);
    return document.Text();
}

std::string AsAttributeValue(const char* value) {
    Document document;
    document.serializer.Attribute(nullptr, "a", value);
    const std::string written = document.Text();
    EXPECT_EQ(written.substr(0, 4), " a=\"");
    EXPECT_EQ(written.back(), '"');
    return written.substr(4, written.size() - 5);
}

// Fails from the given write on.
class FailingStream : public NPT_OutputStream {
  public:
    explicit FailingStream(int good_writes) : good_writes_(good_writes) {}

    NPT_Result Write(const void* buffer, NPT_UInt32 count, NPT_UInt32* written) override {
        if (written) *written = 0;
        if (good_writes_-- <= 0) return NPT_ERROR_WRITE_FAILED;
        text_.append(static_cast<const char*>(buffer), count);
        if (written) *written = count;
        return NPT_SUCCESS;
    }
    const std::string& Text() const { return text_; }

  private:
    int good_writes_;
    std::string text_;
};

}  // namespace

TEST(XmlSerializer, WritesTheDeclarationWhenAsked) {
    Document with(0, kShrink, kDeclaration);
    EXPECT_EQ(with.serializer.StartDocument(), NPT_SUCCESS);
    EXPECT_EQ(with.Text(), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n");
    Document without;
    EXPECT_EQ(without.serializer.StartDocument(), NPT_SUCCESS);
    EXPECT_EQ(without.Text(), "");
}

TEST(XmlSerializer, ShrinksEmptyElementsOnlyWhenAsked) {
    Document shrunk;
    shrunk.serializer.StartElement("p", "x");
    EXPECT_EQ(shrunk.serializer.EndElement("p", "x"), NPT_SUCCESS);
    EXPECT_EQ(shrunk.Text(), "<p:x/>");
    Document expanded(0, kExpand);
    expanded.serializer.StartElement("p", "x");
    EXPECT_EQ(expanded.serializer.EndElement("p", "x"), NPT_SUCCESS);
    EXPECT_EQ(expanded.Text(), "<p:x></p:x>");
}

TEST(XmlSerializer, ExpandedEmptyElementsCloseOnALineOfTheirOwn) {
    Document document(2, kExpand);
    document.serializer.StartElement(nullptr, "r");
    document.serializer.StartElement(nullptr, "x");
    document.serializer.EndElement(nullptr, "x");
    document.serializer.EndElement(nullptr, "r");
    EXPECT_EQ(document.Text(), "<r>\r\n  <x>\r\n  </x>\r\n</r>");
}

TEST(XmlSerializer, AnEmptyTextKeepsTheElementOpen) {
    Document document;
    document.serializer.StartElement(nullptr, "x");
    EXPECT_EQ(document.serializer.Text(""), NPT_SUCCESS);
    document.serializer.EndElement(nullptr, "x");
    EXPECT_EQ(document.Text(), "<x></x>");
}

TEST(XmlSerializer, LeavesOutAnEmptyPrefix) {
    for (const char* prefix : {static_cast<const char*>(nullptr), ""}) {
        Document document;
        document.serializer.StartElement(prefix, "x");
        document.serializer.Attribute(prefix, "a", "v");
        document.serializer.Text("t");
        document.serializer.EndElement(prefix, "x");
        EXPECT_EQ(document.Text(), "<x a=\"v\">t</x>");
    }
}

TEST(XmlSerializer, WritesPrefixes) {
    Document document;
    document.serializer.StartElement("p", "x");
    document.serializer.Attribute("q", "a", "v");
    document.serializer.Text("t");
    document.serializer.EndElement("p", "x");
    EXPECT_EQ(document.Text(), "<p:x q:a=\"v\">t</p:x>");
}

TEST(XmlSerializer, ReadsNullTextsAsEmpty) {
    Document document;
    EXPECT_EQ(document.serializer.StartElement(nullptr, nullptr), NPT_SUCCESS);
    EXPECT_EQ(document.serializer.Attribute(nullptr, nullptr, nullptr), NPT_SUCCESS);
    EXPECT_EQ(document.serializer.Text(nullptr), NPT_SUCCESS);
    EXPECT_EQ(document.serializer.CdataSection(nullptr), NPT_SUCCESS);
    EXPECT_EQ(document.serializer.Comment(nullptr), NPT_SUCCESS);
    EXPECT_EQ(document.serializer.EndElement(nullptr, nullptr), NPT_SUCCESS);
    EXPECT_EQ(document.Text(), "< =\"\"><![CDATA[]]><!----></>");
}

TEST(XmlSerializer, EscapesTextAndAttributesDifferently) {
    EXPECT_EQ(AsAttributeValue("a>b\"c\td"), "a>b&quot;c&#x9;d");
    EXPECT_EQ(AsText("a>b\"c\td"), "a&gt;b\"c\td");
}

TEST(XmlSerializer, EscapesExactlyTheListedBytes) {
    for (int byte = 1; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        const std::string raw(1, static_cast<char>(byte));
        std::string text = raw;
        std::string attribute = raw;
        switch (byte) {
            case '&':
                text = attribute = "&amp;";
                break;
            case '<':
                text = attribute = "&lt;";
                break;
            case '\r':
                text = attribute = "&#xD;";
                break;
            case '>':
                text = "&gt;";
                break;
            case '"':
                attribute = "&quot;";
                break;
            case '\t':
                attribute = "&#x9;";
                break;
            case '\n':
                attribute = "&#xA;";
                break;
        }
        EXPECT_EQ(AsText(raw.c_str()), text);
        EXPECT_EQ(AsAttributeValue(raw.c_str()), attribute);
    }
}

TEST(XmlSerializer, KeepsTheRunsAroundEscapedBytes) {
    EXPECT_EQ(AsText("&&ab<cd\r"), "&amp;&amp;ab&lt;cd&#xD;");
    EXPECT_EQ(AsAttributeValue("\"ab\ncd\""), "&quot;ab&#xA;cd&quot;");
    EXPECT_EQ(AsText("Z\xC3\xBCrich's \xF0\x9F\x93\xBA"), "Z\xC3\xBCrich's \xF0\x9F\x93\xBA");
}

TEST(XmlSerializer, WritesCdataAndCommentsUnescaped) {
    Document document(2);
    document.serializer.StartElement(nullptr, "x");
    EXPECT_EQ(document.serializer.CdataSection("a<b&c"), NPT_SUCCESS);
    EXPECT_EQ(document.serializer.Comment(" c<d "), NPT_SUCCESS);
    document.serializer.EndElement(nullptr, "x");
    EXPECT_EQ(document.Text(), "<x><![CDATA[a<b&c]]><!-- c<d --></x>");
}

TEST(XmlSerializer, ACommentIsNoTextForTheLayout) {
    Document document(2);
    document.serializer.StartElement(nullptr, "x");
    document.serializer.Comment("c");
    document.serializer.EndElement(nullptr, "x");
    EXPECT_EQ(document.Text(), "<x><!--c-->\r\n</x>");
}

TEST(XmlSerializer, EachStartTagStandsOnItsOwnLine) {
    Document document(2);
    document.serializer.StartElement(nullptr, "a");
    document.serializer.Text("text");
    document.serializer.StartElement(nullptr, "b");
    document.serializer.EndElement(nullptr, "b");
    document.serializer.EndElement(nullptr, "a");
    EXPECT_EQ(document.Text(), "<a>text\r\n  <b/>\r\n</a>");
}

TEST(XmlSerializer, ASecondDocumentElementStartsWithoutALineBreak) {
    Document document(2);
    document.serializer.StartElement(nullptr, "a");
    document.serializer.EndElement(nullptr, "a");
    document.serializer.StartElement(nullptr, "b");
    document.serializer.EndElement(nullptr, "b");
    EXPECT_EQ(document.Text(), "<a/><b/>");
}

TEST(XmlSerializer, IndentsToAnyDepth) {
    constexpr int kDepth = 40;
    for (NPT_UInt32 indentation : {1u, 2u, 16u, 17u}) {
        SCOPED_TRACE(indentation);
        Document document(indentation);
        std::string expected;
        for (NPT_UInt32 depth = 0; depth < kDepth; ++depth) {
            document.serializer.StartElement(nullptr, "x");
            if (depth > 0) expected += ">\r\n" + std::string(indentation * depth, ' ');
            expected += "<x";
        }
        EXPECT_EQ(document.Text(), expected);
    }
}

TEST(XmlSerializer, RefusesToEndWhatWasNeverStarted) {
    Document document(2);
    EXPECT_EQ(document.serializer.EndElement(nullptr, "x"), NPT_ERROR_INVALID_STATE);
    EXPECT_EQ(document.Text(), "");
    document.serializer.StartElement(nullptr, "x");
    document.serializer.EndElement(nullptr, "x");
    EXPECT_EQ(document.serializer.EndElement(nullptr, "x"), NPT_ERROR_INVALID_STATE);
    EXPECT_EQ(document.Text(), "<x/>");
}

TEST(XmlSerializer, EndDocumentReportsOpenElements) {
    Document document;
    EXPECT_EQ(document.serializer.EndDocument(), NPT_SUCCESS);
    document.serializer.StartElement(nullptr, "x");
    EXPECT_EQ(document.serializer.EndDocument(), NPT_ERROR_INVALID_STATE);
    document.serializer.EndElement(nullptr, "x");
    EXPECT_EQ(document.serializer.EndDocument(), NPT_SUCCESS);
}

TEST(XmlSerializer, WritesLateWhatItWouldWriteAtOnce) {
    std::string at_once;
    std::string late;
    for (std::string* written : {&at_once, &late}) {
        FailingStream stream(1000);
        {
            NPT_XmlSerializer serializer(stream, 2);
            if (written == &late) serializer.WriteLate();
            serializer.StartElement(nullptr, "x");
            for (int count = 0; count < 300; ++count)
                serializer.Attribute(nullptr, "a", "long & escaped");
            serializer.Text(std::string(5000, 't').c_str());
            serializer.EndElement(nullptr, "x");
            EXPECT_EQ(stream.Text().substr(stream.Text().size() - 4) == "</x>", written != &late);
        }
        *written = stream.Text();
    }
    EXPECT_EQ(late, at_once);
    EXPECT_GT(late.size(), 5000U);
}

TEST(XmlSerializer, AFailingStreamGoesUnnoticed) {
    const std::string whole = "<p:x a=\"b&lt;\">t</p:x>";
    for (int good_writes = 0; good_writes < 4; ++good_writes) {
        SCOPED_TRACE(good_writes);
        FailingStream stream(good_writes);
        NPT_XmlSerializer serializer(stream);
        EXPECT_EQ(serializer.StartElement("p", "x"), NPT_SUCCESS);
        EXPECT_EQ(serializer.Attribute(nullptr, "a", "b<"), NPT_SUCCESS);
        EXPECT_EQ(serializer.Text("t"), NPT_SUCCESS);
        EXPECT_EQ(serializer.EndElement("p", "x"), NPT_SUCCESS);
        EXPECT_EQ(whole.compare(0, stream.Text().size(), stream.Text()), 0);
        EXPECT_LT(stream.Text().size(), whole.size());
    }
}
