/* Buffers: every operation against plain bytes, alone and shared; the gap in front; bits. */
#include <algorithm>
#include <random>
#include <support/test_support.h>

namespace {

using Bytes = std::vector<PB_BYTE>;

Bytes bytesOf( PB_BUFFER *buf )
{
    const PB_BYTE *bytes = pbBufferBacking( buf );
    return { bytes, bytes + pbBufferLength( buf ) };
}

pb::Ref<PB_BUFFER> buffer( std::string_view bytes )
{
    return pb::adopt( pbBufferCreateFromBytesCopy( bytes.data(), PB_INT_FROM( bytes.size() ) ) );
}

PB_INT sizeOf( const Bytes &bytes )
{
    return PB_INT_FROM( bytes.size() );
}

std::mt19937 generator{ 1 };

PB_INT upTo( PB_INT most )
{
    return std::uniform_int_distribution<PB_INT>( 0, most )( generator );
}

/** A buffer and the bytes that it should hold. */
struct Model {
    pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreate() );
    Bytes bytes;

    PB_INT size() const { return sizeOf( bytes ); }
    void copyBehind( PB_INT offset, PB_INT count )
    {
        for ( PB_INT at = offset; at < offset + count; ++at )
            bytes.push_back( Bytes::value_type{ bytes[static_cast<std::size_t>( at )] } );
    }
};

/** Changes the buffer and the bytes alike; sources are the buffer itself where that is possible. */
using Operation = void ( * )( Model &model, PB_BUFFER **buf );

void reserve( Model &, PB_BUFFER **buf )
{
    PB_INT space = upTo( 100 );
    pbBufferReserve( buf, space );
    EXPECT_GE( pbBufferSpace( *buf ), space );
}

const Operation operations[] = {
    reserve,
    []( Model &model, PB_BUFFER **buf ) { // AppendBytes
        Bytes added( static_cast<std::size_t>( upTo( 40 ) ) );
        std::generate( added.begin(), added.end(), [] { return static_cast<PB_BYTE>( upTo( 255 ) ); } );
        pbBufferAppendBytes( buf, added.data(), sizeOf( added ) );
        model.bytes.insert( model.bytes.end(), added.begin(), added.end() );
    },
    []( Model &model, PB_BUFFER **buf ) { // AppendBytes of its own
        PB_INT count = std::min<PB_INT>( 10, model.size() );
        pbBufferAppendBytes( buf, pbBufferBacking( *buf ), count );
        model.copyBehind( 0, count );
    },
    []( Model &model, PB_BUFFER **buf ) { // AppendByte
        pbBufferAppendByte( buf, 0xA5 );
        model.bytes.push_back( 0xA5 );
    },
    []( Model &model, PB_BUFFER **buf ) { // Append
        if ( model.size() > 500 )
            return;
        pbBufferAppend( buf, *buf );
        model.copyBehind( 0, model.size() );
    },
    []( Model &model, PB_BUFFER **buf ) { // AppendInner
        PB_INT offset = upTo( model.size() );
        PB_INT count = upTo( std::min<PB_INT>( 20, model.size() - offset ) );
        pbBufferAppendInner( buf, *buf, offset, count );
        model.copyBehind( offset, count );
    },
    []( Model &model, PB_BUFFER **buf ) { // AppendOuter
        PB_INT size = model.size();
        PB_INT offset = std::min<PB_INT>( upTo( 15 ), size );
        PB_INT end = std::max( offset, size - upTo( 15 ) );
        pbBufferAppendOuter( buf, *buf, offset, end - offset );
        model.copyBehind( 0, offset );
        model.copyBehind( end, size - end );
    },
    []( Model &model, PB_BUFFER **buf ) { // DelLeading
        PB_INT count = upTo( model.size() );
        pbBufferDelLeading( buf, count );
        model.bytes.erase( model.bytes.begin(), model.bytes.begin() + count );
    },
    []( Model &model, PB_BUFFER **buf ) { // DelTrailing
        PB_INT count = upTo( std::min<PB_INT>( 60, model.size() ) );
        pbBufferDelTrailing( buf, count );
        model.bytes.resize( model.bytes.size() - static_cast<std::size_t>( count ) );
    },
    []( Model &model, PB_BUFFER **buf ) { // SetByteAt, Clear
        if ( PB_INT at = upTo( 20 ); at < model.size() ) {
            pbBufferSetByteAt( buf, at, 0x5A );
            model.bytes[static_cast<std::size_t>( at )] = 0x5A;
        } else {
            pbBufferClear( buf );
            model.bytes.clear();
        }
    },
};

} // namespace

