/* Punycode and IDNA: the samples of RFC 3492, labels, names, equality, random texts. */
#include <algorithm>
#include <in/dns/in_dns_idna_private.h>
#include <in/in.h>
#include <pb/pb_text.hpp>
#include <random>
#include <support/misuse.h>

namespace {

using test::str;
using test::take;

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

// RFC 3492 section 7.1, (A) to (S), then short ones
const Sample samples[] = {
    { "\u0644\u064A\u0647\u0645\u0627\u0628\u062A\u0643\u0644\u0645\u0648\u0634\u0639\u0631\u0628\u064A\u061F",
        "egbpdaj6bu4bxfgehfvwxn" },
    { "他们为什么不说中文", "ihqwcrb4cv8a8dqg056pqjye" },
    { "他們爲什麽不說中文", "ihqwctvzc91f659drss3x8bo0yb" },
    { "Pročprostěnemluvíčesky", "Proprostnemluvesky-uyb24dma41a" },
    { "\u05DC\u05DE\u05D4\u05D4\u05DD\u05E4\u05E9\u05D5\u05D8\u05DC\u05D0\u05DE\u05D3\u05D1\u05E8\u05D9\u05DD\u05E2"
      "\u05D1\u05E8\u05D9\u05EA",
        "4dbcagdahymbxekheh6e0a7fei0b" },
    { "यहलोगहिन्दीक्योंनहींबोलसकतेहैं", "i1baa7eci9glrd9b2ae1bj0hfcgg6iyaf8o0a1dig0cd" },
    { "なぜみんな日本語を話してくれないのか", "n8jok5ay5dzabd5bym9f0cm5685rrjetr6pdxa" },
    { "세계의모든사람들이한국어를이해한다면얼마나좋을까",
        "989aomsvi5e83db1d2a355cv1e0vak1dwrv93d5xbh15a0dt30a5jpsd879ccm6fea98c" },
    { "почемужеонинеговорятпорусски", "b1abfaaepdrnnbgefbadotcwatmq2g4l" },
    { "PorquénopuedensimplementehablarenEspañol", "PorqunopuedensimplementehablarenEspaol-fmd56a" },
    { "TạisaohọkhôngthểchỉnóitiếngViệt", "TisaohkhngthchnitingVit-kjcr8268qyxafd2f1b9g" },
    { "3年B組金八先生", "3B-ww4c5e180e575a65lsy2b" },
    { "安室奈美恵-with-SUPER-MONKEYS", "-with-SUPER-MONKEYS-pc58ag80a8qai00g7n9n" },
    { "Hello-Another-Way-それぞれの場所", "Hello-Another-Way--fc4qua05auwb3674vfr0b" },
    { "ひとつ屋根の下2", "2-u9tlzr9756bt3uc0v" },
    { "MajiでKoiする5秒前", "MajiKoi5-783gue6qz075azm5e" },
    { "パフィーdeルンバ", "de-jg4avhby1noc0d" },
    { "そのスピードで", "d9juau41awczczp" },
    { "-> $1.00 <-", "-> $1.00 <--" },
    { "", "" },
    { "a", "a-" },
    { "-", "--" },
    { "\u0080", "a" },
    { "\U0010FFFE", "cn32g" },
};

} // namespace

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
    const std::u32string texts[] = {
        U"-",
        U"-a",
        U"-ihq", // a delimiter with nothing before it
        U"a-!",
        U"a b",
        U"abc-\u00e9",
        U"é-a", // what is no digit, or not basic
        U"ihqwcrb4cv8a8dqg056pqjy",
        U"9",
        U"a-99", // cut short
        U"dn32h",
        U"dn32hb",
        U"99999b", // U+10FFFF is the last one
        U"99999999999999999999999999",
        U"a-999999999999999a",
    };
    for ( const std::u32string &text : texts )
        EXPECT_EQ( take( inDnsPunycodeTryDecode( chars( text ).get(), -1 ) ), "(null)" );
    pb::Ref<PB_STRING> last = pb::adopt( inDnsPunycodeTryDecode( str( "dn32g" ).get(), -1 ) );
    EXPECT_EQ( pbStringCharAt( last.get(), 0 ), 0x10FFFFU );
}

