/* Hardware addresses of interfaces. No state. */
#include <array>
#include <in/kit/in_accessors_private.hpp>
#include <in/nw/in_nw_mac_address.h>
#include <pb/pb_text.hpp>

struct IN_NW_MAC_ADDRESS : PB_OBJ {
    std::array<PB_BYTE, 6> bytes{};
};

namespace {

constexpr PB_INT length = 6;

PB_INT in___NwMacAddressCompareFunc( PB_OBJ *thisObj, PB_OBJ *thatObj )
{
    return pb::order( inNwMacAddressFrom( thisObj )->bytes, inNwMacAddressFrom( thatObj )->bytes );
}

PB_STRING *in___NwMacAddressToStringFunc( PB_OBJ *obj )
{
    pb::CharWriter<3 * length> text;
    for ( PB_BYTE byte : inNwMacAddressFrom( obj )->bytes ) {
        if ( !text.chars().empty() )
            text.put( ':' );
        text.number( byte, 16, 2, true );
    }
    return text.toString();
}

/** Reads exactly six numbers between the separators. */
bool tryParse( pb::Chars text, PB_CHAR separator, std::array<PB_BYTE, length> &bytes )
{
    auto pieces = pb::split<length + 1>( text, separator );
    if ( pieces.count != bytes.size() )
        return false;
    for ( std::size_t i = 0; i < bytes.size(); ++i ) {
        PB_INT value;
        if ( !pb::scanWhole( pieces.at[i], 16, 255, value ) )
            return false;
        bytes[i] = static_cast<PB_BYTE>( value );
    }
    return true;
}

} // namespace

PB_CLASS_DEFINE(
    IN_NW_MAC_ADDRESS, inNwMacAddress, nullptr, in___NwMacAddressCompareFunc, in___NwMacAddressToStringFunc );

IN_NW_MAC_ADDRESS *inNwMacAddressCreate( void )
{
    return pb::create<IN_NW_MAC_ADDRESS>();
}

IN_NW_MAC_ADDRESS *inNwMacAddressCreateFromBytes( const PB_BYTE *bytes )
{
    PB_ASSERT( bytes );
    IN_NW_MAC_ADDRESS *nwma = inNwMacAddressCreate();
    std::copy_n( bytes, length, nwma->bytes.begin() );
    return nwma;
}

IN_NW_MAC_ADDRESS *inNwMacAddressCreateFrom( IN_NW_MAC_ADDRESS *source )
{
    PB_ASSERT( source );
    return pb::copy( *source );
}

IN_NW_MAC_ADDRESS *inNwMacAddressTryCreateFromBuffer( PB_BUFFER *buf )
{
    PB_ASSERT( buf );
    return pbBufferLength( buf ) == length ? inNwMacAddressCreateFromBytes( pbBufferBacking( buf ) ) : nullptr;
}

IN_NW_MAC_ADDRESS *inNwMacAddressTryCreateFromString( PB_STRING *source )
{
    PB_ASSERT( source );
    std::array<PB_BYTE, length> bytes;
    pb::Chars text = pb::chars( source );
    return tryParse( text, ':', bytes ) || tryParse( text, '-', bytes ) ? inNwMacAddressCreateFromBytes( bytes.data() )
                                                                        : nullptr;
}

PB_BYTE inNwMacAddressByteAt( IN_NW_MAC_ADDRESS *nwma, PB_INT byteIdx )
{
    PB_ASSERT( nwma );
    PB_ASSERT( byteIdx >= 0 );
    PB_ASSERT( byteIdx < 6 );
    return nwma->bytes[static_cast<std::size_t>( byteIdx )];
}

void inNwMacAddressSetByteAt( IN_NW_MAC_ADDRESS **nwma, PB_INT byteIdx, PB_BYTE byte )
{
    IN_ASSERT_HANDLE( nwma );
    PB_ASSERT( byteIdx >= 0 );
    PB_ASSERT( byteIdx < 6 );
    PB_UNSHARE( nwma, inNwMacAddressCreateFrom ).bytes[static_cast<std::size_t>( byteIdx )] = byte;
}

PB_INT inNwMacAddressLength( IN_NW_MAC_ADDRESS *nwma )
{
    PB_ASSERT( nwma );
    return length;
}

const PB_BYTE *inNwMacAddressBacking( IN_NW_MAC_ADDRESS *nwma )
{
    PB_ASSERT( nwma );
    return nwma->bytes.data();
}

PB_BUFFER *inNwMacAddressToBuffer( IN_NW_MAC_ADDRESS *nwma )
{
    PB_ASSERT( nwma );
    return pbBufferCreateFromBytesCopy( nwma->bytes.data(), length );
}
