/* IP addresses: text, bytes, classes, order; a comparison with the system's own parser over generated texts. */
#include <arpa/inet.h>
#include <in/base/in_address_private.h>
#include <support/addresses.hpp>

namespace {

using namespace test;

/** A text and the short text of the address it gives. */
using Text = std::pair<const char *, const char *>;

constexpr Text texts[] = { { " \t192.168.0.1\xe2\x80\x83\n", "192.168.0.1" }, { "010.0.0.0010", "10.0.0.10" },
    { "+1.-0.2.3", "1.0.2.3" }, { " ::1 ", "::1" }, { "2001:db8::", "2001:DB8::" },
    { "::ffff:1.2.3.4", "::FFFF:102:304" }, { "1:2:3:4:5:6:1.2.3.4", "1:2:3:4:5:6:102:304" },
    { "1::3.4.5.6", "1::304:506" }, { "1:0:0:2:0:0:3:4", "1::2:0:0:3:4" }, { "1:0:2:0:0:3:4:5", "1:0:2::3:4:5" },
    { "1:0:2:3:4:5:6:7", "1::2:3:4:5:6:7" }, { "0:2:3:4:5:6:7:8", "::2:3:4:5:6:7:8" },
    { "1:2:3:4:5:6:7:0", "1:2:3:4:5:6:7::" }, { "00001:2:3:4:5:6:7:00008", "1:2:3:4:5:6:7:8" },
    { "1:2:3::5:6:7:8", "1:2:3::5:6:7:8" }, { "::3:4:5:6:7:8", "::3:4:5:6:7:8" }, { "1:2:3:4:5:6::", "1:2:3:4:5:6::" },
    { "::2:3:4:5:6:7:8", "::2:3:4:5:6:7:8" }, { "2001:DB8:1:2:3:4:5::", "2001:DB8:1:2:3:4:5::" },
    { "::3:4:5:6:7:1.2.3.4", "::3:4:5:6:7:102:304" } };

/** What gives none; so do ten pieces, and nine unless "::" stands at an end. */
constexpr const char *badTexts[] = { "", " ", "192.168.0", "192.168.0.1.5", "1.2.3.256", "1.2.3.-1", "1..2.3",
    "1.2.3. 4", "0x1.2.3.4", "1.2.3.18446744073709551617", "::1:2:3:4:5:6:7:8", "1:2:3:4:5:6:7:8::", "1::2:3:4:5:6:7:8",
    "::2:3:4:5:6:7::", "1:2:3:4:5:6:7:::", "::2:3:4:5:6:7:1.2.3.4", ":::", ":", "1::2::3", ":1:2:3:4:5:6:7",
    "1:2:3:4:5:6:7", "1:2:3:4:5:6:7:8:9", "1:2:3:4:5:6:7:1.2.3.4", "::1.2.3.4:5", "::1.2.3", ":: 1.2.3.4", "::10000",
    "::-1", "fe80::1%eth0", "[::1]", "::\xef\xbc\x91" };

/** What glibc's parser makes of the text: the bytes, or nothing. */
std::vector<PB_BYTE> systemParse( const std::string &text )
{
    std::vector<PB_BYTE> bytes( 16 );
    if ( inet_pton( AF_INET, text.c_str(), bytes.data() ) == 1 )
        bytes.resize( 4 );
    else if ( inet_pton( AF_INET6, text.c_str(), bytes.data() ) != 1 )
        bytes.clear();
    return bytes;
}

std::vector<PB_BYTE> libraryParse( const std::string &text )
{
    pb::Ref<IN_ADDRESS> ina = address( text );
    if ( !ina )
        return {};
    const PB_BYTE *bytes = inAddressBacking( ina.get() );
    return { bytes, bytes + inAddressLength( ina.get() ) };
}

/** The text without what only the library takes: blanks around it, signs, leading zeros. */
std::string withoutLenience( const std::string &text )
{
    std::string plain;
    bool atNumber = true;
    for ( std::size_t i = 0; i < text.size(); ++i ) {
        bool more = i + 1 < text.size() && std::isxdigit( static_cast<unsigned char>( text[i + 1] ) );
        bool skipped =
            text[i] == ' ' || ( atNumber && ( text[i] == '+' || text[i] == '-' || ( text[i] == '0' && more ) ) );
        if ( skipped )
            continue;
        atNumber = text[i] == ':' || text[i] == '.';
        plain += text[i];
    }
    return plain;
}

/** The short text of a row with up to three changes. */
std::string changed( std::mt19937_64 &random )
{
    static constexpr std::string_view alphabet = "0123456789abcdefF:::..+- %g";
    std::string text = texts[random() % std::size( texts )].second;
    for ( auto changes = random() % 4; changes > 0 && !text.empty(); --changes )
        text.replace( random() % text.size(), random() % 2, random() % 3, alphabet[random() % alphabet.size()] );
    return text;
}

/** Classes: z all zero, l loopback, p private, m multicast, k link-local, g global, u unicast; and who is in them. */
const std::pair<std::string, std::vector<const char *>> classes[] = { { "z", { "0.0.0.0", "::" } },
    { "lu", { "127.0.0.0", "127.255.255.255", "::1" } },
    { "gu", { "0.0.0.1", "126.255.255.255", "11.0.0.0", "172.15.255.255", "172.32.0.0", "192.169.0.0", "169.253.1.1",
                "223.255.255.255", "240.0.0.0", "255.255.255.255", "::2", "1::1", "::ffff:127.0.0.1",
                "fbff::", "fe7f::", "fec0::", "feff::", "2001:db8::1" } },
    { "pgu", { "10.0.0.0", "172.16.0.0", "172.31.255.255", "192.168.255.255", "fc00::", "fdff::" } },
    { "ku", { "169.254.1.1", "fe80::", "febf::" } }, { "m", { "224.0.0.0", "239.255.255.255", "ff00::" } } };

} // namespace

