/*
 * Buffers. One allocation each; a setter that needs more room replaces the object. Values, so no lock: a writer holds
 * the only reference.
 *
 * Bytes removed in front stay as a gap, and come back when appending needs the room: by moving the bytes down where
 * that costs little compared to what was removed, else in a larger allocation.
 */
#include <algorithm>
#include <cstring>
#include <pb/pb_buffer_private.hpp>

static PB_INT pb___BufferCompFunc( PB_OBJ *thisObj, PB_OBJ *thatObj )
{
    auto *a = static_cast<PB_BUFFER *>( thisObj );
    auto *b = static_cast<PB_BUFFER *>( thatObj );
    int bytes = std::memcmp( a->bytes(), b->bytes(), static_cast<std::size_t>( std::min( a->length, b->length ) ) );
    return bytes ? pb::order( bytes, 0 ) : pb::order( a->length, b->length );
}

static PB_STRING *pb___BufferToStringFunc( PB_OBJ *obj )
{
    auto *buf = static_cast<PB_BUFFER *>( obj );
    std::string digits;
    digits.reserve( static_cast<std::size_t>( buf->length ) * 2 );
    for ( PB_INT at = 0; at < buf->length; ++at ) {
        digits += "0123456789abcdef"[buf->bytes()[at] >> 4];
        digits += "0123456789abcdef"[buf->bytes()[at] & 0xF];
    }
    return pb::string( digits ).give();
}

PB_CLASS_DEFINE( PB_BUFFER, pbBuffer, nullptr, pb___BufferCompFunc, pb___BufferToStringFunc );

namespace {

/** A source of bytes; may lie in the buffer that they are appended to. */
struct Part {
    const PB_BYTE *bytes = nullptr;
    PB_INT count = 0;
};

void copy( PB_BYTE *to, const PB_BYTE *from, PB_INT count )
{
    if ( count > 0 )
        std::memcpy( to, from, static_cast<std::size_t>( count ) );
}

/** An empty buffer with `size` bytes of storage, not initialised. */
PB_BUFFER *newBuffer( PB_INT size )
{
    PB_ASSERT( PB_INT_ADD_OK( size, PB_INT_FROM( sizeof( PB_BUFFER ) ) ) );
    PB_OBJ *memory = pb___ObjCreate( PB_INT_FROM( sizeof( PB_BUFFER ) ) + size, pbBufferSort() );
    return ::new ( memory ) PB_BUFFER{ { pbBufferSort(), {} }, 0, 0, size, size };
}

PB_BUFFER *newBuffer( Part content, PB_INT size )
{
    PB_BUFFER *buf = newBuffer( size );
    copy( buf->bytes(), content.bytes, content.count );
    buf->length = content.count;
    return buf;
}

/** Puts a new buffer in the place of *buf and gives the old one, which a source may still point into. */
pb::Ref<PB_BUFFER> replace( PB_BUFFER **buf, PB_BUFFER *fresh )
{
    return pb::adopt( std::exchange( *buf, fresh ) );
}

bool liesIn( const PB_BUFFER &buf, const PB_BYTE *bytes )
{
    auto begin = reinterpret_cast<uintptr_t>( &buf );
    return reinterpret_cast<uintptr_t>( bytes ) - begin < sizeof( PB_BUFFER ) + static_cast<uintptr_t>( buf.size );
}

PB_INT doubled( PB_INT size )
{
    return PB_INT_MUL_OK( size, 2 ) ? size * 2 : PB_INT_MAX;
}

/**
 * The slow part of makeRoom. Moving down pays when the gap is at least a fourth of the bytes; a smaller gap is left
 * behind by a larger storage under the same capacity, so that no pattern of calls moves a byte more than a few times.
 */
pb::Ref<PB_BUFFER> rearrange( PB_BUFFER **buf, PB_INT needed, const PB_BYTE *source )
{
    PB_BUFFER &old = **buf;
    Part content{ old.bytes(), old.length };
    if ( pb::shared( &old ) )
        return replace( buf, newBuffer( content, needed ) );
    if ( needed <= old.size && old.length / 4 <= old.head && !liesIn( old, source ) ) {
        std::memmove( old.storage(), content.bytes, static_cast<std::size_t>( old.length ) );
        old.head = 0;
        old.capacity = std::max( old.capacity, needed );
        return {};
    }
    PB_BUFFER *grown = newBuffer( content, std::max( needed, doubled( old.capacity ) ) );
    if ( needed <= old.capacity )
        grown->capacity = old.capacity;
    return replace( buf, grown );
}

/** Makes *buf the caller's own, with `count` free bytes at its end. What it replaced lives as long as the result. */
inline pb::Ref<PB_BUFFER> makeRoom( PB_BUFFER **buf, PB_INT count, const PB_BYTE *source = nullptr )
{
    PB_BUFFER &old = **buf;
    PB_ASSERT( PB_INT_ADD_OK( old.length, count ) );
    PB_INT needed = old.length + count;
    if ( pb::shared( &old ) || needed > old.size - old.head )
        return rearrange( buf, needed, source );
    old.capacity = std::max( old.capacity, needed );
    return {};
}

void append( PB_BUFFER **buf, Part first, Part second = {} )
{
    pb::Ref<PB_BUFFER> replaced = makeRoom( buf, first.count + second.count, first.bytes );
    PB_BUFFER &own = **buf;
    copy( own.bytes() + own.length, first.bytes, first.count );
    copy( own.bytes() + own.length + first.count, second.bytes, second.count );
    own.length += first.count + second.count;
}

/** Reduces *buf to a part of it. */
void keep( PB_BUFFER **buf, PB_INT offset, PB_INT count )
{
    PB_BUFFER &own = **buf;
    if ( count == own.length )
        return;
    if ( pb::shared( &own ) ) {
        pb::Ref<PB_BUFFER> replaced = replace( buf, newBuffer( { own.bytes() + offset, count }, count ) );
        return;
    }
    own.head = count > 0 ? own.head + offset : 0;
    own.length = count;
}

} // namespace

