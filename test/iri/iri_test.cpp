/* The host grammar, a row a rule and a row for each way to break it. */
#include <iri/iri.h>
#include <support/test_support.h>

namespace {

/** Names, with both sides of each bound of what they may hold; IPv6 addresses; what may come later. */
constexpr const char *hosts[] = { "", "example.org", "a_b~c-d.e", "!$&'()*+,;=", "%41%fF", "\u00A0", "stra\u00DFe",
    "\uD7FF", "\uF900", "\uFDCF", "\uFDF0", "\uFFEF", "\U00010000", "\U0001FFFD", "\U000D0000", "\U000DFFFD",
    "\U000E1000", "\U000EFFFD", "192.168.0.1", "999.1.1.1.1", "[::]", "[::1]", "[1::]", "[1:2:3:4:5:6:7:8]",
    "[fFfF:0001::]", "[1:2:3:4:5:6:7::]", "[::2:3:4:5:6:7:8]", "[1:2:3::5:6:7:8]", "[1:2:3:4:5:6:1.2.3.4]",
    "[::1.2.3.4]", "[1:2:3:4:5::1.2.3.4]", "[::255.255.255.255]", "[::0.0.0.0]", "[v1.a]", "[VF0.a:b!]" };

/** A row for each way to break the grammar. */
constexpr const char *others[] = { "%4", "%", "%4g", "%%41", "a b", "a/b", "a:b", "a@b", "a?b", "a#b", "\"", "\x7F",
    "\n", "\u009F", "\uE000", "\uF8FF", "\uFDD0", "\uFDEF", "\uFFF0", "\uFFFD", "\U0001FFFE", "\U0002FFFF",
    "\U000E0000", "\U000E0FFF", "\U000F0000", "\U0010FFFD", "[]", "[:]", "[:::]", "[1]", "[1:2:3:4:5:6:7]",
    "[1:2:3:4:5:6:7:8:9]", "[1:2:3:4:5:6:7:8::]", "[::1:2:3:4:5:6:7:8]", "[1:2:3:4::5:6:7:8]", "[1::2::3]",
    "[:1:2:3:4:5:6:7]", "[1:2:3:4:5:6:7:]", "[::1:]", "[:1::]", "[::00001]", "[::g]", "[::+1]",
    "[1:2:3:4:5:6:7:1.2.3.4]", "[1:2:3:4:5:6::1.2.3.4]", "[1.2.3.4::]", "[1.2.3.4]", "[::1.2.3.4:5]", "[::1.2.3]",
    "[::1.2.3.4.5]", "[::1.2.3.]", "[::1.2.3.256]", "[::1.2.3.04]", "[::1.2.3.+4]", "[::1%25eth0]", "[::1%eth0]",
    "[ ::1]", "[\u06F1::]", "[v.a]", "[v1.]", "[v1]", "[vg.a]", "[v1.a/b]", "[v1.\u00E4]", "[v1.%41]", "[", "]", "[::1",
    "::1]", "::1", "[::1]x", "x[::1]", "[[::1]]" };

TEST( Iri, Host )
{
    for ( const char *text : hosts )
        EXPECT_TRUE( iriGensValidatePart( test::str( text ).get(), IRI_PART_HOST ) ) << text;
    for ( const char *text : others )
        EXPECT_FALSE( iriGensValidatePart( test::str( text ).get(), IRI_PART_HOST ) ) << text;
    const PB_CHAR surrogate[] = { 'a', 0xD800 }, zero[] = { 'a', 0 };
    for ( const PB_CHAR *chars : { surrogate, zero } )
        EXPECT_FALSE(
            iriGensValidatePart( pb::adopt( pbStringCreateFromCharsCopy( chars, 2 ) ).get(), IRI_PART_HOST ) );
    EXPECT_DEATH( iriGensValidatePart( test::str( "a" ).get(), 4 ), "IRI_PART_OK\\( part \\)" );
}

} // namespace
