/*
 * Endpoints, written once: an address with a number, that is a UDP or TCP port or the protocol of raw IP; and port ranges.
 * The classes are thin faces; the macros only make their names and the texts of their preconditions.
 */
#ifndef IN_ENDPOINT_PRIVATE_HPP
#define IN_ENDPOINT_PRIVATE_HPP

#include <in/base/in_address.h>
#include <in/base/in_settings_private.hpp>

namespace in {

/** The fields of an endpoint class. */
struct Endpoint : PB_OBJ {
    pb::Ref<IN_ADDRESS> address; // never null
    PB_INT number = 0;           // port or protocol, within the bounds of the class
};

inline PB_INT compareEndpoints( PB_OBJ *a, PB_OBJ *b )
{
    auto *thisObj = static_cast<Endpoint *>( a );
    auto *thatObj = static_cast<Endpoint *>( b );
    PB_INT addresses = compareValues( thisObj->address, thatObj->address );
    return addresses ? addresses : pb::order( thisObj->number, thatObj->number );
}

inline PB_STRING *endpointToString( PB_OBJ *obj )
{
    auto *endpoint = static_cast<Endpoint *>( obj );
    return pb::format( "%~s:%i", inAddressToHost( endpoint->address.get() ), endpoint->number ).give();
}

inline PB_STORE *storeEndpoint( Endpoint &endpoint, const char *numberKey )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    writeText( store.handle(), "address", inAddressToString( endpoint.address.get() ) );
    writeValue( store.handle(), numberKey, endpoint.number );
    return store.give();
}

/** The address and the number of a store; no address when one is missing or bad. */
inline pb::Ref<IN_ADDRESS> restoreEndpoint(
    PB_STORE *store, const char *numberKey, PB_INT lowest, PB_INT highest, PB_INT &number )
{
    pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueCstr( store, "address", -1 ) );
    bool read = text && pbStoreValueIntCstr( store, &number, numberKey, -1 );
    if ( !read || number < lowest || number > highest )
        return {};
    return pb::adopt( inAddressTryCreateFromString( text.get() ) );
}

/** The fields of a port range class. */
struct PortRange : PB_OBJ {
    PB_INT firstPort = 1; // 1..65535
    PB_INT count = 0;     // 0..65535; the range may reach past port 65535
};

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

inline PB_STORE *storePortRange( PortRange &range )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    writeValue( store.handle(), "firstPort", range.firstPort );
    writeValue( store.handle(), "count", range.count );
    return store.give();
}

