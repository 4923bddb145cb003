/* IP networks: creation, containment, text form, order. No state. */
#include <in/base/in_network.h>
#include <pb/pb_text.hpp>

struct IN_NETWORK : PB_OBJ {
    pb::Ref<IN_ADDRESS> address; // host bits are zero when there is a prefix length
    PB_INT prefixLength = -1;    // -1 for none
};

namespace {

PB_INT in___NetworkCompFunc( PB_OBJ *a, PB_OBJ *b )
{
    IN_NETWORK *thisObj = inNetworkFrom( a );
    IN_NETWORK *thatObj = inNetworkFrom( b );
    PB_ASSERT( thisObj );
    PB_ASSERT( thatObj );
    PB_INT addresses = pb::compareOptional( pb::obj( thisObj->address.get() ), pb::obj( thatObj->address.get() ) );
    return addresses ? addresses : pb::order( thisObj->prefixLength, thatObj->prefixLength );
}

PB_STRING *in___NetworkToStringFunc( PB_OBJ *obj )
{
    IN_NETWORK *net = inNetworkFrom( obj );
    if ( !inNetworkHasPrefixLength( net ) )
        return inAddressToStringShrink( net->address.get() );
    return pb::format( "%o/%i", net->address, net->prefixLength ).give();
}

PB_INT bitLength( IN_ADDRESS *ina )
{
    return inAddressLength( ina ) * 8;
}

/** How many leading bits of its address a network stands for. */
PB_INT effectivePrefixLength( IN_NETWORK *net )
{
    return inNetworkHasPrefixLength( net ) ? net->prefixLength : bitLength( net->address.get() );
}

} // namespace

PB_CLASS_DEFINE( IN_NETWORK, inNetwork, pb::destroy<IN_NETWORK>, in___NetworkCompFunc, in___NetworkToStringFunc );

IN_NETWORK *inNetworkCreate( IN_ADDRESS *ina, PB_INT optionalPrefixLength )
{
    PB_ASSERT( ina );
    PB_ASSERT( optionalPrefixLength >= -1 );
    IN_NETWORK *net = pb::create<IN_NETWORK>();
    inNetworkSetAddressAndPrefixLength( &net, ina, optionalPrefixLength );
    return net;
}

IN_NETWORK *inNetworkCreateFrom( IN_NETWORK *source )
{
    PB_ASSERT( source );
    return pb::create<IN_NETWORK>( source->address, source->prefixLength );
}

IN_NETWORK *inNetworkTryCreateFromString( PB_STRING *source )
{
    PB_ASSERT( source );
    auto pieces = pb::split<3>( pb::chars( source ), '/' );
    if ( pieces.count > 2 )
        return nullptr;
    auto size = static_cast<PB_INT>( pieces.at[0].size() );
    pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressTryCreateFromChars( pieces.at[0].data(), size ) );
    if ( !ina )
        return nullptr;
    PB_INT prefixLength = -1;
    auto longest = static_cast<uint64_t>( bitLength( ina.get() ) );
    if ( pieces.count == 2 && !pb::scanWhole( pieces.at[1], 10, longest, prefixLength ) )
        return nullptr;
    return inNetworkCreate( ina.get(), prefixLength );
}

IN_ADDRESS *inNetworkAddress( IN_NETWORK *net )
{
    PB_ASSERT( net );
    return net->address.retained();
}

PB_BOOL inNetworkHasPrefixLength( IN_NETWORK *net )
{
    PB_ASSERT( net );
    return net->prefixLength != -1;
}

PB_INT inNetworkPrefixLength( IN_NETWORK *net )
{
    PB_ASSERT( net );
    return net->prefixLength;
}

void inNetworkSetAddressAndPrefixLength( IN_NETWORK **net, IN_ADDRESS *ina, PB_INT optionalPrefixLength )
{
    PB_ASSERT( net );
    PB_ASSERT( *net );
    PB_ASSERT( ina );
    PB_ASSERT( optionalPrefixLength >= -1 );
    IN_NETWORK &unshared = PB_UNSHARE( net, inNetworkCreateFrom );
    if ( optionalPrefixLength == -1 ) {
        unshared.address = pb::share( ina );
    } else {
        pb::Ref<PB_BUFFER> bits = pb::adopt( inAddressToBuffer( ina ) );
        PB_INT length = pbBufferBitLength( bits.get() );
        PB_ASSERT( optionalPrefixLength <= length );
        pbBufferClearBits( bits.handle(), optionalPrefixLength, length - optionalPrefixLength );
        unshared.address = pb::adopt( inAddressTryCreateFromBuffer( bits.get() ) );
        PB_ASSERT( (*net)->address );
    }
    unshared.prefixLength = optionalPrefixLength;
}

PB_BOOL inNetworkContainsAddress( IN_NETWORK *net, IN_ADDRESS *containedAddress )
{
    PB_ASSERT( net );
    PB_ASSERT( containedAddress );
    if ( !inNetworkHasPrefixLength( net ) )
        return inAddressEquals( net->address.get(), containedAddress );
    return inAddressMatchingBits( net->address.get(), containedAddress ) >= net->prefixLength;
}

PB_BOOL inNetworkContainsNetwork( IN_NETWORK *net, IN_NETWORK *containedNetwork )
{
    PB_ASSERT( net );
    PB_ASSERT( containedNetwork );
    if ( effectivePrefixLength( net ) > effectivePrefixLength( containedNetwork ) )
        return false;
    return inNetworkContainsAddress( net, containedNetwork->address.get() );
}
