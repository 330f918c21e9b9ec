#ifndef VIREON_HTTP_HTTP_HEADERS_H
#define VIREON_HTTP_HTTP_HEADERS_H

#include <cstddef>
#include <iterator>
#include <string_view>

#include "core/buffered_input_stream.h"
#include "core/streams.h"
#include "core/string.h"
#include "core/string_block.h"

// A header of a list, which owns it and its texts.
class NPT_HttpHeader {
  public:
    NPT_HttpHeader(const NPT_String& name, const NPT_String& value)
        : name_(&name), value_(&value) {}

    const NPT_String& GetName() const { return *name_; }
    const NPT_String& GetValue() const { return *value_; }

  private:
    friend class NPT_HttpHeaders;
    friend class NPT_HttpHeaderList;
    const NPT_String* name_;
    const NPT_String* value_;
    NPT_HttpHeader* next_ = nullptr;
};

// Headers in their order, to look at.
class NPT_HttpHeaderList {
  public:
    class ConstIterator {
      public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = NPT_HttpHeader;
        using difference_type = std::ptrdiff_t;
        using pointer = const NPT_HttpHeader*;
        using reference = const NPT_HttpHeader&;

        explicit ConstIterator(pointer header = nullptr) : header_(header) {}
        reference operator*() const { return *header_; }
        pointer operator->() const { return header_; }
        ConstIterator& operator++() {
            header_ = header_->next_;
            return *this;
        }
        bool operator==(const ConstIterator& other) const { return header_ == other.header_; }
        bool operator!=(const ConstIterator& other) const { return header_ != other.header_; }

      private:
        pointer header_;
    };

    NPT_UInt32 GetItemCount() const { return count_; }
    bool IsEmpty() const { return count_ == 0; }
    ConstIterator begin() const { return ConstIterator(first_); }
    ConstIterator end() const { return ConstIterator(); }
    // Of a list that is not empty.
    ConstIterator GetLastItem() const { return ConstIterator(last_); }

  private:
    friend class NPT_HttpHeaders;
    NPT_HttpHeader* first_ = nullptr;
    NPT_HttpHeader* last_ = nullptr;
    NPT_UInt32 count_ = 0;
};

// The header fields of one message (RFC 7230, section 3.2) in the order in which they came.
// Names may occur more than once; a lookup ignores the case of ASCII letters and gives the first.
// Owns its headers; pointers to them and to their texts hold until the list goes, those to a value
// that was overwritten too. One thread at a time.
class NPT_HttpHeaders {
  public:
    NPT_HttpHeaders() = default;
    NPT_HttpHeaders(const NPT_HttpHeaders&) = delete;
    NPT_HttpHeaders& operator=(const NPT_HttpHeaders&) = delete;

    // Null when there is none.
    const NPT_HttpHeader* GetHeader(const char* name) const;
    const NPT_String* GetHeaderValue(const char* name) const;
    const NPT_HttpHeaderList& GetHeaders() const { return list_; }

    // Appends, whatever is there already. Always NPT_SUCCESS.
    NPT_Result AddHeader(const char* name, const char* value);
    // Appends when there is no such header; otherwise overwrites the first one's value, or leaves
    // it when replace is false. Always NPT_SUCCESS.
    NPT_Result SetHeader(const char* name, const char* value, bool replace = true);

    // "name: value" and a line end for each. Always NPT_SUCCESS, whatever the stream says.
    NPT_Result Emit(NPT_OutputStream& stream) const;
    // Appends the headers of a block: lines up to an empty one. Lines that begin with a blank
    // continue the header above them; lines without a name are skipped; of a line with a NUL only
    // what stands before it counts. A failing read, a line of more than 8191 characters or the byte
    // that makes 1 MiB ends the block where it is. Always NPT_SUCCESS: an answer without its empty
    // line is still an answer.
    NPT_Result Parse(NPT_BufferedInputStream& stream);

  private:
    NPT_HttpHeader* FindHeader(std::string_view name) const;
    void Add(std::string_view name, std::string_view value);

    NPT_HttpHeaderList list_;
    StringBlock block_;  // the headers and their texts
};

#endif
