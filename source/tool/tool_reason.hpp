/* Why the library could not do something, as its trace tells it. */
#ifndef TOOL_REASON_HPP
#define TOOL_REASON_HPP

#include <pb/pb.hpp>
#include <string>
#include <tr/tr.h>

namespace tool {

/** Listens to the trace of a kind of object, to the end of the scope. */
class TracedReason {
public:
    explicit TracedReason( const char *itsStreams )
        : streams( itsStreams ), recorder( pb::adopt( trSinkCreateRecorder( false ) ) )
    {
        trSystemAddSink( recorder.get() );
    }
    ~TracedReason() { trSystemDelSink( recorder.get() ); }
    TracedReason( const TracedReason & ) = delete;
    TracedReason &operator=( const TracedReason & ) = delete;

    /** The last text so far, without the function's name in brackets: "bind: Permission denied (EACCES)". */
    std::string text() const;

private:
    std::string_view streams; // their name
    pb::Ref<TR_SINK> recorder;
};

} // namespace tool

#endif
