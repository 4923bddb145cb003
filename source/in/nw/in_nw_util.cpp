/* What a stack needs of the interfaces: following them, and choosing among them as they are at the moment. No state. */
#include <in/nw/in_nw_interfaces.h>
#include <in/nw/in_nw_select_private.hpp>
#include <in/nw/in_nw_util_private.h>
#include <pb/pb_dict.h>

namespace {

/** The interfaces of the host at one moment; `seen` has the same places. */
struct Host {
    std::vector<pb::Ref<IN_NW_INTERFACE>> interfaces;
    std::vector<in::SeenInterface> seen;
};

Host lookAtHost()
{
    Host host;
    pb::Ref<PB_VECTOR> all = pb::adopt( inNwInterfacesVector() );
    for ( PB_INT i = 0; i < pbVectorLength( all.get() ); ++i ) {
        pb::Ref<IN_NW_INTERFACE> iface = pb::adoptAs<IN_NW_INTERFACE>( pbVectorObjAt( all.get(), i ) );
        host.seen.push_back(
            { pb::adopt( inNwInterfaceIdentifier( iface.get() ) ), pb::adopt( inNwInterfaceState( iface.get() ) ) } );
        host.interfaces.push_back( std::move( iface ) );
    }
    return host;
}

std::optional<std::size_t> placeOf( const Host &host, IN_NW_INTERFACE *optionalInterface )
{
    for ( std::size_t i = 0; i < host.interfaces.size(); ++i )
        if ( host.interfaces[i].get() == optionalInterface )
            return i;
    return {};
}

void withEachInterface( PB_SIGNALABLE *signalable, void ( *call )( IN_NW_INTERFACE *, PB_SIGNALABLE * ) )
{
    pb::Ref<PB_VECTOR> all = pb::adopt( inNwInterfacesVector() );
    for ( PB_INT i = 0; i < pbVectorLength( all.get() ); ++i )
        call( pb::adoptAs<IN_NW_INTERFACE>( pbVectorObjAt( all.get(), i ) ).get(), signalable );
}

/** Replaces what an out argument holds. */
template <class T>
void put( T **out, const pb::Ref<T> &object )
{
    pb::Ref<T> replaced = pb::adopt( *out );
    *out = object.retained();
}

PB_STORE *storeCandidate( const in::Candidate &candidate, const Host &host, bool chosen )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    pb::Ref<PB_STRING> address = pb::adopt( inAddressToString( candidate.address.get() ) );
    pbStoreSetValueCstr( store.handle(), "address", -1, address.get() );
    pb::Ref<PB_STORE> interfaces = pb::adopt( pbStoreCreateArray() );
    for ( std::size_t place : candidate.interfaces )
        pbStoreAppendValue( interfaces.handle(), host.seen[place].identifier.get() );
    pbStoreSetStoreCstr( store.handle(), "interfaces", -1, interfaces.get() );
    if ( candidate.droppedBy )
        pbStoreSetValueCstr( store.handle(), "droppedBy", -1, pb::string( candidate.droppedBy ).get() );
    else
        pbStoreSetValueIntCstr( store.handle(), "score", -1, candidate.score );
    if ( chosen )
        pbStoreSetValueBoolCstr( store.handle(), "chosen", -1, true );
    return store.give();
}

} // namespace

void in___NwUtilInterfacesUpdateAddSignalable( PB_SIGNALABLE *signalable )
{
    inNwInterfacesUpdateAddSignalable( signalable ); // first: an interface that comes after this fires it
    withEachInterface( signalable, inNwInterfaceUpdateAddSignalable );
}

void in___NwUtilInterfacesUpdateDelSignalable( PB_SIGNALABLE *signalable )
{
    inNwInterfacesUpdateDelSignalable( signalable );
    withEachInterface( signalable, inNwInterfaceUpdateDelSignalable );
}

PB_VECTOR *in___NwUtilGatherLayer3UnicastAddressesVector()
{
    pb::Ref<PB_DICT> all = pb::adopt( pbDictCreate() ); // enters each address once
    for ( const in::SeenInterface &seen : lookAtHost().seen ) {
        pb::Ref<PB_VECTOR> addresses = pb::adopt( inNwInterfaceStateLayer3UnicastAddressesVector( seen.state.get() ) );
        for ( PB_INT i = 0; i < pbVectorLength( addresses.get() ); ++i ) {
            pb::Ref<PB_OBJ> address = pb::adopt( pbVectorObjAt( addresses.get(), i ) );
            pbDictSet( all.handle(), address.get(), address.get() );
        }
    }
    return pbDictKeysVector( all.get() );
}

void in___NwUtilFindAddressAndInterface( IN_OPTIONS *options, IN_ADDRESS *optionalPreviousAddress,
    IN_NW_INTERFACE *optionalPreviousPrimaryInterface, IN_ADDRESS **address, IN_NW_INTERFACE **primaryInterface,
    PB_VECTOR **interfaces )
{
    PB_ASSERT( options );
    PB_ASSERT( address );
    PB_ASSERT( primaryInterface );
    PB_ASSERT( interfaces );
    Host host = lookAtHost();
    in::Selection selection =
        in::select( options, optionalPreviousAddress, placeOf( host, optionalPreviousPrimaryInterface ), host.seen );
    pb::Ref<PB_VECTOR> selected = pb::adopt( pbVectorCreate() );
    for ( std::size_t place : selection.interfaces )
        pbVectorAppend( selected.handle(), pb::obj( host.interfaces[place].get() ) );
    put( address, selection.address );
    put( primaryInterface, selection.primary ? host.interfaces[*selection.primary] : nullptr );
    put( interfaces, selected );
}

PB_STORE *in___NwUtilExplainSelection( IN_OPTIONS *options, IN_ADDRESS *optionalPreviousAddress )
{
    PB_ASSERT( options );
    Host host = lookAtHost();
    std::vector<in::Candidate> candidates = in::gatherCandidates( options, optionalPreviousAddress, host.seen );
    const in::Candidate *best = in::bestCandidate( candidates );
    pb::Ref<PB_STORE> array = pb::adopt( pbStoreCreateArray() );
    for ( const in::Candidate &candidate : candidates )
        pbStoreAppendStore( array.handle(), pb::adopt( storeCandidate( candidate, host, &candidate == best ) ).get() );
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    pbStoreSetStoreCstr( store.handle(), "candidates", -1, array.get() );
    return store.give();
}
