/* Filters: the public face of the imp, which has the locks and the process. */
#include <in/filter/in_filter.h>
#include <in/filter/in_filter_imp_private.h>
#include <in/filter/in_filter_private.h>
#include <in/kit/in_held_private.hpp>
#include <in/kit/in_origin_private.hpp>
#include <pb/pb.hpp>

struct IN_FILTER : PB_OBJ {
    pb::Ref<IN___FILTER_IMP> imp;
    in::Origin origin{};
};

static constinit in::Held filters;

static void in___FilterFreeFunc( PB_OBJ *obj )
{
    auto *filter = static_cast<IN_FILTER *>( obj );
    if ( filter->origin.isInChild() ) // its locks may be held for good; the parent looks after the rest
        return;
    in___FilterImpHalt( filter->imp.get() );
    pb::destroy<IN_FILTER>( obj );
    filters.drop(); // last: the stop goes on when the count is 0
}

PB_CLASS_DEFINE( IN_FILTER, inFilter, in___FilterFreeFunc, nullptr, nullptr );

IN_FILTER *inFilterCreate( IN_FILTER_OPTIONS *options, TR_ANCHOR *optionalTraceAnchor )
{
    PB_ASSERT( options );
    pb::Ref<IN___FILTER_IMP> imp = pb::adopt( in___FilterImpCreate( options, optionalTraceAnchor ) );
    filters.add();
    return pb::create<IN_FILTER>( std::move( imp ) );
}

IN_FILTER_OPTIONS *inFilterOptions( IN_FILTER *filter )
{
    PB_ASSERT( filter );
    return in___FilterImpOptions( filter->imp.get() );
}

void inFilterSetOptions( IN_FILTER *filter, IN_FILTER_OPTIONS *options )
{
    PB_ASSERT( filter );
    in___FilterImpSetOptions( filter->imp.get(), options );
}

PB_BOOL inFilterCheck( IN_FILTER *filter, IN_ADDRESS *ina )
{
    PB_ASSERT( filter );
    return in___FilterImpCheck( filter->imp.get(), ina );
}

PB_BOOL inFilterCheckTcpAddress( IN_FILTER *filter, IN_TCP_ADDRESS *ta )
{
    return inFilterCheck( filter, pb::adopt( inTcpAddressAddress( ta ) ).get() );
}

PB_BOOL inFilterCheckUdpAddress( IN_FILTER *filter, IN_UDP_ADDRESS *ua )
{
    return inFilterCheck( filter, pb::adopt( inUdpAddressAddress( ua ) ).get() );
}

PB_BOOL inFilterCheckRawAddress( IN_FILTER *filter, IN_RAW_ADDRESS *ra )
{
    return inFilterCheck( filter, pb::adopt( inRawAddressAddress( ra ) ).get() );
}

void inFilterTraceCompleteAnchor( IN_FILTER *filter, TR_ANCHOR *anchor )
{
    PB_ASSERT( filter );
    in___FilterImpTraceCompleteAnchor( filter->imp.get(), anchor );
}

void in___FilterShutdownWait()
{
    filters.assertNone( "filters are still held" );
}
