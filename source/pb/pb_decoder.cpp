/* The cursor over the bytes of a buffer. `take` is the one place where a length is checked. */
#include <cstring>
#include <pb/pb.hpp>

struct PB_DECODER : PB_OBJ {
    pb::Ref<PB_BUFFER> buf;
    PB_INT offset = 0;

    PB_INT remaining() const { return pbBufferLength( buf.get() ) - offset; }
    /** Moves past the next `count` bytes and gives the first of them; moves nothing when there are fewer. */
    bool take( PB_INT count, const PB_BYTE *&bytes )
    {
        if ( count > remaining() )
            return false;
        bytes = pbBufferBacking( buf.get() ) + std::exchange( offset, offset + count );
        return true;
    }
};

PB_CLASS_DEFINE( PB_DECODER, pbDecoder, pb::destroy<PB_DECODER>, nullptr, nullptr );

PB_DECODER *pbDecoderCreate( PB_BUFFER *buf )
{
    PB_ASSERT( buf );
    return pb::create<PB_DECODER>( pb::share( buf ), 0 );
}

PB_INT pbDecoderOffset( PB_DECODER *dec )
{
    PB_ASSERT( dec );
    return dec->offset;
}

PB_INT pbDecoderRemaining( PB_DECODER *dec )
{
    PB_ASSERT( dec );
    return dec->remaining();
}

PB_BOOL pbDecoderTryReadByte( PB_DECODER *dec, PB_BYTE *byte )
{
    PB_ASSERT( dec );
    PB_ASSERT( byte );
    return pbDecoderTryReadBytes( dec, byte, 1 );
}

PB_BOOL pbDecoderTryReadBytes( PB_DECODER *dec, PB_BYTE *bytes, PB_INT count )
{
    PB_ASSERT( dec );
    PB_ASSERT( count >= 0 );
    PB_ASSERT( bytes || !count );
    const PB_BYTE *taken;
    if ( !dec->take( count, taken ) )
        return false;
    if ( count > 0 ) // an empty buffer may have no memory at all
        std::memcpy( bytes, taken, static_cast<std::size_t>( count ) );
    return true;
}

static bool readInt( PB_DECODER *dec, PB_INT *value, PB_INT size )
{
    const PB_BYTE *bytes;
    if ( !dec->take( size, bytes ) )
        return false;
    *value = 0;
    for ( PB_INT i = 0; i < size; ++i )
        *value = *value << 8 | bytes[i];
    return true;
}

PB_BOOL pbDecoderTryReadInt16( PB_DECODER *dec, PB_INT *value )
{
    PB_ASSERT( dec );
    PB_ASSERT( value );
    return readInt( dec, value, 2 );
}

PB_BOOL pbDecoderTryReadInt32( PB_DECODER *dec, PB_INT *value )
{
    PB_ASSERT( dec );
    PB_ASSERT( value );
    return readInt( dec, value, 4 );
}

PB_BOOL pbDecoderTryRead( PB_DECODER *dec, PB_BUFFER **buf, PB_INT count )
{
    PB_ASSERT( dec );
    PB_ASSERT( buf );
    PB_ASSERT( count >= 0 );
    const PB_BYTE *bytes;
    if ( !dec->take( count, bytes ) )
        return false;
    pb::Ref<PB_BUFFER> replaced = pb::adopt( std::exchange( *buf, pbBufferCreateFromBytesCopy( bytes, count ) ) );
    return true;
}

PB_BOOL pbDecoderTrySkip( PB_DECODER *dec, PB_INT count )
{
    PB_ASSERT( dec );
    PB_ASSERT( count >= 0 );
    const PB_BYTE *skipped;
    return dec->take( count, skipped );
}