TEST( Address, Texts )
{
    for ( auto [text, shrunk] : texts ) {
        pb::Ref<IN_ADDRESS> ina = address( text );
        ASSERT_TRUE( ina ) << text;
        EXPECT_EQ( test::textOf( ina.get() ), shrunk ) << text;
        EXPECT_EQ( take( inAddressToStringShrink( ina.get() ) ), shrunk );
        EXPECT_TRUE( inAddressEquals( address( shrunk ).get(), ina.get() ) ) << text;
        std::string expanded = take( inAddressToStringExpand( ina.get() ) );
        EXPECT_TRUE( inAddressEquals( address( expanded ).get(), ina.get() ) ) << text;
        EXPECT_TRUE( inAddressIsV4( ina.get() ) || expanded.size() == 39 );
    }
    for ( const char *text : badTexts )
        EXPECT_FALSE( address( text ) ) << text;
    EXPECT_EQ(
        take( inAddressToStringExpand( address( "2001:db8::" ).get() ) ), "2001:0DB8:0000:0000:0000:0000:0000:0000" );
    EXPECT_FALSE( pb::adopt( inAddressTryCreateV4FromString( str( "::1" ).get() ) ) );
    EXPECT_FALSE( pb::adopt( inAddressTryCreateV6FromString( str( "1.2.3.4" ).get() ) ) );
    PB_CHAR chars[] = { '1', '.', '2', '.', '3', '.', '4' };
    for ( IN_ADDRESS *ina : { inAddressTryCreateFromCstr( "1.2.3.4x", 7 ),
              inAddressTryCreateFromWcstr( L"1.2.3.4", -1 ), inAddressTryCreateFromChars( chars, 7 ) } )
        EXPECT_EQ( test::textOf( pb::adopt( ina ).get() ), "1.2.3.4" );
}

TEST( Address, Hosts )
{
    for ( auto [text, shrunk] : { Text{ "192.0.2.1", "192.0.2.1" }, Text{ "[2001:DB8::1]", "2001:DB8::1" },
              Text{ "[1:2:3:4:5:6:7::]", "1:2:3:4:5:6:7::" } } ) {
        pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressTryCreateFromHost( str( text ).get() ) );
        EXPECT_EQ( test::textOf( ina.get() ), shrunk );
        EXPECT_EQ( take( inAddressToHost( ina.get() ) ), text );
    }
    for ( const char *text : { "::1", "[192.0.2.1]", "[::1", "[]", "", "example.org", "[fe80::1%25eth0]" } )
        EXPECT_FALSE( pb::adopt( inAddressTryCreateFromHost( str( text ).get() ) ) ) << text;
}

