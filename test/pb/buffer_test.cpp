/* Buffers: every operation against plain bytes, alone and shared; the gap in front; bits. */
#include "container_support.h"

using test::bytesOf;

/** Random operations, a tenth of them on a shared buffer: the result is right, and the other holder's is untouched. */
TEST( Buffer, BehavesAsBytes )
{
    test::Dice dice;
    pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreate() );
    std::string model;
    for ( int step = 0; step < 20000; ++step ) {
        pb::Ref<PB_BUFFER> other = dice( 0, 9 ) ? nullptr : buf;
        const std::string before = model;
        auto size = PB_INT( model.size() );
        PB_INT at = dice( 0, size ), count = dice( 0, std::min<PB_INT>( 20, size - at ) );
        std::string part = model.substr( std::size_t( at ), std::size_t( count ) );
        PB_INT capacity = size + pbBufferSpace( buf.get() ), chosen = dice( 0, size > 500 ? 6 : 9 );
        switch ( chosen ) {
        case 0:
            pbBufferReserve( buf.handle(), at );
            ASSERT_GE( pbBufferSpace( buf.get() ), at );
            break;
        case 1:
            pbBufferDelLeading( buf.handle(), at );
            model.erase( 0, std::size_t( at ) );
            break;
        case 2:
        case 3:
            pbBufferDelTrailing( buf.handle(), count );
            model.resize( std::size_t( size - count ) );
            break;
        case 4:
            at < size ? pbBufferSetByteAt( buf.handle(), at, 'Z' ) : pbBufferClear( buf.handle() );
            at < size ? void( model[std::size_t( at )] = 'Z' ) : model.clear();
            break;
        case 5:
            pbBufferAppendBytes( buf.handle(), pbBufferBacking( buf.get() ) + at, count ); // of its own
            model += part;
            break;
        case 6:
            pbBufferAppendByte( buf.handle(), PB_BYTE( at ) );
            model += static_cast<char>( at );
            break;
        case 7:
            pbBufferAppend( buf.handle(), buf.get() );
            model += before;
            break;
        case 8:
            pbBufferAppendInner( buf.handle(), buf.get(), at, count );
            model += part;
            break;
        default:
            pbBufferAppendOuter( buf.handle(), buf.get(), at, count );
            model += before.substr( 0, std::size_t( at ) ) + before.substr( std::size_t( at + count ) );
        }
        ASSERT_EQ( bytesOf( buf.get() ), model ) << "step " << step << ", operation " << chosen;
        ASSERT_TRUE( !other || bytesOf( other.get() ) == before );
        bool fits = !other && chosen != 0 && PB_INT( model.size() ) <= capacity;
        ASSERT_TRUE( !fits || PB_INT( model.size() ) + pbBufferSpace( buf.get() ) == capacity ) << "grew without need";
    }
}

/** A full queue, a byte in and a byte out: the bytes move seldom, and the memory does not grow without end. */
TEST( Buffer, QueueMovesItsBytesSeldom )
{
    for ( PB_INT capacity : { 1, 2, 16, 4096 } ) {
        pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreateWithCapacity( capacity ) );
        PB_INT moved = 0;
        for ( PB_INT at = 0; at < 21 * capacity; ++at ) {
            const PB_BYTE *before = pbBufferBacking( buf.get() );
            if ( at >= capacity )
                pbBufferDelLeading( buf.handle(), 1 );
            pbBufferAppendByte( buf.handle(), static_cast<PB_BYTE>( at ) );
            if ( at >= capacity && pbBufferBacking( buf.get() ) != before + 1 )
                moved += pbBufferLength( buf.get() );
        }
        EXPECT_EQ( pbBufferSpace( buf.get() ), 0 );
        EXPECT_LE( moved, 5 * 20 * capacity );
    }
}

TEST( Buffer, ClearBits )
{
    pb::Ref<PB_BUFFER> ones = pb::adopt( pbBufferCreateFromBytesCopy( "\xFF\xFF\xFF\xFF", 4 ) );
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