inline bool restorePortRange( PB_STORE *store, PB_INT &firstPort, PB_INT &count )
{
    return !readWithin( store, "firstPort", 1, 65535, firstPort ) && !readWithin( store, "count", 0, 65535, count );
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

/**
 * An endpoint class: NAME, its function prefix, that of its internal Update function, what the precondition texts call an
 * object, what the number is called (Port, port) with its key, its bounds and their test.
 */
#define IN_ENDPOINT_DEFINE( NAME, prefix, internalPrefix, handle, Num, num, key, lowest, highest, OK )            \
    struct NAME : in::Endpoint {                                                                                  \
        NAME( pb::Ref<IN_ADDRESS> ina, PB_INT value ) : in::Endpoint{ {}, std::move( ina ), value } {}            \
    };                                                                                                            \
    static void internalPrefix##FreeFunc( PB_OBJ *obj )                                                           \
    {                                                                                                             \
        pb::destroy<NAME>( obj );                                                                                 \
    }                                                                                                             \
    PB_CLASS_DEFINE( NAME, prefix, internalPrefix##FreeFunc, in::compareEndpoints, in::endpointToString );        \
    NAME *prefix##Create( IN_ADDRESS *ina, PB_INT num )                                                           \
    {                                                                                                             \
        PB_ASSERT( ina );                                                                                         \
        PB_ASSERT( OK( num ) );                                                                                   \
        return pb::create<NAME>( pb::share( ina ), num );                                                         \
    }                                                                                                             \
    IN_CREATE_FROM_DEFINE( NAME, prefix );                                                                        \
    IN_GETTER_DEFINE( NAME, prefix##Address, handle, IN_ADDRESS *, handle->address.retained() );                  \
    IN_GETTER_DEFINE( NAME, prefix##Num, handle, PB_INT, handle->number );                                        \
    IN_SETTER_DEFINE( NAME, prefix, SetAddress, handle, ina, "ina", address, pb::share( ina ), IN_ADDRESS *ina ); \
    IN_SETTER_DEFINE( NAME, prefix, Set##Num, handle, OK( num ), #OK "( " #num " )", number, num, PB_INT num );   \
    IN_GETTER_DEFINE( NAME, prefix##Store, handle, PB_STORE *, in::storeEndpoint( *handle, key ) );               \
    NAME *prefix##TryRestore( PB_STORE *store )                                                                   \
    {                                                                                                             \
        PB_ASSERT( store );                                                                                       \
        PB_INT value = 0;                                                                                         \
        pb::Ref<IN_ADDRESS> ina = in::restoreEndpoint( store, key, lowest, highest, value );                      \
        return ina ? pb::create<NAME>( ina, value ) : nullptr;                                                    \
    }                                                                                                             \
    void internalPrefix##Update( NAME **handle, IN_ADDRESS *ina, PB_INT num )                                     \
    {                                                                                                             \
        IN_ASSERT_HANDLE( handle );                                                                               \
        PB_ASSERT( ina );                                                                                         \
        PB_ASSERT( OK( num ) );                                                                                   \
        if ( ( *handle )->number == num && inAddressEquals( ( *handle )->address.get(), ina ) )                   \
            return;                                                                                               \
        NAME &unshared = PB_UNSHARE( handle, prefix##CreateFrom );                                                \
        unshared.address = pb::share( ina );                                                                      \
        unshared.number = num;                                                                                    \
    }                                                                                                             \
    static_assert( true )

/** A port range class. */
#define IN_PORT_RANGE_DEFINE( NAME, prefix, OK )                                                                   \
    struct NAME : in::PortRange {                                                                                  \
        NAME( PB_INT first, PB_INT ports ) : in::PortRange{ {}, first, ports } {}                                  \
    };                                                                                                             \
    PB_CLASS_DEFINE( NAME, prefix, nullptr, in::comparePortRanges, in::portRangeToString );                        \
    NAME *prefix##Create( PB_INT firstPort, PB_INT count )                                                         \
    {                                                                                                              \
        PB_ASSERT( OK( firstPort ) );                                                                              \
        PB_ASSERT( count >= 0 && count <= 65535 );                                                                 \
        return pb::create<NAME>( firstPort, count );                                                               \
    }                                                                                                              \
    IN_CREATE_FROM_DEFINE( NAME, prefix );                                                                         \
    IN_GETTER_DEFINE( NAME, prefix##FirstPort, range, PB_INT, range->firstPort );                                  \
    IN_GETTER_DEFINE( NAME, prefix##Count, range, PB_INT, range->count );                                          \
    void prefix##SetFirstPort( NAME **range, PB_INT firstPort )                                                    \
    {                                                                                                              \
        IN_ASSERT_HANDLE( range );                                                                                 \
        PB_ASSERT( OK( firstPort ) );                                                                              \
        NAME &unshared = PB_UNSHARE( range, prefix##CreateFrom );                                                  \
        unshared.firstPort = firstPort;                                                                            \
        pbIntSortPair( &unshared.firstPort, &unshared.count ); /* meant: the smaller one becomes the first port */ \
    }                                                                                                              \
    IN_SETTER_DEFINE( NAME, prefix, SetCount, range, count >= 0 && count <= 65535, "count >= 0 && count <= 65535", \
        count, count, PB_INT count );                                                                              \
    IN_GETTER_DEFINE( NAME, prefix##Store, range, PB_STORE *, in::storePortRange( *range ) );                      \
    NAME *prefix##TryRestore( PB_STORE *store )                                                                    \
    {                                                                                                              \
        PB_ASSERT( store );                                                                                        \
        PB_INT firstPort;                                                                                          \
        PB_INT count;                                                                                              \
        return in::restorePortRange( store, firstPort, count ) ? pb::create<NAME>( firstPort, count ) : nullptr;   \
    }                                                                                                              \
    static_assert( true )

#endif
