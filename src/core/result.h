// The one table of result codes. A failure travels as a code; only memory that runs out may be
// thrown, as std::bad_alloc, where an operation has not named NPT_ERROR_NO_MEMORY. Operations with
// out-parameters reset them first and leave them reset when they fail.
#ifndef VIREON_CORE_RESULT_H
#define VIREON_CORE_RESULT_H

#include "core/types.h"

constexpr NPT_Result NPT_SUCCESS = 0;
constexpr NPT_Result NPT_FAILURE = -1;

// General
constexpr NPT_Result NPT_ERROR_INVALID_ARGUMENT = -20000;
constexpr NPT_Result NPT_ERROR_NO_MEMORY = -20002;
constexpr NPT_Result NPT_ERROR_NO_ADDRESS = -20003;
constexpr NPT_Result NPT_ERROR_NOT_FOUND = -20005;
constexpr NPT_Result NPT_ERROR_OVERFLOW = -20007;
constexpr NPT_Result NPT_ERROR_NO_PROGRESS = -20008;
constexpr NPT_Result NPT_ERROR_INVALID_STATE = -20009;
constexpr NPT_Result NPT_ERROR_INVALID_FORMAT = -20010;
constexpr NPT_Result NPT_ERROR_INVALID_SYNTAX = -20011;
constexpr NPT_Result NPT_ERROR_NOT_SUPPORTED = -20013;
constexpr NPT_Result NPT_ERROR_TIMEOUT = -20014;
constexpr NPT_Result NPT_ERROR_WOULD_BLOCK = -20015;
constexpr NPT_Result NPT_ERROR_OUT_OF_RANGE = -20017;
constexpr NPT_Result NPT_ERROR_LINE_TOO_LONG = -20019;
constexpr NPT_Result NPT_ERROR_INTERRUPTED = -20020;
constexpr NPT_Result NPT_ERROR_CANCELLED = -20021;

// Streams
constexpr NPT_Result NPT_ERROR_WRITE_FAILED = -20301;
constexpr NPT_Result NPT_ERROR_EOS = -20302;

// Sockets
constexpr NPT_Result NPT_ERROR_CONNECTION_RESET = -20400;
constexpr NPT_Result NPT_ERROR_CONNECTION_ABORTED = -20401;
constexpr NPT_Result NPT_ERROR_CONNECTION_REFUSED = -20402;
constexpr NPT_Result NPT_ERROR_HOST_UNKNOWN = -20404;
constexpr NPT_Result NPT_ERROR_GETSOCKOPT_FAILED = -20406;
constexpr NPT_Result NPT_ERROR_SETSOCKOPT_FAILED = -20407;
constexpr NPT_Result NPT_ERROR_IOCTL_FAILED = -20408;
constexpr NPT_Result NPT_ERROR_ADDRESS_IN_USE = -20412;
constexpr NPT_Result NPT_ERROR_NETWORK_DOWN = -20413;
constexpr NPT_Result NPT_ERROR_NETWORK_UNREACHABLE = -20414;
constexpr NPT_Result NPT_ERROR_HOST_UNREACHABLE = -20415;
constexpr NPT_Result NPT_ERROR_NOT_CONNECTED = -20416;

// HTTP messages
constexpr NPT_Result NPT_ERROR_HTTP_BAD_STATUS_LINE = -20800;
constexpr NPT_Result NPT_ERROR_HTTP_TOO_MANY_INTERIM_RESPONSES = -20806;

// A platform error number e without a name above is reported as NPT_ERROR_SYSTEM_BASE - e.
constexpr NPT_Result NPT_ERROR_SYSTEM_BASE = -22000;

constexpr bool NPT_Succeeded(NPT_Result result) {
    return result == NPT_SUCCESS;
}
constexpr bool NPT_Failed(NPT_Result result) {
    return result != NPT_SUCCESS;
}

#endif
