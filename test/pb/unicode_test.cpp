/* UTF-8, white space, digits, byte encodings. */
#include <pb/pb_text.hpp>
#include <support/misuse.h>

namespace {

constexpr PB_CHAR bad = 0xFFFD;

struct Utf8Row {
    std::string bytes;
    std::u32string chars;
    bool wellFormed;
};

const std::vector<Utf8Row> utf8Rows = {
    { "", U"", true },
    { "a b", U"a b", true },
    { std::string( "a\0b", 3 ), std::u32string( U"a\0b", 3 ), true },
    { "\x7F", U"\x7F", true },
    { "\xC2\x80", U"\x80", true },
    { "\xDF\xBF", U"\x7FF", true },
    { "\xE0\xA0\x80", U"\x800", true },
    { "\xED\x9F\xBF", U"\xD7FF", true },
    { "\xEE\x80\x80", U"\xE000", true },
    { "\xEF\xBF\xBF", U"\xFFFF", true },
    { "\xF0\x90\x80\x80", U"\x10000", true },
    { "\xF4\x8F\xBF\xBF", U"\x10FFFF", true },
    { "x\xC3\xA4y", U"x\xE4y", true },
    { "\x80", { bad }, false }, // continuation alone
    { "\xBF\x80", { bad, bad }, false },
    { "\xC0\xAF", { bad, bad }, false },                   // overlong in two bytes
    { "\xE0\x9F\xBF", { bad, bad, bad }, false },          // in three
    { "\xF0\x8F\xBF\xBF", { bad, bad, bad, bad }, false }, // in four
    { "\xED\xA0\x80", { bad, bad, bad }, false },          // surrogate
    { "\xED\xBF\xBF", { bad, bad, bad }, false },
    { "\xF4\x90\x80\x80", { bad, bad, bad, bad }, false }, // beyond the last plane
    { "\xFE\xFF", { bad, bad }, false },
    { "\xC3", { bad }, false }, // cut off at the end
    { "\xE2\x82", { bad }, false },
    { "\xF0\x9F\x98", { bad }, false },
    { "\xC3z", { bad, 'z' }, false }, // cut off inside
    { "\xE2\x82z", { bad, 'z' }, false },
    { "\xF0\x9F\x98\xC3\xA4", { bad, 0xE4 }, false },
    { "\xF0\x9F\x98\xF0\x9F\x98\x80", { bad, 0x1F600 }, false },
    { "a\xF1\x80\x80\xE1\x80\xC2z", { 'a', bad, bad, bad, 'z' }, false },
};

std::u32string charsOf( PB_STRING *str )
{
    pb::Chars chars = pb::chars( str );
    return { chars.begin(), chars.end() };
}

pb::Ref<PB_STRING> convert( PB_INT charset, const std::string &bytes, PB_INT flags )
{
    auto buf = pb::adopt( pbBufferCreateFromBytesCopy( bytes.data(), PB_INT_FROM( bytes.size() ) ) );
    return pb::adopt( pbCharsetTryConvertBufferToStringWithFlags( charset, buf.get(), flags ) );
}

} // namespace

TEST( Unicode, Utf8 )
{
    for ( const Utf8Row &row : utf8Rows ) {
        SCOPED_TRACE( testing::PrintToString( row.bytes ) );
        const char *cstr = row.bytes.data();
        PB_INT length = PB_INT_FROM( row.bytes.size() );
        pb::Ref<PB_STRING> str = test::str( row.bytes );
        EXPECT_EQ( charsOf( str.get() ), row.chars );
        EXPECT_TRUE( pbStringEqualsCstr( str.get(), cstr, length ) );
        EXPECT_TRUE( pbStringBeginsWithCstr( str.get(), cstr, length ) );
        EXPECT_TRUE( pbStringEqualsCaseFoldCstr( str.get(), cstr, length ) );
        EXPECT_EQ( pb::text( str.get() ) == row.bytes, row.wellFormed );

        pb::Ref<PB_STRING> longer = test::str( "<" );
        pbStringAppendCstr( longer.handle(), cstr, length );
        pbStringAppendChar( longer.handle(), '>' );
        EXPECT_EQ( charsOf( longer.get() ), U'<' + row.chars + U'>' );

        pb::Ref<PB_STRING> strict = convert( PB_CHARSET_UTF8, row.bytes, 0 );
        EXPECT_EQ( bool( strict ), row.wellFormed );
        EXPECT_EQ( charsOf( convert( PB_CHARSET_UTF8, row.bytes, PB_CHARSET_FLAG_REPLACE ).get() ), row.chars );
    }
}

TEST( Unicode, SurrogatesHaveNoUtf8 )
{
    PB_CHAR surrogates[] = { 0xD800, 'x', 0xDFFF };
    EXPECT_EQ(
        pb::text( pb::adopt( pbStringCreateFromCharsCopy( surrogates, 3 ) ).get() ), "\xEF\xBF\xBDx\xEF\xBF\xBD" );
}

TEST( Unicode, Ascii )
{
    EXPECT_EQ( charsOf( convert( PB_CHARSET_ASCII, "az\x7F", 0 ).get() ), U"az\x7F" );
    EXPECT_FALSE( convert( PB_CHARSET_ASCII, "a\xC3\xA4", 0 ) );
    EXPECT_EQ( charsOf( convert( PB_CHARSET_ASCII, "a\xC3\xA4", PB_CHARSET_FLAG_REPLACE ).get() ), U"a\xFFFD\xFFFD" );
}

TEST( Unicode, WhiteSpaceIsTheUnicodeProperty )
{
    std::u32string spaces;
    for ( PB_CHAR ch = 0; ch <= PB_CHAR_MAX; ++ch ) {
        if ( pbUnicodeIsWhiteSpace( ch ) )
            spaces += ch;
    }
    EXPECT_EQ( spaces, U"\t\n\v\f\r \x85\xA0\x1680\x2000\x2001\x2002\x2003\x2004\x2005\x2006\x2007\x2008\x2009\x200A"
                       U"\x2028\x2029\x202F\x205F\x3000" );
    EXPECT_FALSE( pbUnicodeIsWhiteSpace( UINT32_MAX ) );
}

TEST( Unicode, HexadecimalDigits )
{
    std::u32string digits;
    for ( PB_CHAR ch = 0; ch <= PB_CHAR_MAX; ++ch ) {
        if ( PB_INT value = pbUnicodeHexadecimalDigitValue( ch ); value != -1 ) {
            digits += ch;
            EXPECT_EQ( value, std::stoi( std::string( 1, char( ch ) ), nullptr, 16 ) );
        }
    }
    EXPECT_EQ( digits, U"0123456789ABCDEFabcdef" );
}

TEST( Unicode, Misuse )
{
    test::expectAborts( {
        { "PB_CHARSET_OK( charset )", [] { convert( 2, "", 0 ); } },
        { "PB_CHARSET_OK( charset )", [] { convert( -1, "", 0 ); } },
        { "( flags & ~PB_CHARSET_FLAG_REPLACE ) == 0", [] { convert( 0, "", 2 ); } },
        { "buf", [] { pbCharsetTryConvertBufferToStringWithFlags( 0, nullptr, 0 ); } },
    } );
}
