/* Formatted strings: what each directive writes, what is malformed, who owns the arguments. */
#include <support/test_support.h>

namespace {

struct FormatRow {
    const char *format;
    PB_INT value;
    std::string text;
};

} // namespace

TEST( Format, Integers )
{
    const FormatRow rows[] = { { "%i", 0, "0" }, { "<%i>", PB_INT_MAX, "<9223372036854775807>" },
        { "%i", PB_INT_MIN, "-9223372036854775808" }, { "%!16i", PB_INT_MIN, "-8000000000000000" },
        { "%^!16i", 0xBEEF, "BEEF" }, { "%!2i", PB_INT_MIN, "-1" + std::string( 63, '0' ) }, { "%^!36i", 35, "Z" },
        { "%^02!16i", 0xA, "0A" }, { "%^02!16i", 0xABC, "ABC" }, { "%03i", -7, "-007" }, { "%03i", 0, "000" },
        { "%4i", -7, "  -7" }, { "%2i", 12345, "12345" }, { "%10!16i", -255, "       -ff" },
        { "100%% of %i%%", 3, "100% of 3%" }, { "\u00E4%i\xE2\x82%%", 1, "\u00E41\uFFFD%" } };
    for ( const FormatRow &row : rows )
        EXPECT_EQ( pb::text( pb::format( row.format, row.value ).get() ), row.text ) << row.format;
}

TEST( Format, OtherArguments )
{
    pb::Ref<PB_STRING> str = test::str( "\u00FCb" ), none;
    pb::Ref<PB_BOXED_INT> boxed = pb::adopt( pbBoxedIntCreate( -5 ) );
    auto text = pb::format( "%s|%o|%o|%s|%~o|%b|%b|%c", str, str, boxed, none, none, true, false, pb::Char{ 0x1F600 } );
    EXPECT_EQ( pb::text( text.get() ), "\u00FCb|\u00FCb|-5|null|null|true|false|\U0001F600" );
    text = pb::format( "%4s|%4o|%5b|%2c|%1s|%6s", str, boxed, true, pb::Char{ 'x' }, str, none );
    EXPECT_EQ( pb::text( text.get() ), "  \u00FCb|  -5| true| x|\u00FCb|  null" );
    EXPECT_EQ( pb::text( pb::format( "%999i", 1 ).get() ), std::string( 998, ' ' ) + "1" );
    EXPECT_EQ( test::take( pbStringCreateFromFormatCstr( "%i%i", 2, PB_INT_FROM( 4 ) ) ), "4" );
}

/** What does not fit the formatter's own array comes out whole: pieces of every length around its size. */
TEST( Format, LongTexts )
{
    for ( std::size_t length : { 254U, 255U, 256U, 257U, 511U, 512U, 513U, 2000U } ) {
        std::string text( length, 'x' );
        EXPECT_EQ( pb::text( pb::format( "%~s-%i", test::str( text ).give(), 1 ).get() ), text + "-1" );
        EXPECT_EQ( pb::text( pb::format( text.c_str() ).get() ), text );
    }
}

TEST( Format, MalformedGivesNull )
{
    for ( const char *format : { "%", "text %", "%q", "%I", "%~i", "%~b", "%~c", "%^s", "%^o", "%^b", "%03s", "%02c",
              "%!16s", "%0i", "%00i", "%!i", "%!1i", "%!37i", "%!016i", "%1000i", "%99999999999999999999i", "%!", "%5",
              "%~", "%-5i", "%5%", "%^~s", "%2^i", "%!16^i", "%~~s", "% i", "%\xC3\xA4" } )
        EXPECT_FALSE( pb::adopt( pbStringCreateFromFormatCstr( format, -1, PB_INT_FROM( 1 ) ) ) ) << format;
}

TEST( Format, ConsumedReferences )
{
    pb::Ref<PB_STRING> str = test::str( "s" );
    PB_INT alive = pbObjLiveCount();
    EXPECT_EQ( pb::text( pb::format( "%~s%~o%s", str.retained(), str.retained(), str ).get() ), "sss" );
    EXPECT_FALSE( pb::shared( pb::obj( str.get() ) ) );

    // what a malformed directive follows is consumed, what follows it is not
    EXPECT_FALSE( pb::format( "%~s %q %~s", str.retained(), str ) );
    EXPECT_FALSE( pb::shared( pb::obj( str.get() ) ) );
    EXPECT_EQ( pbObjLiveCount(), alive );
}
