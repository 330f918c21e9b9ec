// The words and limits of HTTP/1.1 messages (RFC 7230) as they are read and written here.
#ifndef VIREON_HTTP_HTTP_PROTOCOL_H
#define VIREON_HTTP_HTTP_PROTOCOL_H

#include "core/types.h"

namespace http_protocol {

constexpr char kVersion11[] = "HTTP/1.1";

constexpr char kHttpScheme[] = "http";
constexpr char kHttpsScheme[] = "https";
constexpr NPT_UInt16 kHttpPort = 80;
constexpr NPT_UInt16 kHttpsPort = 443;

constexpr char kConnection[] = "Connection";
constexpr char kContentEncoding[] = "Content-Encoding";
constexpr char kContentLength[] = "Content-Length";
constexpr char kContentType[] = "Content-Type";
constexpr char kHost[] = "Host";
constexpr char kTransferEncoding[] = "Transfer-Encoding";

// Values, compared exactly.
constexpr char kClose[] = "close";
constexpr char kKeepAlive[] = "keep-alive";
constexpr char kChunked[] = "chunked";

// Characters of one line of a head and of a chunked body's framing, the terminating NUL included.
constexpr NPT_UInt32 kMaxHeadLine = 8192;
constexpr NPT_UInt32 kMaxChunkLine = 4096;
// Bytes of one header block, and of one status line: line ends and carriage returns that are
// dropped count as well. A peer that never ends either would otherwise hold the reader and its
// memory without limit.
constexpr NPT_UInt32 kMaxHeaderBlock = 1024 * 1024;
// Bytes read from the source at once while lines are expected.
constexpr NPT_UInt32 kReadBufferSize = 4096;
// The interim (1xx) response that ends the wait for a final one.
constexpr int kMaxInterimResponses = 10;

}  // namespace http_protocol

#endif
