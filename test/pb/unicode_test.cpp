/* UTF-8, white space, digits, byte encodings. */
#include <pb/pb_text.hpp>
#include <support/test_support.h>

namespace {

constexpr PB_CHAR bad = 0xFFFD;

/** Replaced characters show which rows are ill-formed. */
const std::pair<std::string, std::u32string> utf8Rows[] = { { "", U"" }, { std::string( "a\0b", 3 ), { 'a', 0, 'b' } },
    { "\x7F", U"\x7F" }, { "\xC2\x80", U"\x80" }, { "\xDF\xBF", U"\x7FF" }, { "\xE0\xA0\x80", U"\x800" },
    { "\xED\x9F\xBF", U"\xD7FF" }, { "\xEE\x80\x80", U"\xE000" }, { "\xEF\xBF\xBF", U"\xFFFF" },
    { "\xF0\x90\x80\x80", U"\x10000" }, { "\xF4\x8F\xBF\xBF", U"\x10FFFF" }, { "x\xC3\xA4y", U"x\xE4y" },
    { "\x80", { bad } }, { "\xBF\x80", { bad, bad } },                            // continuation alone
    { "\xC0\xAF", { bad, bad } }, { "\xE0\x9F\xBF", { bad, bad, bad } },          // overlong
    { "\xF0\x8F\xBF\xBF", { bad, bad, bad, bad } },                               //
    { "\xED\xA0\x80", { bad, bad, bad } }, { "\xED\xBF\xBF", { bad, bad, bad } }, // surrogates
    { "\xF4\x90\x80\x80", { bad, bad, bad, bad } }, { "\xFE\xFF", { bad, bad } }, // beyond the last plane
    { "\xC3", { bad } }, { "\xE2\x82", { bad } }, { "\xF0\x9F\x98", { bad } },    // cut off at the end
    { "\xC3z", { bad, 'z' } }, { "\xE2\x82z", { bad, 'z' } },                     // cut off inside
    { "\xF0\x9F\x98\xC3\xA4", { bad, 0xE4 } }, { "\xF0\x9F\x98\xF0\x9F\x98\x80", { bad, 0x1F600 } }, //
    { "a\xF1\x80\x80\xE1\x80\xC2z", { 'a', bad, bad, bad, 'z' } } };

std::u32string charsOf( PB_STRING *str )
{
    pb::Chars chars = pb::chars( str );
    return { chars.begin(), chars.end() };
}

pb::Ref<PB_STRING> convert( PB_INT charset, const std::string &bytes, PB_INT flags )
{
    return pb::adopt( pbCharsetTryConvertBufferToStringWithFlags( charset, test::buffer( bytes ).get(), flags ) );
}

} // namespace

TEST( Unicode, Utf8 )
{
    for ( const auto &[bytes, chars] : utf8Rows ) {
        SCOPED_TRACE( testing::PrintToString( bytes ) );
        const char *cstr = bytes.data();
        PB_INT length = PB_INT_FROM( bytes.size() );
        pb::Ref<PB_STRING> str = test::str( bytes );
        EXPECT_EQ( charsOf( str.get() ), chars );
        EXPECT_TRUE( pbStringEqualsCstr( str.get(), cstr, length ) );
        EXPECT_TRUE( pbStringBeginsWithCstr( str.get(), cstr, length ) );
        EXPECT_TRUE( pbStringEqualsCaseFoldCstr( str.get(), cstr, length ) );
        bool wellFormed = chars.find( bad ) == chars.npos;
        EXPECT_EQ( pb::text( str.get() ) == bytes, wellFormed );
        pbStringAppendCstr( str.handle(), cstr, length );
        EXPECT_EQ( charsOf( str.get() ), chars + chars );
        EXPECT_EQ( bool( convert( PB_CHARSET_UTF8, bytes, 0 ) ), wellFormed );
        EXPECT_EQ( charsOf( convert( PB_CHARSET_UTF8, bytes, PB_CHARSET_FLAG_REPLACE ).get() ), chars );
    }
}

TEST( Unicode, AsciiAndSurrogates )
{
    PB_CHAR surrogates[] = { 0xD800, 'x', 0xDFFF }; // have no UTF-8 form
    EXPECT_EQ( pb::text( pb::adopt( pbStringCreateFromCharsCopy( surrogates, 3 ) ).get() ), "\uFFFDx\uFFFD" );
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
