/* IP addresses: creation, bytes, classes, order. Their text forms are in in_address_text.cpp. No state. */
#include <algorithm>
#include <bit>
#include <cstring>
#include <in/base/in_address_private.h>

namespace {

PB_INT in___AddressCompareFunc( PB_OBJ *objA, PB_OBJ *objB )
{
    IN_ADDRESS *inaA = inAddressFrom( objA );
    IN_ADDRESS *inaB = inAddressFrom( objB );
    PB_ASSERT( inaA );
    PB_ASSERT( inaB );
    if ( inaA->version != inaB->version )
        return pb::order( inaA->version, inaB->version );
    return pb::order( std::memcmp( inaA->bytes.data(), inaB->bytes.data(), inaA->bytes.size() ), 0 );
}

PB_STRING *in___AddressToStringFunc( PB_OBJ *obj )
{
    return inAddressToStringShrink( inAddressFrom( obj ) );
}

/** Leading bits that two byte sequences share. */
PB_INT matchingBits( const PB_BYTE *bytesA, const PB_BYTE *bytesB, PB_INT count )
{
    PB_INT equal = 0;
    while ( equal < count && bytesA[equal] == bytesB[equal] )
        ++equal;
    if ( equal == count )
        return count * 8;
    return equal * 8 + std::countl_zero( static_cast<PB_BYTE>( bytesA[equal] ^ bytesB[equal] ) );
}

enum class Kind { allZero, loopback, privateUse, multicast, linkLocal };

/** The addresses of one kind: those that share the leading bits. */
struct Prefix {
    Kind kind;
    PB_INT version;
    PB_INT bits;
    PB_BYTE bytes[16];
};

constexpr Prefix prefixes[] = {
    { Kind::allZero, IN_ADDRESS_VERSION_4, 32, {} },
    { Kind::allZero, IN_ADDRESS_VERSION_6, 128, {} },
    { Kind::loopback, IN_ADDRESS_VERSION_4, 8, { 127 } },
    { Kind::loopback, IN_ADDRESS_VERSION_6, 128, { 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1 } },
    { Kind::privateUse, IN_ADDRESS_VERSION_4, 8, { 10 } },
    { Kind::privateUse, IN_ADDRESS_VERSION_4, 12, { 172, 16 } },
    { Kind::privateUse, IN_ADDRESS_VERSION_4, 16, { 192, 168 } },
    { Kind::privateUse, IN_ADDRESS_VERSION_6, 7, { 0xfc } },
    { Kind::multicast, IN_ADDRESS_VERSION_4, 4, { 224 } },
    { Kind::multicast, IN_ADDRESS_VERSION_6, 8, { 0xff } },
    { Kind::linkLocal, IN_ADDRESS_VERSION_4, 16, { 169, 254 } },
    { Kind::linkLocal, IN_ADDRESS_VERSION_6, 10, { 0xfe, 0x80 } },
};

bool isOf( Kind kind, IN_ADDRESS *ina )
{
    PB_INT length = inAddressLength( ina );
    for ( const Prefix &prefix : prefixes ) {
        if ( prefix.kind != kind || prefix.version != ina->version )
            continue;
        if ( matchingBits( prefix.bytes, ina->bytes.data(), length ) >= prefix.bits )
            return true;
    }
    return false;
}

IN_ADDRESS *create( PB_INT version, const PB_BYTE *bytes, std::size_t count )
{
    IN_ADDRESS *ina = pb::create<IN_ADDRESS>();
    ina->version = version;
    std::copy_n( bytes, count, ina->bytes.data() );
    return ina;
}

} // namespace

PB_CLASS_DEFINE( IN_ADDRESS, inAddress, nullptr, in___AddressCompareFunc, in___AddressToStringFunc );

IN_ADDRESS *inAddressCreate( PB_INT ver )
{
    PB_ASSERT( IN_ADDRESS_VERSION_OK( ver ) );
    return create( ver, nullptr, 0 );
}

IN_ADDRESS *inAddressCreateV4( const PB_BYTE *addr )
{
    PB_ASSERT( addr );
    return create( IN_ADDRESS_VERSION_4, addr, 4 );
}

IN_ADDRESS *inAddressCreateV6( const PB_BYTE *addr )
{
    PB_ASSERT( addr );
    return create( IN_ADDRESS_VERSION_6, addr, 16 );
}

IN_ADDRESS *inAddressCreateFrom( IN_ADDRESS *ina )
{
    PB_ASSERT( ina );
    return create( ina->version, ina->bytes.data(), ina->bytes.size() );
}

