/*
 * Endpoints, written once: an address with a number, that is a UDP or TCP port or the protocol of raw IP. The classes are
 * thin faces; the macro only names their functions.
 */
#ifndef IN_KIT_ENDPOINT_PRIVATE_HPP
#define IN_KIT_ENDPOINT_PRIVATE_HPP

#include <in/kit/in_accessors_private.hpp>

namespace in {

/** What endpoints want of the class of their address: toHost, toText and tryFromText. */
template <class Address>
struct AddressTexts;

/** The fields of an endpoint class. */
template <class Address>
struct EndpointOf : PB_OBJ {
    EndpointOf( pb::Ref<Address> ina, PB_INT value ) : address( std::move( ina ) ), number( value ) {}

    pb::Ref<Address> address; // never null
    PB_INT number;            // port or protocol, within the bounds of the class
};

/** What sets one endpoint class apart: its number's key in a store, bounds and what setters ask of it. */
template <class Test>
struct EndpointNumber {
    const char *key;
    PB_INT lowest;
    PB_INT highest;
    Parameter<Test> ok;
};
template <class Test>
EndpointNumber( const char *, PB_INT, PB_INT, Parameter<Test> ) -> EndpointNumber<Test>;

template <class Address>
PB_INT compareEndpoints( PB_OBJ *a, PB_OBJ *b )
{
    auto *thisObj = static_cast<EndpointOf<Address> *>( a );
    auto *thatObj = static_cast<EndpointOf<Address> *>( b );
    PB_INT addresses = compareValues( thisObj->address, thatObj->address );
    return addresses ? addresses : pb::order( thisObj->number, thatObj->number );
}

template <class Address>
PB_STRING *endpointToString( PB_OBJ *obj )
{
    auto *endpoint = static_cast<EndpointOf<Address> *>( obj );
    return pb::format( "%~s:%i", AddressTexts<Address>::toHost( endpoint->address.get() ), endpoint->number ).give();
}

template <class Face, class Address, class Test>
Face *createEndpoint( Address *ina, PB_INT value, const EndpointNumber<Test> &number, const Place &place )
{
    assertAt( ina, "ina", place );
    number.ok.check( value, place );
    return pb::create<Face>( pb::share( ina ), value );
}

/** Sets both parts; an endpoint that has them already is neither copied nor changed. */
template <class Face, class Address, class Test>
void updateEndpoint( Face **handle, Address *ina, PB_INT value, const EndpointNumber<Test> &number, const Place &place )
{
    assertHandle( handle, place );
    assertAt( ina, "ina", place );
    number.ok.check( value, place );
    if ( ( *handle )->number == value && pbObjEquals( pb::obj( ( *handle )->address.get() ), pb::obj( ina ) ) )
        return;
    Face &endpoint = unshared( handle );
    endpoint.address = pb::share( ina );
    endpoint.number = value;
}

template <class Address, class Test>
PB_STORE *storeEndpoint( const EndpointOf<Address> &endpoint, const EndpointNumber<Test> &number )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    writeText( store.handle(), "address", AddressTexts<Address>::toText( endpoint.address.get() ) );
    writeValue( store.handle(), number.key, endpoint.number );
    return store.give();
}

/** Null when the address or the number is missing or bad. */
template <class Face, class Address, class Test>
Face *tryRestoreEndpoint( PB_STORE *store, const EndpointNumber<Test> &number, const Place &place )
{
    pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueCstr( &existing( store, place ), "address", -1 ) );
    PB_INT value;
    if ( !text || readWithin( store, number.key, number.lowest, number.highest, value ) )
        return nullptr;
    pb::Ref<Address> ina = pb::adopt( AddressTexts<Address>::tryFromText( text.get() ) );
    return ina ? pb::create<Face>( std::move( ina ), value ) : nullptr;
}

} // namespace in

/**
 * An endpoint class: NAME, its function prefix, that of its internal Update function, the class of its address, what the
 * precondition texts call an object, what the number is called (Port, port) with its key, its bounds and their test.
 */
#define IN___ENDPOINT_DEFINE( NAME, prefix, internalPrefix, ADDRESS, handle, Num, num, key, lowest, highest, OK )     \
    struct NAME : in::EndpointOf<ADDRESS> {                                                                           \
        using in::EndpointOf<ADDRESS>::EndpointOf;                                                                    \
    };                                                                                                                \
    PB_CLASS_DEFINE( NAME, prefix, pb::destroy<NAME>, in::compareEndpoints<ADDRESS>, in::endpointToString<ADDRESS> ); \
    static constexpr auto prefix##Number =                                                                            \
        in::EndpointNumber{ key, lowest, highest, IN_PARAMETER( PB_INT, num, OK( num ), #OK "( " #num " )" ) };       \
    NAME *prefix##Create( ADDRESS *ina, PB_INT num )                                                                  \
    {                                                                                                                 \
        return in::createEndpoint<NAME>( ina, num, prefix##Number, IN_PLACE( handle ) );                              \
    }                                                                                                                 \
    IN_CREATE_FROM_DEFINE( NAME, prefix );                                                                            \
    IN_GETTER_DEFINE( NAME, prefix##Address, handle, ADDRESS *, address );                                            \
    IN_GETTER_DEFINE( NAME, prefix##Num, handle, PB_INT, number );                                                    \
    IN_SETTER_DEFINE( NAME, prefix, Address, address, ADDRESS *, handle, ina, true, "" );                             \
    void prefix##Set##Num( NAME **handle, PB_INT num )                                                                \
    {                                                                                                                 \
        in::set( handle, &NAME::number, num, prefix##Number.ok, IN_PLACE( handle ) );                                 \
    }                                                                                                                 \
    PB_STORE *prefix##Store( NAME *handle )                                                                           \
    {                                                                                                                 \
        return in::storeEndpoint( in::existing( handle, IN_PLACE( handle ) ), prefix##Number );                       \
    }                                                                                                                 \
    NAME *prefix##TryRestore( PB_STORE *store )                                                                       \
    {                                                                                                                 \
        return in::tryRestoreEndpoint<NAME, ADDRESS>( store, prefix##Number, IN_PLACE( store ) );                     \
    }                                                                                                                 \
    void internalPrefix##Update( NAME **handle, ADDRESS *ina, PB_INT num )                                            \
    {                                                                                                                 \
        in::updateEndpoint( handle, ina, num, prefix##Number, IN_PLACE( handle ) );                                   \
    }                                                                                                                 \
    static_assert( true )

#endif