namespace {

struct Label {
    std::string label;
    const char *ascii;   // null when it is none
    const char *unicode; // of the label, not of its ASCII form
};

const std::string letters63( 63, 'a' );
const std::string letters64( 64, 'a' );

const Label labels[] = {
    { "Example", "Example", "Example" },
    { "_sip", "_sip", "_sip" },
    { " !", " !", " !" },
    { "-a-", "-a-", "-a-" },
    { letters63, letters63.c_str(), letters63.c_str() },
    { letters64, nullptr, nullptr },
    { "", nullptr, nullptr },
    { "Bücher", "xn--bcher-kva", "Bücher" },
    { "xn--bcher-kva", "xn--bcher-kva", "bücher" },
    { "XN--BCHER-KVA", "XN--BCHER-KVA", "BüCHER" },
    { "Xn--bcher-kva", "Xn--bcher-kva", "bücher" },
    { "xN--bcher-kva", "xN--bcher-kva", "bücher" },
    { "straße", "strasse", "straße" },
    { "ａｂｃ", "abc", "ａｂｃ" },
    { "ｘn--bcher-kva", "xn--bcher-kva", "bücher" },
    // not what the encoder writes, or nothing that it would encode
    { "xn--", "xn--", "xn--" },
    { "xn--!", "xn--!", "xn--!" },
    { "xn--abc-", "xn--abc-", "xn--abc-" },
    { "xn--bcher-kvb", "xn--bcher-kvb", "xn--bcher-kvb" },
    { "xn--strae-oqa", "xn--strae-oqa", "xn--strae-oqa" },
    { "xn--dn32g", "xn--dn32g", "xn--dn32g" },
    // the prefix does not go before what is encoded
    { "xn--ü", nullptr, nullptr },
    { "XN--ü", nullptr, nullptr },
    { "Xn--ü", nullptr, nullptr },
    { "xN--ü", nullptr, nullptr },
    { "xn-ü", "xn--xn--joa", "xn-ü" },
    // nameprep: prohibited, mapped to nothing, both directions in one label, unassigned
    { "a\u2028b", nullptr, nullptr },
    { "a\uE000", nullptr, nullptr },
    { "\u00AD", nullptr, nullptr },
    { "a\u00ADb", "ab", "a\u00ADb" },
    { letters63 + "\u00AD", letters63.c_str(),
        "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\u00AD" },
    { "\u05D0a", nullptr, nullptr },
    { "\u0221", "xn--6la", "\u0221" },
};

} // namespace

TEST( Idna, Labels )
{
    for ( const Label &row : labels ) {
        pb::Ref<PB_STRING> label = str( row.label );
        EXPECT_EQ( inDnsIdnaLabelOk( label.get() ), row.ascii != nullptr ) << row.label;
        if ( !row.ascii )
            continue;
        EXPECT_EQ( take( inDnsIdnaLabelToAscii( label.get() ) ), row.ascii );
        EXPECT_EQ( take( inDnsIdnaLabelToUnicode( label.get() ) ), row.unicode );
    }
    // the longest that is encoded: "xn--" and 59
    EXPECT_TRUE( inDnsIdnaLabelOk( str( repeat( "ü", 57 ) ).get() ) );
    EXPECT_FALSE( inDnsIdnaLabelOk( str( repeat( "ü", 58 ) ).get() ) );
}