IN_ADDRESS *inAddressCreateV6FromV4( IN_ADDRESS *ina )
{
    PB_ASSERT( ina );
    PB_ASSERT( inAddressVersion( ina ) == IN_ADDRESS_VERSION_4 );
    PB_BYTE bytes[16] = {};
    std::memcpy( bytes + 12, ina->bytes.data(), 4 );
    return inAddressCreateV6( bytes );
}

IN_ADDRESS *inAddressTryCreateFromBuffer( PB_BUFFER *source )
{
    PB_ASSERT( source );
    switch ( pbBufferLength( source ) ) {
    case 4:
        return inAddressCreateV4( pbBufferBacking( source ) );
    case 16:
        return inAddressCreateV6( pbBufferBacking( source ) );
    default:
        return nullptr;
    }
}

PB_INT inAddressVersion( IN_ADDRESS *ina )
{
    PB_ASSERT( ina );
    return ina->version;
}

PB_BOOL inAddressIsV4( IN_ADDRESS *ina )
{
    return inAddressVersion( ina ) == IN_ADDRESS_VERSION_4;
}

PB_BOOL inAddressIsV6( IN_ADDRESS *ina )
{
    return inAddressVersion( ina ) == IN_ADDRESS_VERSION_6;
}

PB_INT inAddressLength( IN_ADDRESS *ina )
{
    PB_ASSERT( ina );
    switch ( ina->version ) {
    case IN_ADDRESS_VERSION_4:
        return 4;
    case IN_ADDRESS_VERSION_6:
        return 16;
    default:
        pb___Abort( "invalid address version", __FILE__, __LINE__, nullptr );
    }
}

const PB_BYTE *inAddressBacking( IN_ADDRESS *ina )
{
    PB_ASSERT( ina );
    return ina->bytes.data();
}

PB_BYTE inAddressByteAt( IN_ADDRESS *ina, PB_INT byteIdx )
{
    PB_ASSERT( ina );
    PB_ASSERT( byteIdx >= 0 );
    PB_ASSERT( byteIdx < inAddressLength( ina ) );
    return ina->bytes[static_cast<std::size_t>( byteIdx )];
}

void inAddressSetByteAt( IN_ADDRESS **ina, PB_INT byteIdx, PB_BYTE byte )
{
    PB_ASSERT( ina );
    PB_ASSERT( *ina );
    PB_ASSERT( byteIdx >= 0 );
    PB_ASSERT( byteIdx < inAddressLength( *ina ) );
    PB_UNSHARE( ina, inAddressCreateFrom ).bytes[static_cast<std::size_t>( byteIdx )] = byte;
}

PB_BUFFER *inAddressToBuffer( IN_ADDRESS *ina )
{
    return pbBufferCreateFromBytesCopy( inAddressBacking( ina ), inAddressLength( ina ) );
}

PB_BOOL inAddressIsAllZero( IN_ADDRESS *ina )
{
    return isOf( Kind::allZero, ina );
}

PB_BOOL inAddressIsLoopback( IN_ADDRESS *ina )
{
    return isOf( Kind::loopback, ina );
}

PB_BOOL inAddressIsPrivate( IN_ADDRESS *ina )
{
    return isOf( Kind::privateUse, ina );
}

PB_BOOL inAddressIsMulticast( IN_ADDRESS *ina )
{
    return isOf( Kind::multicast, ina );
}

PB_BOOL inAddressIsLinkLocalUnicast( IN_ADDRESS *ina )
{
    return isOf( Kind::linkLocal, ina );
}

PB_BOOL inAddressIsGlobalUnicast( IN_ADDRESS *ina )
{
    return !inAddressIsAllZero( ina ) && !inAddressIsMulticast( ina ) && !inAddressIsLinkLocalUnicast( ina ) &&
           !inAddressIsLoopback( ina );
}

PB_BOOL inAddressIsUnicast( IN_ADDRESS *ina )
{
    return inAddressIsGlobalUnicast( ina ) || inAddressIsLinkLocalUnicast( ina ) || inAddressIsLoopback( ina );
}

PB_INT inAddressMatchingBits( IN_ADDRESS *inaA, IN_ADDRESS *inaB )
{
    PB_ASSERT( inaA );
    PB_ASSERT( inaB );
    if ( inaA->version != inaB->version )
        return 0;
    PB_ASSERT( inAddressLength( inaA ) == inAddressLength( inaB ) );
    return matchingBits( inaA->bytes.data(), inaB->bytes.data(), inAddressLength( inaA ) );
}
