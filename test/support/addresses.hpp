/* Addresses from their texts, null for what is none. */
#ifndef TEST_ADDRESSES_HPP
#define TEST_ADDRESSES_HPP

#include <in/in.h>
#include <support/test_support.h>

namespace test {

inline pb::Ref<IN_ADDRESS> address( std::string_view text )
{
    return pb::adopt( inAddressTryCreateFromString( str( text ).get() ) );
}
inline pb::Ref<IN_NETWORK> network( std::string_view text )
{
    return pb::adopt( inNetworkTryCreateFromString( str( text ).get() ) );
}
inline pb::Ref<IN_UDP_ADDRESS> udpAddress( std::string_view text, PB_INT port )
{
    return pb::adopt( inUdpAddressCreate( address( text ).get(), port ) );
}

/** The text of an object, or "null". */
template <class T>
std::string textOrNull( const pb::Ref<T> &object )
{
    return object ? textOf( object.get() ) : "null";
}

} // namespace test

#endif
