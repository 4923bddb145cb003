/* Endpoints of IP addresses: UDP and TCP addresses, raw IP addresses. */
#ifndef IN_ENDPOINT_PRIVATE_HPP
#define IN_ENDPOINT_PRIVATE_HPP

#include <in/base/in_address.h>
#include <in/kit/in_endpoint_private.hpp>

namespace in {

template <>
struct AddressTexts<IN_ADDRESS> {
    static PB_STRING *toHost( IN_ADDRESS *ina ) { return inAddressToHost( ina ); }
    static PB_STRING *toText( IN_ADDRESS *ina ) { return inAddressToString( ina ); }
    static IN_ADDRESS *tryFromText( PB_STRING *text ) { return inAddressTryCreateFromString( text ); }
};

using Endpoint = EndpointOf<IN_ADDRESS>;

} // namespace in

/**
 * An endpoint class: NAME, its function prefix, that of its internal Update function, what the precondition texts call an
 * object, what the number is called (Port, port) with its key, its bounds and their test.
 */
#define IN_ENDPOINT_DEFINE( NAME, prefix, internalPrefix, handle, Num, num, key, lowest, highest, OK ) \
    IN___ENDPOINT_DEFINE( NAME, prefix, internalPrefix, IN_ADDRESS, handle, Num, num, key, lowest, highest, OK )

#endif
