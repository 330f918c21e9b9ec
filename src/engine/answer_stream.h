#ifndef VIREON_ENGINE_ANSWER_STREAM_H
#define VIREON_ENGINE_ANSWER_STREAM_H

#include <functional>

#include "core/streams.h"
#include "engine/deadline.h"

// The datagrams of one answer, from a source of which each read receives one. The first read always
// receives; once that is done, whatever answer has not come to its end when the worker is stopped
// or the next search is due is ended by NPT_ERROR_TIMEOUT. So an answer that is empty, unterminated
// or endless holds nobody.
//
// Borrows source and deadline; used by one thread. Positioning and sizes give NPT_FAILURE.
class AnswerStream : public NPT_InputStream {
  public:
    using StopTest = std::function<bool()>;
    // Called before each receive with the longest time that it may wait, in milliseconds.
    using LimitWait = std::function<void(NPT_Timeout)>;

    AnswerStream(NPT_InputStream& source, const Deadline& resend, StopTest is_stopped,
                 LimitWait limit_wait);

    NPT_Result Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read = nullptr) override;
    NPT_Result Seek(NPT_UInt64 offset) override;
    NPT_Result Skip(NPT_UInt64 count) override;
    NPT_Result Tell(NPT_UInt64& offset) override;
    NPT_Result GetSize(NPT_UInt64& size) override;
    NPT_Result GetAvailable(NPT_UInt64& available) override;

  private:
    NPT_InputStream& source_;
    const Deadline& resend_;
    const StopTest is_stopped_;
    const LimitWait limit_wait_;
    bool has_received_ = false;
};

#endif
