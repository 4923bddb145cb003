/* Strings: setters alone and shared, pieces, scanning, searching, comparing. */
#include <pb/pb_text.hpp>
#include <support/misuse.h>

namespace {

std::vector<std::string> texts( PB_VECTOR *owned )
{
    pb::Ref<PB_VECTOR> vec = pb::adopt( owned );
    std::vector<std::string> result;
    for ( PB_INT at = 0; at < pbVectorLength( vec.get() ); ++at )
        result.push_back( pb::text( pb::adoptAs<PB_STRING>( pbVectorObjAt( vec.get(), at ) ).get() ) );
    return result;
}

/** A string with room behind its text, so that growing is not what replaces it. */
pb::Ref<PB_STRING> roomy( const std::string &text )
{
    pb::Ref<PB_STRING> str = test::str( text + std::string( 64, '.' ) );
    pbStringDelTrailing( str.handle(), 64 );
    return str;
}

struct Setter {
    const char *name;
    const char *before;
    std::function<void( PB_STRING ** )> set;
    const char *after;
};

const PB_CHAR letters[] = { 'x', 0xE4, 'z' };

const std::vector<Setter> setters = {
    { "Append", "ab", []( PB_STRING **str ) { pbStringAppend( str, test::str( "cd" ).get() ); }, "abcd" },
    { "Append itself", "abc", []( PB_STRING **str ) { pbStringAppend( str, *str ); }, "abcabc" },
    { "AppendChar", "ab", []( PB_STRING **str ) { pbStringAppendChar( str, 0x20AC ); }, "ab\xE2\x82\xAC" },
    { "AppendChars", "ab", []( PB_STRING **str ) { pbStringAppendChars( str, letters, 3 ); }, "abx\xC3\xA4z" },
    { "AppendChars of its own", "abc",
        []( PB_STRING **str ) { pbStringAppendChars( str, pbStringBacking( *str ) + 1, 2 ); }, "abcbc" },
    { "AppendCstr", "ab", []( PB_STRING **str ) { pbStringAppendCstr( str, "c\xC3\xA4", -1 ); }, "abc\xC3\xA4" },
    { "AppendCstr, length", "ab", []( PB_STRING **str ) { pbStringAppendCstr( str, "cde", 2 ); }, "abcd" },
    { "Clear", "abc", []( PB_STRING **str ) { pbStringClear( str ); }, "" },
    { "DelInner", "abcdef", []( PB_STRING **str ) { pbStringDelInner( str, 1, 3 ); }, "aef" },
    { "DelInner, end", "abc", []( PB_STRING **str ) { pbStringDelInner( str, 2, 1 ); }, "ab" },
    { "DelInner, all", "abc", []( PB_STRING **str ) { pbStringDelInner( str, 0, 3 ); }, "" },
    { "DelLeading", "abcd", []( PB_STRING **str ) { pbStringDelLeading( str, 3 ); }, "d" },
    { "DelTrailing", "abcd", []( PB_STRING **str ) { pbStringDelTrailing( str, 3 ); }, "a" },
    { "Trim", " \t\n\xE2\x80\x83 a b\xC2\xA0\xC2\x85 ", []( PB_STRING **str ) { pbStringTrim( str ); }, "a b" },
    { "Trim, blank", " \xE3\x80\x80", []( PB_STRING **str ) { pbStringTrim( str ); }, "" },
    { "Trim, no space", "\xE2\x80\x8B ", []( PB_STRING **str ) { pbStringTrim( str ); }, "\xE2\x80\x8B" },
    { "TrimLeading", "  a ", []( PB_STRING **str ) { pbStringTrimLeading( str ); }, "a " },
};

} // namespace

TEST( String, SettersChangeAnUnsharedStringInPlace )
{
    for ( const Setter &row : setters ) {
        pb::Ref<PB_STRING> str = roomy( row.before );
        PB_STRING *same = str.get();
        row.set( str.handle() );
        EXPECT_EQ( pb::text( str.get() ), row.after ) << row.name;
        EXPECT_EQ( str.get(), same ) << row.name;

        pb::Ref<PB_STRING> full = test::str( row.before );
        row.set( full.handle() );
        EXPECT_EQ( pb::text( full.get() ), row.after ) << row.name;
    }
}