PB_BUFFER *pbBufferCreate( void )
{
    return newBuffer( 0 );
}

PB_BUFFER *pbBufferCreateWithCapacity( PB_INT capacity )
{
    PB_ASSERT( capacity >= 0 );
    return newBuffer( capacity );
}

PB_BUFFER *pbBufferCreateFromBytesCopy( const void *bytes, PB_INT count )
{
    PB_ASSERT( count >= 0 );
    PB_ASSERT( bytes || count == 0 );
    return newBuffer( { static_cast<const PB_BYTE *>( bytes ), count }, count );
}

PB_BUFFER *pbBufferCreateFrom( PB_BUFFER *source )
{
    PB_ASSERT( source );
    return newBuffer( { source->bytes(), source->length }, source->length );
}

PB_INT pbBufferLength( PB_BUFFER *buf )
{
    PB_ASSERT( buf );
    return buf->length;
}

PB_INT pbBufferSpace( PB_BUFFER *buf )
{
    PB_ASSERT( buf );
    return buf->capacity - buf->length;
}

const PB_BYTE *pbBufferBacking( PB_BUFFER *buf )
{
    PB_ASSERT( buf );
    return buf->bytes();
}

PB_BYTE pbBufferByteAt( PB_BUFFER *buf, PB_INT index )
{
    PB_ASSERT( buf );
    PB_ASSERT( index >= 0 );
    PB_ASSERT( index < pbBufferLength( buf ) );
    return buf->bytes()[index];
}

void pbBufferReserve( PB_BUFFER **buf, PB_INT space )
{
    PB_ASSERT( buf );
    PB_ASSERT( *buf );
    PB_ASSERT( space >= 0 );
    pb::Ref<PB_BUFFER> replaced = makeRoom( buf, space );
}

PB_BYTE *pbBufferRoom( PB_BUFFER **buf, PB_INT count )
{
    PB_ASSERT( buf );
    PB_ASSERT( *buf );
    PB_ASSERT( count >= 0 );
    pb::Ref<PB_BUFFER> replaced = makeRoom( buf, count );
    return ( *buf )->bytes() + ( *buf )->length;
}

void pbBufferExtend( PB_BUFFER *buf, PB_INT count )
{
    PB_ASSERT( buf );
    PB_ASSERT( count >= 0 );
    PB_ASSERT( count <= pbBufferSpace( buf ) );
    PB_ASSERT( !pb::shared( buf ) );
    buf->length += count;
}

void pbBufferSetByteAt( PB_BUFFER **buf, PB_INT index, PB_BYTE byte )
{
    PB_ASSERT( buf );
    PB_ASSERT( *buf );
    PB_ASSERT( index >= 0 );
    PB_ASSERT( index < pbBufferLength( *buf ) );
    PB_BUFFER &unshared = PB_UNSHARE( buf, pbBufferCreateFrom );
    unshared.bytes()[index] = byte;
}

