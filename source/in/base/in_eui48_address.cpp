/* EUI-48 addresses: creation, bits, text forms, order. No state. */
#include <in/base/in_eui48_address.h>
#include <in/imp/in_imp_eui48_address_lookup_private.h>
#include <pb/pb_text.hpp>

struct IN_EUI48_ADDRESS : PB_OBJ {
    uint64_t value = 0; // the first octet on the wire is bits 47..40
};

namespace {

constexpr PB_INT octets = 6;
constexpr uint64_t groupBit = 1ULL << 40;
constexpr uint64_t localBit = 1ULL << 41;

PB_INT in___Eui48AddressCompareFunc( PB_OBJ *objA, PB_OBJ *objB )
{
    IN_EUI48_ADDRESS *ineaA = inEui48AddressFrom( objA );
    IN_EUI48_ADDRESS *ineaB = inEui48AddressFrom( objB );
    PB_ASSERT( ineaA );
    PB_ASSERT( ineaB );
    return pb::order( ineaA->value, ineaB->value );
}

PB_STRING *in___Eui48AddressToStringFunc( PB_OBJ *obj )
{
    return inEui48AddressToStringExpand( inEui48AddressFrom( obj ), ':' );
}

uint64_t valueOf( IN_EUI48_ADDRESS *inea )
{
    PB_ASSERT( inea );
    return inea->value;
}

/** The first octets as two-digit numbers, with the separator between them unless it is 0. */
pb::CharWriter<17> octetsText( uint64_t value, PB_INT count, PB_CHAR separator )
{
    pb::CharWriter<17> text;
    for ( PB_INT i = 0; i < count; ++i ) {
        if ( i > 0 && separator )
            text.put( separator );
        text.number( value >> ( 8 * ( octets - 1 - i ) ) & 0xff, 16, 2 );
    }
    return text;
}

} // namespace

PB_CLASS_DEFINE(
    IN_EUI48_ADDRESS, inEui48Address, nullptr, in___Eui48AddressCompareFunc, in___Eui48AddressToStringFunc );

IN_EUI48_ADDRESS *inEui48AddressCreate( PB_INT source )
{
    PB_ASSERT( source >= 0 && source <= 0xffffffffffff );
    return pb::create<IN_EUI48_ADDRESS>( static_cast<uint64_t>( source ) );
}

IN_EUI48_ADDRESS *inEui48AddressCreateFromBytes( const PB_BYTE *source )
{
    PB_ASSERT( source );
    uint64_t value = 0;
    for ( PB_INT i = 0; i < octets; ++i )
        value = value << 8 | source[i];
    return pb::create<IN_EUI48_ADDRESS>( value );
}

IN_EUI48_ADDRESS *inEui48AddressTryCreateFromBuffer( PB_BUFFER *buf )
{
    PB_ASSERT( buf );
    return pbBufferLength( buf ) < octets ? nullptr : inEui48AddressCreateFromBytes( pbBufferBacking( buf ) );
}

IN_EUI48_ADDRESS *inEui48AddressTryCreateFromString( PB_STRING *source )
{
    uint64_t value = 0;
    PB_INT digits = 0;
    for ( PB_CHAR ch : pb::chars( source ) ) {
        PB_INT digit = pbUnicodeHexadecimalDigitValue( ch );
        if ( digit >= 0 ) {
            value = value << 4 | static_cast<uint64_t>( digit );
            ++digits;
        } else if ( digits > 0 && ch != '-' && ch != ':' ) {
            break;
        }
    }
    return digits == 2 * octets ? pb::create<IN_EUI48_ADDRESS>( value ) : nullptr;
}

PB_INT inEui48AddressValue( IN_EUI48_ADDRESS *inea )
{
    return static_cast<PB_INT>( valueOf( inea ) );
}

PB_INT inEui48AddressOui( IN_EUI48_ADDRESS *inea )
{
    return static_cast<PB_INT>( valueOf( inea ) >> 24 & 0xffffff );
}

PB_BOOL inEui48AddressUnicast( IN_EUI48_ADDRESS *inea )
{
    return !inEui48AddressMulticast( inea );
}

PB_BOOL inEui48AddressMulticast( IN_EUI48_ADDRESS *inea )
{
    return ( valueOf( inea ) & groupBit ) != 0;
}

PB_BOOL inEui48AddressBroadcast( IN_EUI48_ADDRESS *inea )
{
    return valueOf( inea ) == 0xffffffffffff;
}

PB_BOOL inEui48AddressGloballyUnique( IN_EUI48_ADDRESS *inea )
{
    return !inEui48AddressLocallyAdministered( inea );
}

PB_BOOL inEui48AddressLocallyAdministered( IN_EUI48_ADDRESS *inea )
{
    return ( valueOf( inea ) & localBit ) != 0;
}

PB_STRING *inEui48AddressManufacturerPrefix( IN_EUI48_ADDRESS *inea )
{
    return octetsText( valueOf( inea ), 3, 0 ).toString();
}

PB_STRING *inEui48AddressToStringShrink( IN_EUI48_ADDRESS *inea )
{
    return octetsText( valueOf( inea ), octets, 0 ).toString();
}

PB_STRING *inEui48AddressToStringExpand( IN_EUI48_ADDRESS *inea, PB_CHAR separator )
{
    PB_ASSERT( inea );
    PB_ASSERT( PB_CHAR_OK( separator ) );
    return octetsText( valueOf( inea ), octets, separator ).toString();
}

IN_EUI48_ADDRESS *inEui48AddressTryLookup( IN_ADDRESS *ina, PB_STRING *optionalInterface )
{
    return in___ImpEui48AddressTryLookup( ina, optionalInterface );
}
