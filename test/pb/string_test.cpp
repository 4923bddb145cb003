/* Strings: setters alone and shared, pieces, scanning, searching, comparing. */
#include <pb/pb_text.hpp>
#include <support/test_support.h>

namespace {

std::string joined( PB_VECTOR *owned )
{
    return test::take( pbStringJoinCstr( pb::adopt( owned ).get(), "|", -1 ) );
}

/** A string with room behind its text, so that growing is not what replaces it. */
pb::Ref<PB_STRING> roomy( const std::string &text )
{
    pb::Ref<PB_STRING> str = test::str( text + std::string( 64, '.' ) );
    pbStringDelTrailing( str.handle(), 64 );
    return str;
}

struct Setter {
    const char *before;
    void ( *set )( PB_STRING **str );
    const char *after;
};

const PB_CHAR letters[] = { 'x', 0xE4, 'z' };

const Setter setters[] = {
    { "ab", []( PB_STRING **str ) { pbStringAppend( str, test::str( "cd" ).get() ); }, "abcd" },
    { "abc", []( PB_STRING **str ) { pbStringAppend( str, *str ); }, "abcabc" },
    { "ab", []( PB_STRING **str ) { pbStringAppendChar( str, 0x20AC ); }, "ab\u20AC" },
    { "ab", []( PB_STRING **str ) { pbStringAppendChars( str, letters, 3 ); }, "abx\u00E4z" },
    { "abc", []( PB_STRING **str ) { pbStringAppendChars( str, pbStringBacking( *str ) + 1, 2 ); }, "abcbc" },
    { "ab", []( PB_STRING **str ) { pbStringAppendCstr( str, "c\u00E4d", 3 ); }, "abc\u00E4" },
    { "abc", []( PB_STRING **str ) { pbStringClear( str ); }, "" },
    { "abcdef", []( PB_STRING **str ) { pbStringDelInner( str, 1, 3 ); }, "aef" },
    { "abcd", []( PB_STRING **str ) { pbStringDelLeading( str, 3 ); }, "d" },
    { " \t\n\u2003 a b\u00A0\u0085 ", []( PB_STRING **str ) { pbStringTrim( str ); }, "a b" },
    { " \u3000", []( PB_STRING **str ) { pbStringTrim( str ); }, "" },
    { "\u200B ", []( PB_STRING **str ) { pbStringTrim( str ); }, "\u200B" }, // no space, for all its name
    { "  a ", []( PB_STRING **str ) { pbStringTrimLeading( str ); }, "a " },
};

} // namespace

TEST( String, Setters )
{
    for ( const Setter &row : setters ) {
        SCOPED_TRACE( &row - setters );
        pb::Ref<PB_STRING> str = roomy( row.before ), full = test::str( row.before ), other = full;
        PB_STRING *same = str.get();
        row.set( str.handle() );
        EXPECT_EQ( pb::text( str.get() ), row.after );
        EXPECT_EQ( str.get(), same ) << "changed in place";
        row.set( full.handle() );
        EXPECT_EQ( pb::text( full.get() ), row.after );
        EXPECT_EQ( pb::text( other.get() ), row.before ) << "the other holder's";
        EXPECT_FALSE( pb::shared( pb::obj( other.get() ) ) );
        row.set( other.handle() );
        EXPECT_EQ( pb::text( other.get() ), row.after );
    }
}

TEST( String, Creation )
{
    const wchar_t wild[] = { wchar_t( 0x110000 ), wchar_t( -1 ), L'\x20AC', L'z' };
    EXPECT_EQ( test::take( pbStringCreateFromWcstr( wild, 3 ) ), "\uFFFD\uFFFD\u20AC" );
    pb::Ref<PB_STRING> str = test::str( "abcdef" );
    EXPECT_EQ( test::take( pbStringCreateInner( str.get(), 2, 3 ) ), "cde" );
    EXPECT_EQ( test::take( pbStringCreateLeading( str.get(), 2 ) ), "ab" );
    EXPECT_EQ( test::take( pbStringCreateTrailing( str.get(), 2 ) ), "ef" );
    EXPECT_EQ( test::textOf( pb::adopt( pbStringTryToCstr( test::str( "a\u00E4" ).get() ) ).get() ), "61c3a400" );
    EXPECT_FALSE( pb::adopt( pbStringTryToCstr( test::str( std::string_view( "a\0", 2 ) ).get() ) ) );
    const char *ascending[] = { "", "A", "Aa", "B", "a", "ab", "\u00E4", "\uFFFF", "\U00010000", "\U00010000!" };
    for ( const char *const &a : ascending )
        for ( const char *const &b : ascending )
            EXPECT_EQ( pbStringCompare( test::str( a ).get(), test::str( b ).get() ), pb::order( &a, &b ) ) << a << b;
}

TEST( String, SplitAndJoin )
{
    struct {
        const char *text;
        PB_INT limit;
        const char *pieces;
    } const rows[] = { { "", -1, "" }, { ".", -1, "|" }, { "a.b..c.", -1, "a|b||c|" }, { "a.b.c", 1, "a.b.c" },
        { "a.b.c", 2, "a|b.c" }, { "a.b.c", 4, "a|b|c" }, { "..", 2, "|." }, { "", 1, "" } };
    for ( const auto &row : rows )
        EXPECT_EQ( joined( pbStringSplitChar( test::str( row.text ).get(), '.', row.limit ) ), row.pieces ) << row.text;
    for ( const char *text : { "a b c", "  a\t b\u2003 c\n", "a\r\nb\u00A0c" } )
        EXPECT_EQ( joined( pbStringSplitWhiteSpace( test::str( text ).get() ) ), "a|b|c" ) << text;
    EXPECT_EQ( pbVectorLength( pb::adopt( pbStringSplitWhiteSpace( test::str( " \t\u3000" ).get() ) ).get() ), 0 );
    EXPECT_EQ( pbVectorLength( pb::adopt( pbStringSplitChar( test::str( "" ).get(), '.', -1 ) ).get() ), 1 );
}

