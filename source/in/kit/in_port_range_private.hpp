/* Port ranges, written once. The classes are thin faces; the macro only names their functions. */
#ifndef IN_PORT_RANGE_PRIVATE_HPP
#define IN_PORT_RANGE_PRIVATE_HPP

#include <in/kit/in_accessors_private.hpp>
#include <in/kit/in_entries_private.hpp>

namespace in {

/** The fields of a port range class. */
struct PortRange : PB_OBJ {
    PortRange( PB_INT first, PB_INT ports ) : firstPort( first ), count( ports ) {}

    PB_INT firstPort; // 1..65535
    PB_INT count;     // 0..65535; the range may reach past port 65535
};

constexpr auto portCount = IN_PARAMETER( PB_INT, count, count >= 0 && count <= 65535, "count >= 0 && count <= 65535" );

inline PB_INT comparePortRanges( PB_OBJ *a, PB_OBJ *b )
{
    auto *thisObj = static_cast<PortRange *>( a );
    auto *thatObj = static_cast<PortRange *>( b );
    PB_INT firstPorts = pb::order( thisObj->firstPort, thatObj->firstPort );
    return firstPorts ? firstPorts : pb::order( thisObj->count, thatObj->count );
}

inline PB_STRING *portRangeToString( PB_OBJ *obj )
{
    auto *range = static_cast<PortRange *>( obj );
    return pb::format( "firstPort=%i, count=%i", range->firstPort, range->count ).give();
}

template <class Range, class Test>
Range *createPortRange( PB_INT firstPort, PB_INT count, const Parameter<Test> &portOk, const Place &place )
{
    portOk.check( firstPort, place );
    portCount.check( count, place );
    return pb::create<Range>( firstPort, count );
}

template <class Range, class Test>
void setFirstPort( Range **range, PB_INT firstPort, const Parameter<Test> &portOk, const Place &place )
{
    assertHandle( range, place );
    portOk.check( firstPort, place );
    PortRange &changed = unshared( range );
    changed.firstPort = firstPort;
    pbIntSortPair( &changed.firstPort, &changed.count ); // meant: the smaller one becomes the first port
}

inline PB_STORE *storePortRange( const PortRange &range )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    writeValue( store.handle(), "firstPort", range.firstPort );
    writeValue( store.handle(), "count", range.count );
    return store.give();
}

template <class Range>
Range *tryRestorePortRange( PB_STORE *store, const Place &place )
{
    PB_INT firstPort;
    PB_INT count;
    bool read = !readWithin( &existing( store, place ), "firstPort", 1, 65535, firstPort ) &&
                !readWithin( store, "count", 0, 65535, count );
    return read ? pb::create<Range>( firstPort, count ) : nullptr;
}

/** Why a stored port range is not taken, key by key: a new store. */
inline PB_STORE *checkPortRange( PB_STORE *store )
{
    Report report;
    PB_INT value;
    for ( auto [key, lowest] : { std::pair( "firstPort", 1 ), std::pair( "count", 0 ) } )
        if ( !hasEntry( store, key ) )
            report.add( key, missing );
        else if ( Ignored reason = readWithin( store, key, lowest, 65535, value ) )
            report.add( key, reason.words );
    for ( PB_INT i = 0; i < pbStoreLength( store ); ++i ) {
        pb::Ref<PB_STRING> key = pb::adopt( pbStoreKeyAt( store, i ) );
        if ( !pbStringEqualsCstr( key.get(), "firstPort", -1 ) && !pbStringEqualsCstr( key.get(), "count", -1 ) )
            report.add( key.get(), "unknown key" );
    }
    return report.give();
}

} // namespace in

/** A port range class; OK tests a port. */
#define IN_PORT_RANGE_DEFINE( NAME, prefix, OK )                                                                    \
    struct NAME : in::PortRange {                                                                                   \
        using in::PortRange::PortRange;                                                                             \
    };                                                                                                              \
    PB_CLASS_DEFINE( NAME, prefix, nullptr, in::comparePortRanges, in::portRangeToString );                         \
    static constexpr auto prefix##PortOk = IN_PARAMETER( PB_INT, firstPort, OK( firstPort ), #OK "( firstPort )" ); \
    NAME *prefix##Create( PB_INT firstPort, PB_INT count )                                                          \
    {                                                                                                               \
        return in::createPortRange<NAME>( firstPort, count, prefix##PortOk, IN_PLACE( range ) );                    \
    }                                                                                                               \
    IN_CREATE_FROM_DEFINE( NAME, prefix );                                                                          \
    IN_GETTER_DEFINE( NAME, prefix##FirstPort, range, PB_INT, firstPort );                                          \
    IN_GETTER_DEFINE( NAME, prefix##Count, range, PB_INT, count );                                                  \
    void prefix##SetFirstPort( NAME **range, PB_INT firstPort )                                                     \
    {                                                                                                               \
        in::setFirstPort( range, firstPort, prefix##PortOk, IN_PLACE( range ) );                                    \
    }                                                                                                               \
    void prefix##SetCount( NAME **range, PB_INT count )                                                             \
    {                                                                                                               \
        in::set( range, &NAME::count, count, in::portCount, IN_PLACE( range ) );                                    \
    }                                                                                                               \
    PB_STORE *prefix##Store( NAME *range )                                                                          \
    {                                                                                                               \
        return in::storePortRange( in::existing( range, IN_PLACE( range ) ) );                                      \
    }                                                                                                               \
    NAME *prefix##TryRestore( PB_STORE *store )                                                                     \
    {                                                                                                               \
        return in::tryRestorePortRange<NAME>( store, IN_PLACE( store ) );                                           \
    }                                                                                                               \
    static_assert( true )

#endif
