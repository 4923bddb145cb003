/*
 * What the classes of endpoints and of port ranges have in common: UDP and TCP addresses, raw IP addresses (whose number is
 * not a port but the protocol), UDP and TCP port ranges. Values: immutable while shared, any thread; setters copy first.
 */
#ifndef IN_ENDPOINT_H
#define IN_ENDPOINT_H

#include <in/base/in_address.h>
#include <pb/pb_store.h>

/**
 * Declares an endpoint class: an IP address with a number that is called Num (Port). Order: by address, then by number.
 * Text form: "192.0.2.1:5060", "[2001:DB8::1]:5060". A number outside the bounds of the class aborts.
 *
 * - prefixCreate: a new endpoint.
 * - prefixCreateFrom: a new, unshared copy.
 * - prefixAddress, prefixNum: the parts; the address is a new reference.
 * - prefixSetAddress, prefixSetNum: set one part.
 * - prefixStore: a new store with "address" (text) and the number under its key.
 * - prefixTryRestore: a new endpoint from a store; null unless both are there, the address parses and the number is in
 *   its bounds.
 */
#define IN_ENDPOINT( NAME, prefix, Num )                                \
    PB_CLASS( NAME, prefix )                                            \
    PB_API NAME *prefix##Create( IN_ADDRESS *ina, PB_INT number );      \
    PB_API NAME *prefix##CreateFrom( NAME *source );                    \
    PB_API IN_ADDRESS *prefix##Address( NAME *endpoint );               \
    PB_API PB_INT prefix##Num( NAME *endpoint );                        \
    PB_API void prefix##SetAddress( NAME **endpoint, IN_ADDRESS *ina ); \
    PB_API void prefix##Set##Num( NAME **endpoint, PB_INT number );     \
    PB_API PB_STORE *prefix##Store( NAME *endpoint );                   \
    PB_API NAME *prefix##TryRestore( PB_STORE *store )

/**
 * Declares a class of port ranges: a first port, 1..65535, and how many there are, 0..65535. A range may reach past port
 * 65535. Order: by first port, then by count. Text form: "firstPort=5000, count=100". Values out of bounds abort.
 *
 * - prefixCreate, prefixCreateFrom, prefixFirstPort, prefixCount, prefixSetCount: as their names say.
 * - prefixSetFirstPort: sets the first port and then puts the two in ascending order: when the new first port is larger
 *   than the count, they change places. This is meant; a range with the count 0 so gets the first port 0.
 * - prefixStore, prefixTryRestore: a store with the integers "firstPort" and "count"; null unless both are there and in
 *   their bounds.
 */
#define IN_PORT_RANGE( NAME, prefix )                                   \
    PB_CLASS( NAME, prefix )                                            \
    PB_API NAME *prefix##Create( PB_INT firstPort, PB_INT count );      \
    PB_API NAME *prefix##CreateFrom( NAME *source );                    \
    PB_API PB_INT prefix##FirstPort( NAME *range );                     \
    PB_API PB_INT prefix##Count( NAME *range );                         \
    PB_API void prefix##SetFirstPort( NAME **range, PB_INT firstPort ); \
    PB_API void prefix##SetCount( NAME **range, PB_INT count );         \
    PB_API PB_STORE *prefix##Store( NAME *range );                      \
    PB_API NAME *prefix##TryRestore( PB_STORE *store )

#endif