TEST( Idna, Flags )
{
    auto ok = []( const char *label, bool allowUnassigned, bool std3 ) {
        return in___DnsIdnaLabelOk( str( label ).get(), allowUnassigned, std3 );
    };
    EXPECT_TRUE( ok( "\u0221", true, false ) );
    EXPECT_FALSE( ok( "\u0221", false, false ) );
    for ( PB_CHAR ch = 0; ch <= 0x80; ++ch ) {
        pb::Ref<PB_STRING> label = chars( std::u32string{ U'a', ch, U'a' } );
        bool letterDigitHyphen = ch < 0x80 && ( std::isalnum( static_cast<int>( ch ) ) || ch == '-' );
        EXPECT_EQ( in___DnsIdnaLabelOk( label.get(), true, true ), letterDigitHyphen ) << ch;
    }
    for ( const char *label : { "-", "-a", "a-", "" } )
        EXPECT_FALSE( ok( label, true, true ) ) << label;
    EXPECT_EQ( in___DnsIdnaLabelsTrySplit( str( "a.b_c" ).get(), true, true ), nullptr );
    EXPECT_EQ( take( in___DnsIdnaDomainNameToUnicode( str( "a.b-c." ).get(), true, true ) ), "a.b-c" );
}

TEST( Idna, Names )
{
    struct Name {
        std::string name;
        const char *ascii; // null when it is none
        const char *unicode;
    };
    const Name names[] = {
        { "a", "a", "a" },
        { "a.b", "a.b", "a.b" },
        { "a\u3002b", "a.b", "a.b" },
        { "a\uFF0Eb\uFF61c.", "a.b.c", "a.b.c" },
        { "a\u3002", "a", "a" },
        { "www.Bücher.example", "www.xn--bcher-kva.example", "www.Bücher.example" },
        { "WWW.XN--bcher-KVA.example.", "WWW.XN--bcher-KVA.example", "WWW.bücher.example" },
        { "192.0.2.1", "192.0.2.1", "192.0.2.1" },
        { "", nullptr, nullptr },
        { ".", nullptr, nullptr },
        { "a..", nullptr, nullptr },
        { "a..b", nullptr, nullptr },
        { ".a", nullptr, nullptr },
        { "a\u3002.b", nullptr, nullptr },
        { "a.xn--ü.b", nullptr, nullptr },
        { "a." + letters64, nullptr, nullptr },
        { letters64 + ".", nullptr, nullptr },
    };
    for ( const Name &row : names ) {
        EXPECT_EQ( inDnsIdnaDomainNameOk( str( row.name ).get() ), row.ascii != nullptr ) << row.name;
        if ( !row.ascii )
            continue;
        EXPECT_EQ( take( inDnsIdnaDomainNameToAscii( str( row.name ).get() ) ), row.ascii );
        EXPECT_EQ( take( inDnsIdnaDomainNameToUnicode( str( row.name ).get() ) ), row.unicode );
    }
    // no bound on the whole
    pb::Ref<PB_STRING> longName = str( repeat( letters63 + ".", 1000 ) );
    EXPECT_EQ( pbStringLength( pb::adopt( inDnsIdnaDomainNameToAscii( longName.get() ) ).get() ), 63'999 );
}

TEST( Idna, Equality )
{
    struct Pair {
        const char *a, *b;
        bool equal;
    };
    const Pair pairs[] = {
        { "a.B", "A\u3002b.", true }, { "Bücher.example", "xn--bcher-kva.Example", true },
        { "BÜCHER", "XN--BCHER-KVA", true }, { "straße", "STRASSE", true }, { "a.b", "a.b.c", false },
        { "bücher", "bucher", false }, { "bücher", "xn--bcher-kvb", false }, { "ａ", "a", false }, // not prepared
        { "u\u0308", "ü", false },                                                                 // nor composed
    };
    for ( const Pair &pair : pairs ) {
        EXPECT_EQ( inDnsIdnaDomainNameEquals( str( pair.a ).get(), str( pair.b ).get() ), pair.equal ) << pair.a;
        EXPECT_EQ( inDnsIdnaDomainNameEquals( str( pair.b ).get(), str( pair.a ).get() ), pair.equal ) << pair.a;
    }
}

TEST( Idna, RandomNames )
{
    // what nameprep only folds, so that a name and its prepared form are equal
    const std::u32string pool = U"aZ9-_.\u3002éÜßñŁσςЖжहि日本語세계ﬀİ\u00AD\u2028";
    const std::u32string prefix = U"xn--";
    std::mt19937_64 random( 1 );
    int good = 0;
    for ( int i = 0; i < 6'000; ++i ) {
        std::u32string text;
        for ( std::size_t length = random() % 24; text.size() < length; )
            text += random() % 16 == 0 ? prefix : pool.substr( random() % pool.size(), 1 );
        if ( random() % 2 )
            std::erase( text, U'\u00AD' ); // which folding keeps
        pb::Ref<PB_STRING> name = chars( text );
        if ( !inDnsIdnaDomainNameOk( name.get() ) )
            continue;
        ++good;
        pb::Ref<PB_STRING> ascii = pb::adopt( inDnsIdnaDomainNameToAscii( name.get() ) );
        pb::Ref<PB_STRING> unicode = pb::adopt( inDnsIdnaDomainNameToUnicode( ascii.get() ) );
        pb::Ref<PB_STRING> again = pb::adopt( inDnsIdnaDomainNameToAscii( unicode.get() ) );
        EXPECT_TRUE( std::ranges::all_of( pb::chars( ascii.get() ), []( PB_CHAR ch ) { return ch < 0x80; } ) );
        EXPECT_TRUE( pbStringEqualsCaseFold( again.get(), ascii.get() ) ) << pb::text( name.get() );
        EXPECT_TRUE( inDnsIdnaDomainNameEquals( unicode.get(), ascii.get() ) ) << pb::text( name.get() );
        bool folded = text.find( U'\u00AD' ) == text.npos;
        EXPECT_TRUE( !folded || inDnsIdnaDomainNameEquals( unicode.get(), name.get() ) ) << pb::text( name.get() );
    }
    EXPECT_GT( good, 500 );
}

TEST( Punycode, RandomTexts )
{
    const std::u32string digits = U"abcdefghijklmnopqrstuvwxyzABCXYZ0123456789----é";
    std::mt19937_64 random( 2 );
    int good = 0;
    for ( int i = 0; i < 50'000; ++i ) {
        std::u32string text;
        for ( std::size_t length = random() % 12; text.size() < length; )
            text += digits[random() % digits.size()];
        pb::Ref<PB_STRING> decoded = pb::adopt( inDnsPunycodeTryDecode( chars( text ).get(), 63 ) );
        if ( !decoded )
            continue;
        ++good;
        pb::Ref<PB_STRING> encoded = pb::adopt( inDnsPunycodeTryEncode( decoded.get(), 63 ) );
        ASSERT_TRUE( encoded );
        EXPECT_TRUE( pbStringEqualsCaseFold( encoded.get(), chars( text ).get() ) ) << pb::text( encoded.get() );
    }
    EXPECT_GT( good, 2'000 );
}

TEST( Idna, Misuse )
{
    pb::Ref<PB_STRING> a = str( "a" ), bad = str( ".a" ), last = chars( U"\U0010FFFF" );
    test::expectAborts( {
        { "inDnsIdnaLabelOk( adnLabel )", [&] { inDnsIdnaLabelToUnicode( str( "" ).get() ); } },
        { "idnLabels", [&] { inDnsIdnaDomainNameToAscii( bad.get() ); } },
        { "idnB", [&] { inDnsIdnaDomainNameEquals( a.get(), nullptr ); } },
        { "maxResultLength >= -1", [&] { inDnsPunycodeTryDecode( a.get(), -2 ); } },
        { "n < PB_CHAR_MAX", [&] { inDnsPunycodeTryEncode( last.get(), -1 ); } },
    } );
}