TEST( String, ScanInt )
{
    constexpr PB_INT none = 4711; // what was there before, and stays
    struct {
        const char *text;
        PB_INT offset, base, value, end;
    } const rows[] = { { "0123x", 0, 10, 123, 4 }, { "ab12cd", 2, 16, 0x12CD, 6 }, { "+7", 0, 10, 7, 2 },
        { "-0", 0, 10, 0, 2 }, { "-77 ", 0, 8, -63, 3 }, { "zZ", 0, 36, 35 * 36 + 35, 2 }, { "0x10", 0, 16, 0, 1 },
        { "9223372036854775807", 0, 10, PB_INT_MAX, 19 }, { "-9223372036854775808", 0, 10, PB_INT_MIN, 20 },
        { "9223372036854775808", 0, 10, none, 19 }, { "-9223372036854775809z", 0, 10, none, 20 },
        { "99999999999999999999999999999999", 0, 10, none, 32 }, { "-8000000000000000", 0, 16, PB_INT_MIN, 17 },
        { "a", 1, 10, none, 1 }, { "-", 0, 10, none, 0 }, { "+-1", 0, 10, none, 0 }, { " 1", 0, 10, none, 0 },
        { "8", 0, 8, none, 0 }, { "\u0661", 0, 10, none, 0 } }; // an Arabic digit one
    for ( const auto &row : rows ) {
        PB_INT value = none, end = -1;
        pb::Ref<PB_STRING> str = test::str( row.text );
        EXPECT_EQ( pbStringScanInt( str.get(), row.offset, row.base, &value, &end ), row.value != none ) << row.text;
        EXPECT_EQ( value, row.value ) << row.text;
        EXPECT_EQ( end, row.end ) << row.text;
    }
}

TEST( String, FindAndBegin )
{
    struct {
        const char *text;
        PB_INT offset;
        const char *wanted;
        PB_INT at;
    } const rows[] = { { "abcabc", 3, "c", 5 }, { "abcabc", 6, "c", -1 }, { "abcabc", 4, "bcd", -1 },
        { "aab", 0, "ab", 1 }, { "abc", 3, "", 3 }, { "", 0, "a", -1 }, { "\u00E4\u20ACx", 0, "\u20AC", 1 } };
    for ( const auto &row : rows ) {
        pb::Ref<PB_STRING> str = test::str( row.text ), wanted = test::str( row.wanted );
        EXPECT_EQ( pbStringFind( str.get(), row.offset, wanted.get() ), row.at ) << row.text << ' ' << row.wanted;
        EXPECT_EQ( pbStringFindCstr( str.get(), row.offset, row.wanted, -1 ), row.at ) << row.text << ' ' << row.wanted;
    }
    pb::Ref<PB_STRING> str = test::str( "abc." ), none = test::str( "" );
    EXPECT_TRUE( pbStringBeginsWithChar( str.get(), 'a' ) && pbStringEndsWithChar( str.get(), '.' ) );
    EXPECT_FALSE( pbStringBeginsWithChar( none.get(), 'a' ) || pbStringEndsWithChar( none.get(), '.' ) );
    EXPECT_TRUE( pbStringBeginsWithCstr( str.get(), "abc.", -1 ) && pbStringBeginsWithCstr( str.get(), "ax", 1 ) );
    EXPECT_FALSE( pbStringBeginsWithCstr( str.get(), "abc.d", -1 ) || pbStringBeginsWithCstr( str.get(), "b", -1 ) );
}

TEST( String, CaseFold )
{
    struct {
        const char *text, *folded;
    } const rows[] = { { "Example.COM-09@[`{", "example.com-09@[`{" }, { "\u00C4\u00E4", "\u00E4\u00E4" },
        { "Stra\u00DFe", "strasse" }, { "\u1E9E", "ss" }, { "\u0390", "\u03B9\u0308\u0301" },
        { "\u03A3\u03C2", "\u03C3\u03C3" }, { "\u0130", "i\u0307" }, { "\uFB03", "ffi" }, { "\u212A", "k" },
        { "\uAB70", "\u13A0" }, { "a\u0308\u00AD\u2460", "a\u0308\u00AD\u2460" } }; // not normalised, nothing stripped
    for ( const auto &row : rows ) {
        pb::Ref<PB_STRING> str = test::str( row.text ), folded = test::str( row.folded );
        EXPECT_EQ( test::take( pbStringToCaseFold( str.get() ) ), row.folded ) << row.text;
        EXPECT_TRUE( pbStringEqualsCaseFold( str.get(), folded.get() ) ) << row.text;
        EXPECT_TRUE( pbStringEqualsCaseFoldCstr( folded.get(), row.text, -1 ) ) << row.text;
        pbStringAppendChar( folded.handle(), 's' );
        EXPECT_FALSE( pbStringEqualsCaseFold( str.get(), folded.get() ) ) << row.text;
        EXPECT_FALSE( pbStringEqualsCaseFoldCstr( folded.get(), row.text, -1 ) ) << row.text;
    }
}
