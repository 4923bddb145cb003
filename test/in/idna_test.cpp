/* Punycode and IDNA: samples of RFC 3492, labels, names, equality. What random texts must fulfil, fuzz_idna checks. */
#include <in/dns/in_dns_idna_private.h>
#include <in/in.h>
#include <support/test_support.h>

namespace {

using namespace std::string_literals;
using namespace test;

std::string repeat( const std::string &text, int count )
{
    std::string all;
    while ( count-- > 0 )
        all += text;
    return all;
}

pb::Ref<PB_STRING> chars( const std::u32string &text )
{
    std::vector<PB_CHAR> codePoints( text.begin(), text.end() );
    return pb::adopt( pbStringCreateFromCharsCopy( codePoints.data(), PB_INT_FROM( codePoints.size() ) ) );
}

struct Sample {
    const char *text;
    const char *punycode;
};

// some of RFC 3492 section 7.1, then short ones
const Sample samples[] = {
    { "\u0644\u064A\u0647\u0645\u0627\u0628\u062A\u0643\u0644\u0645\u0648\u0634\u0639\u0631\u0628\u064A\u061F",
        "egbpdaj6bu4bxfgehfvwxn" },
    { "他们为什么不说中文", "ihqwcrb4cv8a8dqg056pqjye" },
    { "Pročprostěnemluvíčesky", "Proprostnemluvesky-uyb24dma41a" },
    { "почемужеонинеговорятпорусски", "b1abfaaepdrnnbgefbadotcwatmq2g4l" },
    { "PorquénopuedensimplementehablarenEspañol", "PorqunopuedensimplementehablarenEspaol-fmd56a" },
    { "3年B組金八先生", "3B-ww4c5e180e575a65lsy2b" },
    { "安室奈美恵-with-SUPER-MONKEYS", "-with-SUPER-MONKEYS-pc58ag80a8qai00g7n9n" }, { "-> $1.00 <-", "-> $1.00 <--" },
    { "", "" }, { "a", "a-" }, { "-", "--" }, { "\u0080", "a" }, { "\U0010FFFE", "cn32g" } };

TEST( Punycode, Samples )
{
    for ( const Sample &sample : samples ) {
        auto length = pbStringLength( str( sample.punycode ).get() );
        auto textLength = pbStringLength( str( sample.text ).get() );
        for ( PB_INT limit : { PB_INT_FROM( -1 ), length } )
            EXPECT_EQ( take( inDnsPunycodeTryEncode( str( sample.text ).get(), limit ) ), sample.punycode );
        for ( PB_INT limit : { PB_INT_FROM( -1 ), textLength } )
            EXPECT_EQ( take( inDnsPunycodeTryDecode( str( sample.punycode ).get(), limit ) ), sample.text );
        if ( length == 0 )
            continue;
        EXPECT_EQ( inDnsPunycodeTryEncode( str( sample.text ).get(), length - 1 ), nullptr ) << sample.text;
        EXPECT_EQ( inDnsPunycodeTryDecode( str( sample.punycode ).get(), textLength - 1 ), nullptr );
    }
    EXPECT_EQ( take( inDnsPunycodeTryDecode( str( "IHQWCRB4CV8A8DQG056PQJYE" ).get(), -1 ) ), samples[1].text );
}

TEST( Punycode, IsNone )
{
    // a delimiter with nothing before it; no digit, not basic; cut short; beyond U+10FFFF; beyond all numbers
    for ( const char *text : { "-", "-a", "-ihq", "a-!", "a b", "abc-é", "é-a", "ihqwcrb4cv8a8dqg056pqjy", "9", "a-99",
              "dn32h", "dn32gb", "99999b", "99999999999999999999999999", "a-999999999999999a" } )
        EXPECT_EQ( take( inDnsPunycodeTryDecode( str( text ).get(), -1 ) ), "(null)" );
    pb::Ref<PB_STRING> last = pb::adopt( inDnsPunycodeTryDecode( str( "dn32g" ).get(), -1 ) );
    EXPECT_EQ( pbStringCharAt( last.get(), 0 ), 0x10FFFFU );
}

struct Name {
    std::string name, ascii;
    std::string unicode = ascii; // of the name, not of its ASCII form
};

const std::string letters63( 63, 'a' );

const Name labels[] = { { "Example", "Example" }, { "_sip", "_sip" }, { " !", " !" }, { "-a-", "-a-" },
    { letters63, letters63 }, { "Bücher", "xn--bcher-kva", "Bücher" }, { "xn--bcher-kva", "xn--bcher-kva", "bücher" },
    { "XN--BCHER-KVA", "XN--BCHER-KVA", "BüCHER" }, { "Xn--bcher-kva", "Xn--bcher-kva", "bücher" },
    { "xN--bcher-kva", "xN--bcher-kva", "bücher" }, { "straße", "strasse", "straße" }, { "ａｂｃ", "abc", "ａｂｃ" },
    { "ｘn--bcher-kva", "xn--bcher-kva", "bücher" }, { "xn-ü", "xn--xn--joa", "xn-ü" },
    // not what the encoder writes, or nothing that it would encode
    { "xn--", "xn--" }, { "xn--!", "xn--!" }, { "xn--abc-", "xn--abc-" }, { "xn--bcher-kvb", "xn--bcher-kvb" },
    { "xn--strae-oqa", "xn--strae-oqa" }, { "xn--dn32g", "xn--dn32g" },
    // mapped to nothing, also where that makes it short enough; unassigned
    { "a\u00ADb", "ab", "a\u00ADb" }, { letters63 + "\u00AD", letters63, letters63 + "\u00AD" },
    { "\u0221", "xn--6la", "\u0221" } };

const Name names[] = { { "a.b", "a.b" }, { "a\u3002b", "a.b" }, { "a\uFF0Eb\uFF61c.", "a.b.c" }, { "a\u3002", "a" },
    { "192.0.2.1", "192.0.2.1" }, { "www.Bücher.example", "www.xn--bcher-kva.example", "www.Bücher.example" },
    { "WWW.XN--bcher-KVA.example.", "WWW.XN--bcher-KVA.example", "WWW.bücher.example" } };

void checkName( const Name &row )
{
    pb::Ref<PB_STRING> name = str( row.name );
    ASSERT_TRUE( inDnsIdnaDomainNameOk( name.get() ) ) << row.name;
    EXPECT_EQ( take( inDnsIdnaDomainNameToAscii( name.get() ) ), row.ascii );
    EXPECT_EQ( take( inDnsIdnaDomainNameToUnicode( name.get() ) ), row.unicode );
}

TEST( Idna, Names )
{
    for ( const Name &row : labels ) {
        checkName( row );
        EXPECT_EQ( take( inDnsIdnaLabelToAscii( str( row.name ).get() ) ), row.ascii );
        EXPECT_EQ( take( inDnsIdnaLabelToUnicode( str( row.name ).get() ) ), row.unicode );
    }
    for ( const Name &row : names )
        checkName( row );
    // too long; the prefix before what is encoded; prohibited, nothing left, both directions
    for ( const std::string &label : { std::string(), letters63 + "a", "xn--ü"s, "XN--ü"s, "Xn--ü"s, "xN--ü"s,
              "a\u2028b"s, "a\uE000"s, "\u00AD"s, "\u05D0a"s } ) {
        EXPECT_FALSE( inDnsIdnaLabelOk( str( label ).get() ) ) << label;
        for ( const std::string &name : { label, label + ".", "a." + label + ".b" } )
            EXPECT_FALSE( inDnsIdnaDomainNameOk( str( name ).get() ) ) << name;
    }
    for ( const char *name : { "a..", "a..b", ".a", "a\u3002.b" } )
        EXPECT_FALSE( inDnsIdnaDomainNameOk( str( name ).get() ) ) << name;
    // the longest that is encoded: "xn--" and 59; no bound on the whole
    EXPECT_TRUE( inDnsIdnaLabelOk( str( repeat( "ü", 57 ) ).get() ) );
    EXPECT_FALSE( inDnsIdnaLabelOk( str( repeat( "ü", 58 ) ).get() ) );
    pb::Ref<PB_STRING> longName = str( repeat( letters63 + ".", 1000 ) );
    EXPECT_EQ( pbStringLength( pb::adopt( inDnsIdnaDomainNameToAscii( longName.get() ) ).get() ), 63'999 );
}

TEST( Idna, Flags )
{
    EXPECT_FALSE( in___DnsIdnaLabelOk( str( "\u0221" ).get(), false, false ) );
    for ( PB_CHAR ch = 0; ch <= 0x80; ++ch ) {
        pb::Ref<PB_STRING> label = chars( std::u32string{ U'a', ch, U'a' } );
        bool letterDigitHyphen = ch < 0x80 && ( std::isalnum( static_cast<int>( ch ) ) || ch == '-' );
        EXPECT_EQ( in___DnsIdnaLabelOk( label.get(), true, true ), letterDigitHyphen ) << ch;
    }
    for ( const char *label : { "-", "-a", "a-", "" } )
        EXPECT_FALSE( in___DnsIdnaLabelOk( str( label ).get(), true, true ) ) << label;
    EXPECT_EQ( in___DnsIdnaLabelsTrySplit( str( "a.b_c" ).get(), true, true ), nullptr );
}

TEST( Idna, Equality )
{
    struct Pair {
        const char *a, *b;
        bool equal;
    };
    // the last two are not prepared
    for ( const Pair &pair : { Pair{ "a.B", "A\u3002b.", true }, { "Bücher.example", "xn--bcher-kva.Example", true },
              { "BÜCHER", "XN--BCHER-KVA", true }, { "straße", "STRASSE", true }, { "a.b", "a.b.c", false },
              { "bücher", "bucher", false }, { "bücher", "xn--bcher-kvb", false }, { "ａ", "a", false },
              { "u\u0308", "ü", false } } ) {
        EXPECT_EQ( inDnsIdnaDomainNameEquals( str( pair.a ).get(), str( pair.b ).get() ), pair.equal ) << pair.a;
        EXPECT_EQ( inDnsIdnaDomainNameEquals( str( pair.b ).get(), str( pair.a ).get() ), pair.equal ) << pair.a;
    }
}

} // namespace