void pbBufferAppendByte( PB_BUFFER **buf, PB_BYTE byte )
{
    PB_ASSERT( buf );
    PB_ASSERT( *buf );
    pb::Ref<PB_BUFFER> replaced = makeRoom( buf, 1 );
    PB_BUFFER &own = **buf;
    own.bytes()[own.length++] = byte;
}

void pbBufferAppendBytes( PB_BUFFER **buf, const void *bytes, PB_INT count )
{
    PB_ASSERT( buf );
    PB_ASSERT( *buf );
    PB_ASSERT( count >= 0 );
    PB_ASSERT( bytes || count == 0 );
    append( buf, { static_cast<const PB_BYTE *>( bytes ), count } );
}

void pbBufferAppend( PB_BUFFER **buf, PB_BUFFER *source )
{
    PB_ASSERT( buf );
    PB_ASSERT( *buf );
    PB_ASSERT( source );
    append( buf, { source->bytes(), source->length } );
}

static void assertPart( PB_BUFFER **buf, PB_BUFFER *source, PB_INT byteOffset, PB_INT byteCount )
{
    PB_ASSERT( buf );
    PB_ASSERT( *buf );
    PB_ASSERT( source );
    PB_ASSERT( byteOffset >= 0 );
    PB_ASSERT( byteCount >= 0 );
    PB_ASSERT( PB_INT_ADD_OK( byteOffset, byteCount ) );
    PB_ASSERT( byteOffset + byteCount <= pbBufferLength( source ) );
}

void pbBufferAppendInner( PB_BUFFER **buf, PB_BUFFER *source, PB_INT byteOffset, PB_INT byteCount )
{
    assertPart( buf, source, byteOffset, byteCount );
    append( buf, { source->bytes() + byteOffset, byteCount } );
}

void pbBufferAppendOuter( PB_BUFFER **buf, PB_BUFFER *source, PB_INT byteOffset, PB_INT byteCount )
{
    assertPart( buf, source, byteOffset, byteCount );
    PB_INT end = byteOffset + byteCount;
    append( buf, { source->bytes(), byteOffset }, { source->bytes() + end, source->length - end } );
}

void pbBufferDelLeading( PB_BUFFER **buf, PB_INT byteCount )
{
    PB_ASSERT( buf );
    PB_ASSERT( *buf );
    PB_ASSERT( byteCount >= 0 );
    PB_ASSERT( byteCount <= pbBufferLength( *buf ) );
    keep( buf, byteCount, ( *buf )->length - byteCount );
}

void pbBufferDelTrailing( PB_BUFFER **buf, PB_INT byteCount )
{
    PB_ASSERT( buf );
    PB_ASSERT( *buf );
    PB_ASSERT( byteCount >= 0 );
    PB_ASSERT( byteCount <= pbBufferLength( *buf ) );
    keep( buf, 0, ( *buf )->length - byteCount );
}

void pbBufferClear( PB_BUFFER **buf )
{
    PB_ASSERT( buf );
    PB_ASSERT( *buf );
    if ( pb::shared( *buf ) )
        pb::Ref<PB_BUFFER> replaced = replace( buf, newBuffer( ( *buf )->capacity ) );
    else
        keep( buf, 0, 0 );
}

PB_INT pbBufferBitLength( PB_BUFFER *buf )
{
    PB_ASSERT( buf );
    PB_ASSERT( PB_INT_MUL_OK( buf->length, 8 ) );
    return buf->length * 8;
}

void pbBufferClearBits( PB_BUFFER **buf, PB_INT bitOffset, PB_INT bitCount )
{
    PB_ASSERT( buf );
    PB_ASSERT( *buf );
    PB_ASSERT( bitOffset >= 0 );
    PB_ASSERT( bitCount >= 0 );
    PB_ASSERT( PB_INT_ADD_OK( bitOffset, bitCount ) );
    PB_ASSERT( bitOffset + bitCount <= pbBufferBitLength( *buf ) );
    PB_BUFFER &unshared = PB_UNSHARE( buf, pbBufferCreateFrom );
    PB_INT end = bitOffset + bitCount;
    for ( PB_INT at = bitOffset; at < end; ) {
        PB_INT next = std::min( end, ( at | 7 ) + 1 );
        unsigned cleared = ( 0xFFU >> ( at & 7 ) ) & ( 0xFFU << ( ( 8 - ( next & 7 ) ) & 7 ) );
        unshared.bytes()[at / 8] &= static_cast<PB_BYTE>( ~cleared );
        at = next;
    }
}