TEST( String, SettersLeaveTheOtherHoldersStringAlone )
{
    for ( const Setter &row : setters ) {
        pb::Ref<PB_STRING> other = roomy( row.before );
        pb::Ref<PB_STRING> str = other;
        row.set( str.handle() );
        EXPECT_EQ( pb::text( str.get() ), row.after ) << row.name;
        EXPECT_EQ( pb::text( other.get() ), row.before ) << row.name;
        EXPECT_FALSE( pb::shared( pb::obj( other.get() ) ) ) << row.name;
    }
}

TEST( String, GrowingReplacesTheObjectRarely )
{
    pb::Ref<PB_STRING> str = pb::adopt( pbStringCreate() );
    std::string expected;
    int replaced = 0;
    for ( int at = 0; at < 10000; ++at ) {
        PB_STRING *before = str.get();
        pbStringAppendChar( str.handle(), static_cast<PB_CHAR>( 'a' + at % 26 ) );
        expected += static_cast<char>( 'a' + at % 26 );
        replaced += str.get() != before;
    }
    EXPECT_EQ( pb::text( str.get() ), expected );
    EXPECT_LE( replaced, 11 );
}

TEST( String, Creation )
{
    EXPECT_EQ( test::take( pbStringCreate() ), "" );
    EXPECT_EQ( test::take( pbStringCreateFromCstr( "abc", 2 ) ), "ab" );
    EXPECT_EQ( test::take( pbStringCreateFromCstr( nullptr, 0 ) ), "" );
    EXPECT_EQ( test::take( pbStringCreateFromWcstr( L"a\x20AC", -1 ) ), "a\xE2\x82\xAC" );
    EXPECT_EQ( test::take( pbStringCreateFromWcstr( L"abc", 1 ) ), "a" );
    const wchar_t wild[] = { wchar_t( 0x110000 ), wchar_t( -1 ), L'z' };
    EXPECT_EQ( test::take( pbStringCreateFromWcstr( wild, 3 ) ), "\xEF\xBF\xBD\xEF\xBF\xBDz" );
    EXPECT_EQ( test::take( pbStringCreateFromCharsCopy( letters, 3 ) ), "x\xC3\xA4z" );
    EXPECT_EQ( test::take( pbStringCreateFromCharsCopy( nullptr, 0 ) ), "" );

    pb::Ref<PB_STRING> str = test::str( "abcdef" );
    EXPECT_EQ( test::take( pbStringCreateInner( str.get(), 2, 3 ) ), "cde" );
    EXPECT_EQ( test::take( pbStringCreateInner( str.get(), 6, 0 ) ), "" );
    EXPECT_EQ( test::take( pbStringCreateLeading( str.get(), 2 ) ), "ab" );
    EXPECT_EQ( test::take( pbStringCreateTrailing( str.get(), 2 ) ), "ef" );
    EXPECT_NE( pb::adopt( pbStringCreateFrom( str.get() ) ).get(), str.get() );
    EXPECT_EQ( test::take( pbStringCreateFrom( str.get() ) ), "abcdef" );
    EXPECT_EQ( test::textOf( str.get() ), "abcdef" );
}

TEST( String, CstrEndsInZero )
{
    pb::Ref<PB_BUFFER> cstr = pb::adopt( pbStringTryToCstr( test::str( "a\xC3\xA4" ).get() ) );
    EXPECT_EQ( std::string( reinterpret_cast<const char *>( pbBufferBacking( cstr.get() ) ), 4 ),
        std::string( "a\xC3\xA4\0", 4 ) );
    EXPECT_EQ( pbBufferLength( cstr.get() ), 4 );
    EXPECT_FALSE( pb::adopt( pbStringTryToCstr( test::str( std::string_view( "a\0", 2 ) ).get() ) ) );
}

