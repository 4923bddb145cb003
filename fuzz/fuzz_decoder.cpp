/*
 * The decoder against a model: the first byte of the input says how many reads follow, two bytes each (which read, how
 * many bytes); the rest is what they read. Results, offsets and out arguments must be those of plain slicing.
 */
#include <algorithm>
#include <pb/pb.hpp>
#include <span>
#include <vector>

namespace {

using Bytes = std::span<const uint8_t>;

void check( bool holds )
{
    if ( !holds )
        __builtin_trap();
}

struct Model {
    Bytes payload;
    std::size_t offset = 0;

    bool fits( PB_INT count ) const { return static_cast<std::size_t>( count ) <= payload.size() - offset; }
    Bytes take( PB_INT count )
    {
        auto size = static_cast<std::size_t>( count );
        return payload.subspan( std::exchange( offset, offset + size ), size );
    }
};

bool same( Bytes expected, const void *bytes, PB_INT count )
{
    auto *begin = static_cast<const uint8_t *>( bytes );
    return static_cast<std::size_t>( count ) == expected.size() &&
           std::equal( expected.begin(), expected.end(), begin );
}

void readInt( PB_DECODER *dec, Model &model, PB_INT size )
{
    PB_INT expected = -1;
    PB_INT value = -1;
    bool fits = model.fits( size );
    if ( fits ) {
        expected = 0;
        for ( uint8_t byte : model.take( size ) )
            expected = expected * 256 + byte;
    }
    check( ( size == 2 ? pbDecoderTryReadInt16( dec, &value ) : pbDecoderTryReadInt32( dec, &value ) ) == fits );
    check( value == expected );
}

void readBytes( PB_DECODER *dec, Model &model, PB_INT count )
{
    bool fits = model.fits( count );
    std::vector<PB_BYTE> bytes( fits && count ? static_cast<std::size_t>( count ) : 1, 0xA5 );
    check( pbDecoderTryReadBytes( dec, bytes.data(), count ) == fits );
    check( ( fits && count ) || bytes[0] == 0xA5 );
    check( !fits || same( model.take( count ), bytes.data(), count ) );
}

void readBuffer( PB_DECODER *dec, Model &model, pb::Ref<PB_BUFFER> &buf, PB_INT count )
{
    bool fits = model.fits( count );
    PB_BUFFER *before = buf.get();
    check( pbDecoderTryRead( dec, buf.handle(), count ) == fits );
    if ( fits )
        check( same( model.take( count ), pbBufferBacking( buf.get() ), pbBufferLength( buf.get() ) ) );
    else
        check( buf.get() == before );
}

void step( PB_DECODER *dec, Model &model, pb::Ref<PB_BUFFER> &buf, uint8_t kind, PB_INT count )
{
    if ( kind & 0x80 ) // far beyond any buffer
        count = PB_INT_MAX - count;
    switch ( kind % 6 ) {
    case 0:
        return readInt( dec, model, 2 );
    case 1:
        return readInt( dec, model, 4 );
    case 2:
        return readBytes( dec, model, count );
    case 3:
        return readBuffer( dec, model, buf, count );
    case 4: {
        bool fits = model.fits( count );
        check( pbDecoderTrySkip( dec, count ) == fits );
        if ( fits )
            model.take( count );
        return;
    }
    default:
        PB_BYTE byte = 0;
        bool fits = model.fits( 1 );
        check( pbDecoderTryReadByte( dec, &byte ) == fits );
        check( !fits || byte == model.take( 1 )[0] );
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size );

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    if ( size == 0 )
        return 0;
    Bytes input( data + 1, size - 1 );
    std::size_t steps = std::min<std::size_t>( data[0], input.size() / 2 );
    Model model{ input.subspan( 2 * steps ) };
    pb::Ref<PB_BUFFER> wire =
        pb::adopt( pbBufferCreateFromBytesCopy( model.payload.data(), static_cast<PB_INT>( model.payload.size() ) ) );
    pb::Ref<PB_DECODER> dec = pb::adopt( pbDecoderCreate( wire.get() ) );
    pb::Ref<PB_BUFFER> buf;
    for ( std::size_t i = 0; i < steps; ++i ) {
        step( dec.get(), model, buf, input[2 * i], input[2 * i + 1] );
        check( pbDecoderOffset( dec.get() ) == static_cast<PB_INT>( model.offset ) );
        check( pbDecoderRemaining( dec.get() ) == static_cast<PB_INT>( model.payload.size() - model.offset ) );
    }
    return 0;
}
