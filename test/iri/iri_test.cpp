/* The host grammar, a row a rule and a row for each way to break it. */
#include <iri/iri.h>
#include <support/test_support.h>

namespace {

struct Row {
    const char *text;
    bool ok;
};

constexpr Row ROWS[] = {
    // ireg-name
    { "", true },
    { "example.org", true },
    { "a_b~c-d.e", true },
    { "!$&'()*+,;=", true },
    { "%41%fF", true },
    { "%4", false },
    { "%", false },
    { "%4g", false },
    { "%%41", false },
    { "a b", false },
    { "a/b", false },
    { "a:b", false },
    { "a@b", false },
    { "a?b", false },
    { "a#b", false },
    { "\"", false },
    { "\x7F", false },
    { "\n", false },
    // ucschar, both sides of each bound
    { "\u009F", false },
    { "\u00A0", true },
    { "stra\u00DFe", true },
    { "\uD7FF", true },
    { "\uE000", false },
    { "\uF8FF", false },
    { "\uF900", true },
    { "\uFDCF", true },
    { "\uFDD0", false },
    { "\uFDEF", false },
    { "\uFDF0", true },
    { "\uFFEF", true },
    { "\uFFF0", false },
    { "\uFFFD", false },
    { "\U00010000", true },
    { "\U0001FFFD", true },
    { "\U0001FFFE", false },
    { "\U0002FFFF", false },
    { "\U000D0000", true },
    { "\U000DFFFD", true },
    { "\U000E0000", false },
    { "\U000E0FFF", false },
    { "\U000E1000", true },
    { "\U000EFFFD", true },
    { "\U000F0000", false },
    { "\U0010FFFD", false },
    // IPv4 addresses, and what is only a name that looks like one
    { "192.168.0.1", true },
    { "999.1.1.1.1", true },
    // IPv6 addresses
    { "[::]", true },
    { "[::1]", true },
    { "[1::]", true },
    { "[1:2:3:4:5:6:7:8]", true },
    { "[fFfF:0001::]", true },
    { "[1:2:3:4:5:6:7::]", true },
    { "[::2:3:4:5:6:7:8]", true },
    { "[1:2:3::5:6:7:8]", true },
    { "[1:2:3:4:5:6:1.2.3.4]", true },
    { "[::1.2.3.4]", true },
    { "[1:2:3:4:5::1.2.3.4]", true },
    { "[::255.255.255.255]", true },
    { "[]", false },
    { "[:]", false },
    { "[:::]", false },
    { "[1]", false },
    { "[1:2:3:4:5:6:7]", false },
    { "[1:2:3:4:5:6:7:8:9]", false },
    { "[1:2:3:4:5:6:7:8::]", false },
    { "[::1:2:3:4:5:6:7:8]", false },
    { "[1:2:3:4::5:6:7:8]", false },
    { "[1::2::3]", false },
    { "[:1:2:3:4:5:6:7]", false },
    { "[1:2:3:4:5:6:7:]", false },
    { "[::1:]", false },
    { "[:1::]", false },
    { "[::00001]", false },
    { "[::g]", false },
    { "[::+1]", false },
    { "[1:2:3:4:5:6:7:1.2.3.4]", false },
    { "[1:2:3:4:5:6::1.2.3.4]", false },
    { "[1.2.3.4::]", false },
    { "[1.2.3.4]", false },
    { "[::1.2.3.4:5]", false },
    { "[::1.2.3]", false },
    { "[::1.2.3.4.5]", false },
    { "[::1.2.3.]", false },
    { "[::1.2.3.256]", false },
    { "[::1.2.3.04]", false },
    { "[::1.2.3.+4]", false },
    { "[::0.0.0.0]", true },
    { "[::1%25eth0]", false },
    { "[::1%eth0]", false },
    { "[ ::1]", false },
    { "[\u06F1::]", false },
    // IPvFuture
    { "[v1.a]", true },
    { "[VF0.a:b!]", true },
    { "[v.a]", false },
    { "[v1.]", false },
    { "[v1]", false },
    { "[vg.a]", false },
    { "[v1.a/b]", false },
    { "[v1.\u00E4]", false },
    { "[v1.%41]", false },
    // brackets
    { "[", false },
    { "]", false },
    { "[::1", false },
    { "::1]", false },
    { "::1", false },
    { "[::1]x", false },
    { "x[::1]", false },
    { "[[::1]]", false },
};

TEST( Iri, Host )
{
    for ( const Row &row : ROWS )
        EXPECT_EQ( iriGensValidatePart( test::str( row.text ).get(), IRI_PART_HOST ), row.ok ) << row.text;
    const PB_CHAR surrogate[] = { 'a', 0xD800 }, zero[] = { 'a', 0 };
    for ( const PB_CHAR *chars : { surrogate, zero } )
        EXPECT_FALSE(
            iriGensValidatePart( pb::adopt( pbStringCreateFromCharsCopy( chars, 2 ) ).get(), IRI_PART_HOST ) );
}

TEST( IriDeathTest, MisuseAborts )
{
    EXPECT_DEATH( iriGensValidatePart( nullptr, IRI_PART_HOST ), ": str" );
    EXPECT_DEATH( iriGensValidatePart( test::str( "a" ).get(), 4 ), "IRI_PART_OK\\( part \\)" );
}

} // namespace
