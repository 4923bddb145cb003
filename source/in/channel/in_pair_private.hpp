/*
 * RTP/RTCP pairs (RFC 3550 section 11), for every kind of socket. The kind is a struct of these static members:
 *
 *   const char *stream, *nullMapped, *invalid      the name of the trace stream, and what it is told on failure
 *   std::optional<Ports> ports( IN_STACK * )       the range of the stack's options
 *   PortPair tryCreate( IN_STACK *, const OpenPlan &, OpenFailure & )
 *   pb::Ref<PB_VECTOR> tryCreateMapped( MapPeer &, const PairPlan & )
 *   pb::Ref<Kind::Class> wrap( const PairPlan &, PB_INT handle )
 *   pb::Ref<Kind::Class> wrapMapped( const PairPlan &, PB_OBJ *mapped )
 */
#ifndef IN_PAIR_PRIVATE_HPP
#define IN_PAIR_PRIVATE_HPP

#include <in/channel/in_channel_private.hpp>
#include <in/map/in_map_private.hpp>

namespace in {

/** What a pair is opened with. Objects are lent. */
struct PairPlan {
    TR_STREAM *stream;
    IN_STACK *stack;
    IN_QOS_STACK *optionalQosStack;
    IN_MAP_STACK *optionalMapStack;
    IN_FILTER *optionalFilter;
    PB_INT flags;
    TR_ANCHOR *anchor; // on `stream`, for each of the two
};

template <class Kind>
PB_VECTOR *tryCreateMappedPair( const PairPlan &plan )
{
    pb::Ref<IN_MAP_STACK_PEER> peer = pb::adopt( inMapStackPeer( plan.optionalMapStack ) );
    pb::Ref<PB_VECTOR> mapped = peer ? Kind::tryCreateMapped( *peer->peer, plan ) : pb::Ref<PB_VECTOR>();
    if ( !mapped ) {
        traceRefusal( plan.stream, peer ? Kind::nullMapped : "inMapStackPeer(): null" );
        return nullptr;
    }
    auto wrap = [&]( PB_INT index ) {
        return Kind::wrapMapped( plan, pb::adopt( pbVectorObjAt( mapped.get(), index ) ).get() );
    };
    return pairVector( wrap( 0 ), wrap( 1 ) );
}

template <class Kind>
PB_VECTOR *tryCreatePairOnStack( const PairPlan &plan )
{
    StackOpening opening( plan.stack, Kind::ports( plan.stack ), plan.optionalQosStack, plan.flags );
    if ( !opening.plan.localAddress ) {
        traceRefusal( plan.stream, "inStackAddress(): null" );
        return nullptr;
    }
    OpenFailure failure;
    PortPair pair = Kind::tryCreate( plan.stack, opening.plan, failure );
    if ( pair.even < 0 ) {
        traceRefusal( plan.stream, Kind::invalid );
        traceFailure( plan.stream, "%~s", failure );
        return nullptr;
    }
    return pairVector( Kind::wrap( plan, pair.even ), Kind::wrap( plan, pair.odd ) );
}

/** A new vector of the two, or null; the reason is in the trace. */
template <class Kind>
PB_VECTOR *tryCreatePair( IN_STACK *stack, IN_QOS_STACK *optionalQosStack, IN_MAP_STACK *optionalMapStack,
    IN_FILTER *optionalFilter, PB_INT flags, TR_ANCHOR *optionalTraceAnchor )
{
    pb::Ref<TR_STREAM> stream = pb::adopt( trStreamCreateCstr( Kind::stream, -1 ) );
    if ( optionalTraceAnchor )
        trAnchorComplete( optionalTraceAnchor, stream.get() );
    inStackTraceCompleteAnchor( stack, pb::adopt( trAnchorCreate( stream.get(), TR_ANCHOR_KIND_PARENT ) ).get() );
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( stream.get(), TR_ANCHOR_KIND_USES ) );
    PairPlan plan{ stream.get(), stack, optionalQosStack, optionalMapStack, optionalFilter, flags, anchor.get() };
    return optionalMapStack ? tryCreateMappedPair<Kind>( plan ) : tryCreatePairOnStack<Kind>( plan );
}

} // namespace in

#endif
