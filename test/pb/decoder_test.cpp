/* The decoder. */
#include <support/misuse.h>

namespace {

pb::Ref<PB_DECODER> decoderOf( std::string_view bytes )
{
    pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreateFromBytesCopy( bytes.data(), PB_INT( bytes.size() ) ) );
    return pb::adopt( pbDecoderCreate( buf.get() ) );
}

/** One read of any kind: what it gave as an integer or as hexadecimal digits, "-" for false. */
std::string read( PB_DECODER *dec, char kind, PB_INT count )
{
    PB_BYTE byte = 0;
    PB_INT value = 0;
    pb::Ref<PB_BUFFER> buf;
    std::vector<PB_BYTE> bytes( std::size_t( count < 64 ? count : 64 ) );
    switch ( kind ) {
    case 'b':
        return pbDecoderTryReadByte( dec, &byte ) ? std::to_string( byte ) : "-";
    case '2':
        return pbDecoderTryReadInt16( dec, &value ) ? std::to_string( value ) : "-";
    case '4':
        return pbDecoderTryReadInt32( dec, &value ) ? std::to_string( value ) : "-";
    case 's':
        return pbDecoderTrySkip( dec, count ) ? "ok" : "-";
    case 'r':
        return pbDecoderTryRead( dec, buf.handle(), count ) ? test::textOf( buf.get() ) : "-";
    default:
        if ( !pbDecoderTryReadBytes( dec, bytes.data(), count ) )
            return "-";
        buf = pb::adopt( pbBufferCreateFromBytesCopy( bytes.data(), count ) );
        return test::textOf( buf.get() );
    }
}

} // namespace

TEST( Decoder, ReadsWithinItsBounds )
{
    struct Row {
        char kind;
        PB_INT count;
        std::string result;
        PB_INT offset; // afterwards
    };
    pb::Ref<PB_DECODER> dec = decoderOf( "\x01\x80\x02\xff\xfe\xfd\xfc\x0a\x0b\x0c\x0d\x0e" );
    const std::vector<Row> rows = { { 'b', 0, "1", 1 }, { '2', 0, "32770", 3 }, { '4', 0, "4294901244", 7 },
        { 's', 6, "-", 7 }, { 'n', 6, "-", 7 }, { 'r', 6, "-", 7 }, { 'r', PB_INT_MAX, "-", 7 },
        { 's', PB_INT_MAX, "-", 7 }, { 'n', PB_INT_MAX, "-", 7 }, { 'n', 0, "", 7 }, { 'n', 1, "0a", 8 },
        { 's', 0, "ok", 8 }, { 's', 1, "ok", 9 }, { '4', 0, "-", 9 }, { 'r', 0, "", 9 }, { 'r', 2, "0c0d", 11 },
        { '2', 0, "-", 11 }, { 'b', 0, "14", 12 }, { 'b', 0, "-", 12 }, { 'r', 0, "", 12 }, { 's', 1, "-", 12 } };
    for ( const Row &row : rows ) {
        EXPECT_EQ( read( dec.get(), row.kind, row.count ), row.result )
            << row.kind << row.count << " at " << row.offset;
        EXPECT_EQ( pbDecoderOffset( dec.get() ), row.offset );
        EXPECT_EQ( pbDecoderRemaining( dec.get() ), 12 - row.offset );
    }
}

TEST( Decoder, AFailedReadLeavesTheOutArgument )
{
    pb::Ref<PB_DECODER> dec = decoderOf( "\x01" );
    PB_INT value = 77;
    pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreateFromBytesCopy( "x", 1 ) );
    PB_BUFFER *before = buf.get();
    EXPECT_FALSE( pbDecoderTryReadInt16( dec.get(), &value ) || pbDecoderTryReadInt32( dec.get(), &value ) );
    EXPECT_FALSE( pbDecoderTryRead( dec.get(), buf.handle(), 2 ) );
    EXPECT_EQ( value, 77 );
    EXPECT_EQ( buf.get(), before );
    EXPECT_TRUE( pbDecoderTryRead( dec.get(), buf.handle(), 1 ) );
    EXPECT_EQ( test::textOf( buf.get() ), "01" );
}

TEST( Decoder, KeepsTheBytesThatItBeganWith )
{
    pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreateFromBytesCopy( "ab", 2 ) );
    pb::Ref<PB_DECODER> dec = pb::adopt( pbDecoderCreate( buf.get() ) );
    pbBufferClear( buf.handle() );
    EXPECT_EQ( read( dec.get(), 'r', 2 ), "6162" );
}

TEST( DecoderDeathTest, Misuse )
{
    pb::Ref<PB_DECODER> dec = decoderOf( "abc" );
    PB_BYTE byte = 0;
    pb::Ref<PB_BUFFER> buf;
    test::expectAborts( {
        { "buf", [] { pbDecoderCreate( nullptr ); } },
        { "dec", [&] { pbDecoderTryReadByte( nullptr, &byte ); } },
        { "count >= 0", [&] { pbDecoderTrySkip( dec.get(), -1 ); } },
        { "count >= 0", [&] { pbDecoderTryRead( dec.get(), buf.handle(), -1 ); } },
        { "buf", [&] { pbDecoderTryRead( dec.get(), nullptr, 1 ); } },
        { "bytes || !count", [&] { pbDecoderTryReadBytes( dec.get(), nullptr, 1 ); } },
        { "value", [&] { pbDecoderTryReadInt16( dec.get(), nullptr ); } },
    } );
}
