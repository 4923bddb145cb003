/* Nameprep, a row a rule of RFC 3454 and 3491, and the base encodings, with the vectors of RFC 4648 section 10. */
#include <rfc/rfc.h>
#include <support/test_support.h>

namespace {

using Text = std::u32string;

std::optional<Text> prepared( const Text &text, bool allowUnassigned )
{
    auto *chars = reinterpret_cast<const PB_CHAR *>( text.data() );
    pb::Ref<PB_STRING> str = pb::adopt( pbStringCreateFromCharsCopy( chars, PB_INT( text.size() ) ) );
    pb::Ref<PB_STRING> result = pb::adopt( rfcStringprepProfileNameprep( str.get(), allowUnassigned ) );
    if ( !result )
        return {};
    const PB_CHAR *begin = pbStringBacking( result.get() );
    return Text( begin, begin + pbStringLength( result.get() ) );
}

TEST( Rfc, Nameprep )
{
    struct Row {
        const char *rule;
        Text text;
        std::optional<Text> result;
    };
    using namespace std::string_literals;
    const Row rows[] = { { "empty", U"", U"" }, { "case folding", U"ExAmPlE.Org", U"example.org" },
        { "folding to two letters", U"Stra\u00DFe", U"strasse" }, { "of a later Unicode", U"\u1E9E", {} },
        { "final sigma", U"\u03A3\u03C2", U"\u03C3\u03C3" }, { "dotted capital i", U"\u0130", U"i\u0307" },
        { "mapped to nothing", U"a\u00AD\u200B\u2060\uFEFFb", U"ab" }, { "nothing left", U"\u00AD", U"" },
        { "composed", U"u\u0308", U"\u00FC" }, { "full width", U"\uFF21\uFF11", U"a1" },
        { "folded, then normalised", U"\u2122", U"tm" }, { "blank", U"a b", U"a b" },
        { "blanks that normalise to one", U"\u00A0\u2009", U"  " }, { "other blanks", U"\u1680", {} },
        { "ASCII controls pass", U"\u0001\u007F", U"\u0001\u007F" },
        { "and zero among them", U"A\0\u0001\0B"s, U"a\0\u0001\0b"s }, { "other controls", U"\u0080", {} },
        { "private use", U"\uE000", {} }, { "no character", U"\uFFFE", {} },
        { "the last code point", U"\U0010FFFF", {} }, { "surrogate", Text( 1, char32_t( 0xD800 ) ), {} },
        { "inappropriate for plain text", U"\uFFFD", {} }, { "inappropriate for canonical form", U"\u2FF0", {} },
        { "deprecated", U"\u200E", {} }, { "tag", U"\U000E0041", {} },
        { "right to left, a digit inside", U"\u0627\u0031\u0628", U"\u0627\u0031\u0628" },
        { "right to left, a digit at the end", U"\u0627\u0031", {} }, { "both directions", U"\u05D0a\u05D1", {} },
        { "plane 2", U"\U0002F868", U"\U0002136A" } };
    for ( const Row &row : rows )
        EXPECT_EQ( prepared( row.text, false ), row.result ) << row.rule;
    EXPECT_EQ( prepared( U"\u0221", false ), std::nullopt ); // came after Unicode 3.2
    EXPECT_EQ( prepared( U"\u0221", true ), U"\u0221" );
    EXPECT_EQ( prepared( U"\u0221\u2028", true ), std::nullopt );
}

/** U+FDFA normalises to 18 characters, which no first guess at the room allows for. */
TEST( Rfc, NameprepOfLongText )
{
    for ( std::size_t count : { 1U, 100U, 3000U } ) {
        std::optional<Text> result = prepared( Text( count, U'\uFDFA' ), false );
        ASSERT_TRUE( result );
        EXPECT_EQ( result->size(), 18 * count );
    }
    EXPECT_EQ( prepared( Text( 100'000, U'A' ), false ), Text( 100'000, U'a' ) );
}

TEST( Rfc, Base )
{
    struct {
        PB_INT base;
        const char *text;
        const char *bytes; // in hexadecimal digits
    } const rows[] = { { RFC_BASE_64, "", "" }, { RFC_BASE_64, "Zg==", "66" }, { RFC_BASE_64, "Zm8=", "666f" },
        { RFC_BASE_64, "Zm9vYmFy", "666f6f626172" }, { RFC_BASE_64, "+/+/", "fbffbf" },
        { RFC_BASE_64_URL, "-_-_", "fbffbf" }, { RFC_BASE_64_URL, "Zg", "66" }, { RFC_BASE_64_URL, "Zg==", "66" },
        { RFC_BASE_64_URL, "Zm8", "666f" }, { RFC_BASE_32, "MY======", "66" }, { RFC_BASE_32, "MZXQ====", "666f" },
        { RFC_BASE_32, "MZXW6===", "666f6f" }, { RFC_BASE_32, "MZXW6YQ=", "666f6f62" },
        { RFC_BASE_32, "mzxw6ytb", "666f6f6261" }, { RFC_BASE_32, "MZXW6YTBOI======", "666f6f626172" },
        { RFC_BASE_16, "666F6f", "666f6f" } };
    for ( const auto &row : rows ) {
        pb::Ref<PB_BUFFER> bytes = pb::adopt( rfcBaseTryDecode( row.base, test::str( row.text ).get() ) );
        EXPECT_EQ( bytes ? test::textOf( bytes.get() ) : "none", row.bytes ) << row.text;
    }
    const std::pair<PB_INT, std::vector<const char *>> malformed[] = {
        { RFC_BASE_64, { "-_-_", "Zg", "Zg=", "Zg===", "Zm9v====", "Z===", "====", "Zg==Zg==", "Zh==", "Zm9=", "Zm 9",
                           "Zm9v\n", "Zm9\u00E4" } },
        { RFC_BASE_64_URL, { "+/+/", "Zg=", "Zm9vY" } },
        { RFC_BASE_32, { "MY", "M=======", "MZX=====", "MZXW6Y==", "MZ======", "M1======" } },
        { RFC_BASE_16, { "6", "6=", "6g" } } };
    for ( const auto &[base, texts] : malformed )
        for ( const char *text : texts )
            EXPECT_FALSE( pb::adopt( rfcBaseTryDecode( base, test::str( text ).get() ) ) ) << text;
}

} // namespace