/** The library takes what the system takes, and beyond that only what its lenience explains. */
TEST( Address, AgreesWithTheSystem )
{
    std::mt19937_64 random( 20260228 );
    int both = 0, onlyLibrary = 0, ninePieces = 0;
    for ( int i = 0; i < 200'000; ++i ) {
        std::string text = changed( random );
        std::vector<PB_BYTE> system = systemParse( text ), library = libraryParse( text );
        both += !system.empty();
        ninePieces += !system.empty() && std::count( text.begin(), text.end(), ':' ) == 8;
        if ( system == library )
            continue;
        ++onlyLibrary;
        ASSERT_TRUE( system.empty() ) << text;
        ASSERT_EQ( systemParse( withoutLenience( text ) ), library ) << text;
    }
    // the changes reach every corner
    EXPECT_GT( both, 40'000 );
    EXPECT_GT( onlyLibrary, 200 );
    EXPECT_GT( ninePieces, 20 );
}

TEST( Address, Classes )
{
    constexpr std::pair<char, PB_BOOL ( * )( IN_ADDRESS * )> predicates[] = { { 'z', inAddressIsAllZero },
        { 'l', inAddressIsLoopback }, { 'p', inAddressIsPrivate }, { 'm', inAddressIsMulticast },
        { 'k', inAddressIsLinkLocalUnicast }, { 'g', inAddressIsGlobalUnicast }, { 'u', inAddressIsUnicast } };
    for ( const auto &[letters, members] : classes )
        for ( const char *text : members ) {
            std::string found;
            for ( auto [letter, holds] : predicates )
                if ( holds( address( text ).get() ) )
                    found += letter;
            EXPECT_EQ( found, letters ) << text;
        }
}

TEST( Address, MatchingBits )
{
    struct {
        const char *a, *b;
        PB_INT bits;
    } const rows[] = { { "10.0.0.1", "10.0.0.129", 24 }, { "10.0.0.1", "10.0.0.1", 32 }, { "0.0.0.0", "128.0.0.0", 0 },
        { "10.0.0.1", "10.0.0.0", 31 }, { "::", "::", 128 }, { "fe80::", "fec0::", 9 }, { "0.0.0.0", "::", 0 } };
    for ( const auto &row : rows ) {
        EXPECT_EQ( inAddressMatchingBits( address( row.a ).get(), address( row.b ).get() ), row.bits )
            << row.a << row.b;
        EXPECT_EQ( inAddressMatchingBits( address( row.b ).get(), address( row.a ).get() ), row.bits );
    }
}

TEST( Address, Bytes )
{
    const PB_BYTE bytes[17] = { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17 };
    for ( PB_INT length : { 0, 3, 4, 5, 15, 16, 17 } ) {
        pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreateFromBytesCopy( bytes, length ) );
        pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressTryCreateFromBuffer( buf.get() ) );
        ASSERT_EQ( bool( ina ), length == 4 || length == 16 ) << length;
        EXPECT_TRUE( !ina || pbBufferEquals( pb::adopt( inAddressToBuffer( ina.get() ) ).get(), buf.get() ) );
    }
    pb::Ref<IN_ADDRESS> v4 = pb::adopt( inAddressCreateV4( bytes ) );
    EXPECT_EQ( inAddressByteAt( v4.get(), 3 ), 4 );
    EXPECT_EQ( inAddressBacking( v4.get() )[4], 0 );
    EXPECT_EQ( test::textOf( pb::adopt( inAddressCreateV6FromV4( v4.get() ) ).get() ), "::102:304" );
}

TEST( AddressDeathTest, Misuse )
{
    pb::Ref<IN_ADDRESS> v4 = address( "1.2.3.4" );
    EXPECT_DEATH( inAddressCreate( 2 ), "source/in/base/in_address.cpp:.*IN_ADDRESS_VERSION_OK\\( ver \\)" );
    EXPECT_DEATH(
        inAddressCreateV6FromV4( address( "::" ).get() ), "inAddressVersion\\( ina \\) == IN_ADDRESS_VERSION_4" );
    EXPECT_DEATH( inAddressSetByteAt( v4.handle(), 4, 0 ), "byteIdx < inAddressLength\\( \\*ina \\)" );
    v4->version = 7;
    EXPECT_DEATH( inAddressToStringShrink( v4.get() ), "invalid address version" );
}