TEST( String, OrderIsByCodePointsAPrefixFirst )
{
    const char *ascending[] = { "", "A", "Aa", "B", "a", "aa", "aaa", "ab", "b", "\xC3\xA4", "\xEF\xBF\xBF",
        "\xF0\x90\x80\x80", "\xF0\x90\x80\x80!" };
    for ( const char *const &a : ascending ) {
        for ( const char *const &b : ascending ) {
            PB_INT compared = pbStringCompare( test::str( a ).get(), test::str( b ).get() );
            EXPECT_EQ( pb::order( compared, PB_INT{ 0 } ), pb::order( &a, &b ) ) << a << ' ' << b;
            EXPECT_EQ( pbStringEqualsCstr( test::str( a ).get(), b, -1 ), &a == &b ) << a << ' ' << b;
        }
    }
}

TEST( String, SplitChar )
{
    struct Row {
        const char *text;
        PB_INT limit;
        std::vector<std::string> pieces;
    };
    const Row rows[] = {
        { "", -1, { "" } },
        { "a", -1, { "a" } },
        { ".", -1, { "", "" } },
        { "a.b..c.", -1, { "a", "b", "", "c", "" } },
        { "a.b.c", 1, { "a.b.c" } },
        { "a.b.c", 2, { "a", "b.c" } },
        { "a.b.c", 3, { "a", "b", "c" } },
        { "a.b.c", 4, { "a", "b", "c" } },
        { "1.2.3.4.5", 4, { "1", "2", "3", "4.5" } },
        { "..", 2, { "", "." } },
        { "", 1, { "" } },
    };
    for ( const Row &row : rows )
        EXPECT_EQ( texts( pbStringSplitChar( test::str( row.text ).get(), '.', row.limit ) ), row.pieces )
            << row.text << ' ' << row.limit;
}

TEST( String, SplitWhiteSpaceAndJoin )
{
    for ( const char *text : { "a b c", "  a\t b\xE2\x80\x83 c\n",
              "a\r\nb\xC2\xA0"
              "c" } ) {
        pb::Ref<PB_VECTOR> words = pb::adopt( pbStringSplitWhiteSpace( test::str( text ).get() ) );
        EXPECT_EQ( test::take( pbStringJoinCstr( words.get(), ", ", -1 ) ), "a, b, c" ) << text;
        EXPECT_EQ( test::take( pbStringJoinCstr( words.get(), nullptr, 0 ) ), "abc" ) << text;
    }
    for ( const char *blank : { "", " \t\xE3\x80\x80" } )
        EXPECT_EQ( texts( pbStringSplitWhiteSpace( test::str( blank ).get() ) ).size(), 0U );
    EXPECT_EQ( test::take( pbStringJoinCstr( pb::adopt( pbVectorCreate() ).get(), "-", -1 ) ), "" );
}

TEST( String, ScanInt )
{
    constexpr PB_INT untouched = 4711;
    struct Row {
        const char *text;
        PB_INT offset;
        PB_INT base;
        bool ok;
        PB_INT value;
        PB_INT end;
    };
    const Row rows[] = {
        { "0", 0, 10, true, 0, 1 }, { "0123x", 0, 10, true, 123, 4 }, { "ab12cd", 2, 10, true, 12, 4 },
        { "ab12cd", 2, 16, true, 0x12CD, 6 }, { "+7", 0, 10, true, 7, 2 }, { "-0", 0, 10, true, 0, 2 },
        { "-77 ", 0, 8, true, -63, 3 }, { "1012", 0, 2, true, 5, 3 }, { "zZ", 0, 36, true, 35 * 36 + 35, 2 },
        { "fFg", 0, 16, true, 0xFF, 2 }, { "0x10", 0, 16, true, 0, 1 },
        { "9223372036854775807", 0, 10, true, PB_INT_MAX, 19 }, { "-9223372036854775808", 0, 10, true, PB_INT_MIN, 20 },
        { "9223372036854775808", 0, 10, false, untouched, 19 },
        { "-9223372036854775809z", 0, 10, false, untouched, 20 },
        { "99999999999999999999999999999999", 0, 10, false, untouched, 32 },
        { "-8000000000000000", 0, 16, true, PB_INT_MIN, 17 }, { "8000000000000000", 0, 16, false, untouched, 16 },
        { "", 0, 10, false, untouched, 0 }, { "a", 1, 10, false, untouched, 1 }, { "x+", 1, 10, false, untouched, 1 },
        { "-", 0, 10, false, untouched, 0 }, { "--1", 0, 10, false, untouched, 0 },
        { "+-1", 0, 10, false, untouched, 0 }, { " 1", 0, 10, false, untouched, 0 }, { "8", 0, 8, false, untouched, 0 },
        { "\xD9\xA1", 0, 10, false, untouched, 0 }, // an Arabic digit one
    };
    for ( const Row &row : rows ) {
        PB_INT value = untouched;
        PB_INT end = -1;
        pb::Ref<PB_STRING> str = test::str( row.text );
        EXPECT_EQ( pbStringScanInt( str.get(), row.offset, row.base, &value, &end ), row.ok ) << row.text;
        EXPECT_EQ( value, row.value ) << row.text;
        EXPECT_EQ( end, row.end ) << row.text;
        EXPECT_EQ( pbStringScanInt( str.get(), row.offset, row.base, &value, nullptr ), row.ok ) << row.text;
    }
}