/** Random operations, a tenth of them on a shared buffer: the result is right, and the other holder's is untouched. */
TEST( Buffer, BehavesAsBytes )
{
    Model model;
    for ( int step = 0; step < 20000; ++step ) {
        pb::Ref<PB_BUFFER> other = upTo( 9 ) == 0 ? model.buf : nullptr;
        Bytes before = model.bytes;
        PB_INT capacity = model.size() + pbBufferSpace( model.buf.get() );
        auto chosen = static_cast<std::size_t>( upTo( std::size( operations ) - 1 ) );
        SCOPED_TRACE( "step " + std::to_string( step ) + ", operation " + std::to_string( chosen ) );
        operations[chosen]( model, model.buf.handle() );
        ASSERT_EQ( bytesOf( model.buf.get() ), model.bytes );
        ASSERT_TRUE( !other || bytesOf( other.get() ) == before );
        bool fits = !other && chosen != 0 && model.size() <= capacity;
        ASSERT_TRUE( !fits || model.size() + pbBufferSpace( model.buf.get() ) == capacity ) << "grew without need";
    }
}

/** A full queue, a byte in and a byte out: the bytes move seldom, and the memory does not grow without end. */
TEST( Buffer, QueueMovesItsBytesSeldom )
{
    for ( PB_INT capacity : { 1, 2, 16, 4096 } ) {
        pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreateWithCapacity( capacity ) );
        for ( PB_INT at = 0; at < capacity; ++at )
            pbBufferAppendByte( buf.handle(), static_cast<PB_BYTE>( at ) );
        PB_INT moved = 0;
        const PB_INT rounds = 20 * capacity;
        for ( PB_INT at = capacity; at < capacity + rounds; ++at ) {
            ASSERT_EQ( pbBufferByteAt( buf.get(), 0 ), static_cast<PB_BYTE>( at - capacity ) );
            const PB_BYTE *before = pbBufferBacking( buf.get() );
            pbBufferDelLeading( buf.handle(), 1 );
            pbBufferAppendByte( buf.handle(), static_cast<PB_BYTE>( at ) );
            if ( pbBufferBacking( buf.get() ) != before + 1 )
                moved += pbBufferLength( buf.get() );
            ASSERT_EQ( pbBufferSpace( buf.get() ), 0 );
        }
        EXPECT_LE( moved, 5 * rounds );
    }
}

TEST( Buffer, ClearBits )
{
    pb::Ref<PB_BUFFER> ones = buffer( "\xFF\xFF\xFF\xFF" );
    for ( PB_INT offset = 0; offset <= 32; ++offset )
        for ( PB_INT count = 0; offset + count <= 32; ++count ) {
            pb::Ref<PB_BUFFER> buf = ones;
            pbBufferClearBits( buf.handle(), offset, count );
            for ( PB_INT bit = 0; bit < 32; ++bit ) {
                bool set = pbBufferByteAt( buf.get(), bit / 8 ) & ( 0x80 >> bit % 8 );
                ASSERT_EQ( set, bit < offset || bit >= offset + count ) << offset << ' ' << count << ' ' << bit;
            }
        }
    EXPECT_EQ( test::textOf( ones.get() ), "ffffffff" );
}
