/*
 * What channels and listeners of every kind share: what they were opened with, their trace stream, and the functions that
 * hand that out or ask their path. A class derives its struct from in::ChannelParts, has a function pathOf that gives the
 * path or aborts, and lists its functions by IN_CHANNEL_DEFINE.
 */
#ifndef IN_CHANNEL_PRIVATE_HPP
#define IN_CHANNEL_PRIVATE_HPP

#include <in/channel/in_path_private.hpp>
#include <in/channel/in_stack_opening_private.hpp>
#include <in/filter/in_filter.h>
#include <in/kit/in_accessors_private.hpp>
#include <in/map/in_map_stack.h>
#include <pb/pb_vector.h>

namespace in {

/** Tells in a stream why something could not be opened, and marks the stream. */
inline void traceRefusal( TR_STREAM *stream, const char *why )
{
    trStreamSetNotable( stream );
    trStreamTextCstr( stream, why, -1 );
}

struct ChannelParts : PB_OBJ {
    explicit ChannelParts( const char *streamName ) : stream( pb::adopt( trStreamCreateCstr( streamName, -1 ) ) ) {}

    pb::Ref<TR_STREAM> stream;
    pb::Ref<IN_STACK> stack;
    pb::Ref<IN_QOS_STACK> qosStack; // this and the next two: null for none
    pb::Ref<IN_MAP_STACK> mapStack;
    pb::Ref<IN_FILTER> filter;

    /** Takes what the channel uses, and links its stream to theirs. */
    void use( IN_STACK *itsStack, IN_QOS_STACK *optionalQosStack, IN_MAP_STACK *optionalMapStack,
        IN_FILTER *optionalFilter, TR_ANCHOR *optionalTraceAnchor )
    {
        stack = pb::share( itsStack );
        qosStack = pb::share( optionalQosStack );
        mapStack = pb::share( optionalMapStack );
        filter = pb::share( optionalFilter );
        if ( optionalTraceAnchor )
            trAnchorComplete( optionalTraceAnchor, stream.get() );
        trStreamSetPayloadTypeCstr( stream.get(), "PB_BUFFER", -1 );
        traceUse( TR_ANCHOR_KIND_PARENT, stack, inStackTraceCompleteAnchor );
        traceUse( TR_ANCHOR_KIND_USES, qosStack, inQosStackTraceCompleteAnchor );
        traceUse( TR_ANCHOR_KIND_USES, mapStack, inMapStackTraceCompleteAnchor );
        traceUse( TR_ANCHOR_KIND_USES, filter, inFilterTraceCompleteAnchor );
    }
    /** Tells why there is no channel; false. */
    bool refuse( const char *why )
    {
        traceRefusal( stream.get(), why );
        return false;
    }
    bool refuse( const char *why, const char *format, const OpenFailure &failure )
    {
        traceRefusal( stream.get(), why );
        traceFailure( stream.get(), format, failure );
        return false;
    }
    /** An anchor for what is opened for the channel. */
    pb::Ref<TR_ANCHOR> anchor() { return pb::adopt( trAnchorCreate( stream.get(), TR_ANCHOR_KIND_USES ) ); }

private:
    /** Links the stream to that of what is used, where there is something, and somebody reads it. */
    template <class T>
    void traceUse( PB_INT kind, const pb::Ref<T> &used, void ( *completeAnchor )( T *, TR_ANCHOR * ) )
    {
        if ( used && trSystemActive() )
            completeAnchor( used.get(), pb::adopt( trAnchorCreate( stream.get(), kind ) ).get() );
    }
};

/** A pair for RTP and RTCP, in that order, as a new vector; null when there is no pair. */
template <class T>
PB_VECTOR *pairVector( const pb::Ref<T> &rtp, const pb::Ref<T> &rtcp )
{
    if ( !rtp || !rtcp )
        return nullptr;
    pb::Ref<PB_VECTOR> pair = pb::adopt( pbVectorCreate() );
    pbVectorAppend( pair.handle(), pb::obj( rtp.get() ) );
    pbVectorAppend( pair.handle(), pb::obj( rtcp.get() ) );
    return pair.give();
}

} // namespace in

/** The getters of a part that may be absent. */
#define IN___CHANNEL_PART( TYPE, prefix, chan, Name, part, PART ) \
    IN_GETTER_DEFINE( TYPE, prefix##Name, chan, PART *, part );   \
    PB_BOOL prefix##Has##Name( TYPE *chan )                       \
    {                                                             \
        return in::has( chan, &TYPE::part, IN_PLACE( chan ) );    \
    }

/** A state of the path, a bool, and those who wait for it. */
#define IN___CHANNEL_STATE( TYPE, prefix, chan, Name, name )                  \
    PB_BOOL prefix##Name( TYPE *chan )                                        \
    {                                                                         \
        return pathOf( chan ).name();                                         \
    }                                                                         \
    void prefix##Name##AddSignalable( TYPE *chan, PB_SIGNALABLE *signalable ) \
    {                                                                         \
        PB_ASSERT( signalable );                                              \
        pathOf( chan ).name##AddSignalable( signalable );                     \
    }                                                                         \
    void prefix##Name##DelSignalable( TYPE *chan, PB_SIGNALABLE *signalable ) \
    {                                                                         \
        PB_ASSERT( signalable );                                              \
        pathOf( chan ).name##DelSignalable( signalable );                     \
    }

/** What every channel and listener answers; `chan` names the parameter. */
#define IN_CHANNEL_DEFINE( TYPE, prefix, chan, ADDRESS )                      \
    void prefix##TraceCompleteAnchor( TYPE *chan, TR_ANCHOR *anchor )         \
    {                                                                         \
        PB_ASSERT( chan );                                                    \
        trAnchorComplete( anchor, chan->stream.get() );                       \
    }                                                                         \
    IN_GETTER_DEFINE( TYPE, prefix##Stack, chan, IN_STACK *, stack );         \
    IN___CHANNEL_PART( TYPE, prefix, chan, QosStack, qosStack, IN_QOS_STACK ) \
    IN___CHANNEL_PART( TYPE, prefix, chan, MapStack, mapStack, IN_MAP_STACK ) \
    IN___CHANNEL_PART( TYPE, prefix, chan, Filter, filter, IN_FILTER )        \
    ADDRESS *prefix##LocalAddress( TYPE *chan )                               \
    {                                                                         \
        return pathOf( chan ).localAddress().give();                          \
    }                                                                         \
    PB_INT prefix##Flags( TYPE *chan )                                        \
    {                                                                         \
        return pathOf( chan ).flags();                                        \
    }                                                                         \
    IN___CHANNEL_STATE( TYPE, prefix, chan, Error, error )                    \
    IN___CHANNEL_STATE( TYPE, prefix, chan, Mapped, mapped )                  \
    ADDRESS *prefix##MappedLocalAddress( TYPE *chan )                         \
    {                                                                         \
        return pathOf( chan ).optionalMappedLocalAddress().give();            \
    }                                                                         \
    static_assert( true )

#endif