TEST( String, Find )
{
    struct Row {
        const char *text;
        PB_INT offset;
        const char *wanted;
        PB_INT at;
    };
    const Row rows[] = {
        { "abcabc", 0, "c", 2 },
        { "abcabc", 2, "c", 2 },
        { "abcabc", 3, "c", 5 },
        { "abcabc", 6, "c", -1 },
        { "abcabc", 1, "abc", 3 },
        { "abcabc", 4, "bcd", -1 },
        { "aab", 0, "ab", 1 },
        { "abc", 0, "", 0 },
        { "abc", 3, "", 3 },
        { "", 0, "", 0 },
        { "", 0, "a", -1 },
        { "ab", 0, "abc", -1 },
        { "\xC3\xA4\xE2\x82\xACx", 0, "\xE2\x82\xAC", 1 },
    };
    for ( const Row &row : rows ) {
        pb::Ref<PB_STRING> str = test::str( row.text );
        pb::Ref<PB_STRING> wanted = test::str( row.wanted );
        EXPECT_EQ( pbStringFind( str.get(), row.offset, wanted.get() ), row.at ) << row.text << ' ' << row.wanted;
        EXPECT_EQ( pbStringFindCstr( str.get(), row.offset, row.wanted, -1 ), row.at ) << row.text << ' ' << row.wanted;
        if ( pbStringLength( wanted.get() ) == 1 ) {
            EXPECT_EQ( pbStringFindChar( str.get(), row.offset, pbStringCharAt( wanted.get(), 0 ) ), row.at );
        }
    }
}

TEST( String, BeginsAndEnds )
{
    pb::Ref<PB_STRING> str = test::str( "abc." );
    pb::Ref<PB_STRING> none = test::str( "" );
    EXPECT_TRUE( pbStringBeginsWithChar( str.get(), 'a' ) && pbStringEndsWithChar( str.get(), PB_CHAR_FULL_STOP ) );
    EXPECT_FALSE( pbStringBeginsWithChar( str.get(), '.' ) || pbStringEndsWithChar( str.get(), 'a' ) );
    EXPECT_FALSE( pbStringBeginsWithChar( none.get(), 'a' ) || pbStringEndsWithChar( none.get(), '.' ) );
    for ( const char *beginning : { "", "ab", "abc." } )
        EXPECT_TRUE( pbStringBeginsWithCstr( str.get(), beginning, -1 ) ) << beginning;
    for ( const char *other : { "b", "abd", "abc.d" } )
        EXPECT_FALSE( pbStringBeginsWithCstr( str.get(), other, -1 ) ) << other;
    EXPECT_TRUE( pbStringBeginsWithCstr( str.get(), "ax", 1 ) );
}

