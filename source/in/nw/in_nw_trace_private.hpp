/* How calls into the kernel that fail are traced. */
#ifndef IN_NW_TRACE_PRIVATE_HPP
#define IN_NW_TRACE_PRIVATE_HPP

#include <cerrno>
#include <tr/tr.h>
#include <unix/unix.h>

namespace in {

/** Traces why the last call failed: `format` has one `%~s`, for the text of errno. */
inline void traceErrno( TR_STREAM *stream, const char *format )
{
    int error = errno;
    trStreamTextFormatCstr( stream, format, -1, unixErrorToString( error ) );
}

} // namespace in

#endif