TEST( String, CaseFold )
{
    struct Row {
        const char *text;
        const char *folded;
    };
    const Row rows[] = {
        { "Example.COM-09@[`{", "example.com-09@[`{" }, { "\xC3\x84\xC3\xA4", "\xC3\xA4\xC3\xA4" },
        { "Stra\xC3\x9F"
          "e",
            "strasse" },                                                      // sharp s: two letters (F)
        { "\xE1\xBA\x9E", "ss" },                                             // capital sharp s
        { "\xCE\x90", "\xCE\xB9\xCC\x88\xCC\x81" },                           // iota with two marks: three code points
        { "\xCE\xA3\xCF\x82", "\xCF\x83\xCF\x83" },                           // both small sigmas are one
        { "\xC4\xB0", "i\xCC\x87" },                                          // dotted capital I
        { "\xEF\xAC\x83", "ffi" },                                            // ligature
        { "\xE2\x84\xAA", "k" },                                              // Kelvin sign
        { "\xEA\xAD\xB0", "\xE1\x8E\xA0" },                                   // Cherokee folds to the capitals
        { "a\xCC\x88\xC2\xAD\xE2\x91\xA0", "a\xCC\x88\xC2\xAD\xE2\x91\xA0" }, // not normalised, nothing stripped
    };
    for ( const Row &row : rows ) {
        pb::Ref<PB_STRING> str = test::str( row.text );
        pb::Ref<PB_STRING> folded = test::str( row.folded );
        EXPECT_EQ( test::take( pbStringToCaseFold( str.get() ) ), row.folded ) << row.text;
        EXPECT_TRUE( pbStringEqualsCaseFold( str.get(), folded.get() ) ) << row.text;
        EXPECT_TRUE( pbStringEqualsCaseFold( folded.get(), str.get() ) ) << row.text;
        EXPECT_TRUE( pbStringEqualsCaseFoldCstr( folded.get(), row.text, -1 ) ) << row.text;
        pbStringAppendChar( folded.handle(), 's' );
        EXPECT_FALSE( pbStringEqualsCaseFold( str.get(), folded.get() ) ) << row.text;
        EXPECT_FALSE( pbStringEqualsCaseFoldCstr( folded.get(), row.text, -1 ) ) << row.text;
    }
}

TEST( String, Misuse )
{
    static PB_STRING *str;
    static PB_STRING *none = nullptr;
    static PB_INT value;
    static const PB_CHAR high = 0x110000;
    pb::Ref<PB_STRING> abc = test::str( "abc" );
    str = abc.get();
    test::expectAborts( {
        { "cstr || length == 0", [] { pbStringCreateFromCstr( nullptr, -1 ); } },
        { "allCodePoints( chars, count )", [] { pbStringCreateFromCharsCopy( &high, 1 ); } },
        { "source", [] { pbStringCreateFrom( nullptr ); } },
        { "PB_INT_ADD_OK( offset, count )", [] { pbStringCreateInner( str, 1, PB_INT_MAX ); } },
        { "offset + count <= pbStringLength( source )", [] { pbStringCreateInner( str, 1, 3 ); } },
        { "count <= pbStringLength( source )", [] { pbStringCreateLeading( str, 4 ); } },
        { "count >= 0", [] { pbStringCreateTrailing( str, -1 ); } },
        { "index < pbStringLength( str )", [] { pbStringCharAt( str, 3 ); } },
        { "str", [] { pbStringAppendChar( nullptr, 'x' ); } },
        { "*str", [] { pbStringAppendChar( &none, 'x' ); } },
        { "PB_CHAR_OK( ch )", [] { pbStringAppendChar( &str, high ); } },
        { "tail", [] { pbStringAppend( &str, nullptr ); } },
        { "offset + count <= pbStringLength( *str )", [] { pbStringDelInner( &str, 2, 2 ); } },
        { "count <= pbStringLength( *str )", [] { pbStringDelLeading( &str, 4 ); } },
        { "limit == -1 || limit >= 1", [] { pbStringSplitChar( str, '.', 0 ); } },
        { "base <= 36", [] { pbStringScanInt( str, 0, 37, &value, nullptr ); } },
        { "offset <= pbStringLength( str )", [] { pbStringScanInt( str, 4, 10, &value, nullptr ); } },
        { "offset <= pbStringLength( str )", [] { pbStringFindChar( str, 4, 'x' ); } },
        { "pbVectorContainsOnly( strings, pbStringSort() )",
            [] {
                pb::Ref<PB_VECTOR> vec = pb::adopt( pbVectorCreate() );
                pbVectorAppend( vec.handle(), pb::obj( vec.get() ) );
                pbStringJoinCstr( vec.get(), "", 0 );
            } },
        { "stdfunc compare b: objB", [] { pbStringCompare( str, nullptr ); } },
        { "stdfunc release: obj", [] { pbStringRelease( nullptr ); } },
    } );
}
