/* IP addresses: text, bytes, classes, order; a comparison with the system's own parser over generated texts. */
#include <arpa/inet.h>
#include <array>
#include <in/base/in_address_private.h>
#include <in/in.h>
#include <random>
#include <support/test_support.h>

namespace {

using test::str;
using test::take;

pb::Ref<IN_ADDRESS> parse( std::string_view text )
{
    return pb::adopt( inAddressTryCreateFromString( str( text ).get() ) );
}

std::string shortOf( std::string_view text )
{
    pb::Ref<IN_ADDRESS> ina = parse( text );
    return ina ? take( inAddressToStringShrink( ina.get() ) ) : "null";
}

/** A text, the short text of the address it gives ("null" for none), and the full one. */
struct Text {
    const char *text;
    const char *shrunk;
    const char *expanded;
};

constexpr Text texts[] = {
    { "192.168.0.1", "192.168.0.1", "192.168.0.1" },
    { " \t192.168.0.1\xe2\x80\x83\n", "192.168.0.1", "192.168.0.1" },
    { "010.0.0.0010", "10.0.0.10", "10.0.0.10" },
    { "+1.-0.2.3", "1.0.2.3", "1.0.2.3" },
    { "192.168.0", "null", "" },
    { "192.168.0.1.5", "null", "" },
    { "1.2.3.256", "null", "" },
    { "1.2.3.-1", "null", "" },
    { "1..2.3", "null", "" },
    { "1.2.3.4 5", "null", "" },
    { "1.2.3. 4", "null", "" },
    { "0x1.2.3.4", "null", "" },
    { "1.2.3.18446744073709551617", "null", "" },
    { "", "null", "" },
    { " ", "null", "" },
    { "::", "::", "0000:0000:0000:0000:0000:0000:0000:0000" },
    { " ::1 ", "::1", "0000:0000:0000:0000:0000:0000:0000:0001" },
    { "2001:db8::", "2001:DB8::", "2001:0DB8:0000:0000:0000:0000:0000:0000" },
    { "::ffff:1.2.3.4", "::FFFF:102:304", "0000:0000:0000:0000:0000:FFFF:0102:0304" },
    { "1:2:3:4:5:6:1.2.3.4", "1:2:3:4:5:6:102:304", "0001:0002:0003:0004:0005:0006:0102:0304" },
    { "1::3.4.5.6", "1::304:506", "0001:0000:0000:0000:0000:0000:0304:0506" },
    { "1:0:0:2:0:0:3:4", "1::2:0:0:3:4", "0001:0000:0000:0002:0000:0000:0003:0004" },
    { "1:0:2:0:0:3:4:5", "1:0:2::3:4:5", "0001:0000:0002:0000:0000:0003:0004:0005" },
    { "1:0:2:3:4:5:6:7", "1::2:3:4:5:6:7", "0001:0000:0002:0003:0004:0005:0006:0007" },
    { "0:2:3:4:5:6:7:8", "::2:3:4:5:6:7:8", "0000:0002:0003:0004:0005:0006:0007:0008" },
    { "1:2:3:4:5:6:7:0", "1:2:3:4:5:6:7::", "0001:0002:0003:0004:0005:0006:0007:0000" },
    { "00001:2:3:4:5:6:7:00008", "1:2:3:4:5:6:7:8", "0001:0002:0003:0004:0005:0006:0007:0008" },
    { "1:2:3::5:6:7:8", "1:2:3::5:6:7:8", "0001:0002:0003:0000:0005:0006:0007:0008" },
    { "::3:4:5:6:7:8", "::3:4:5:6:7:8", "0000:0000:0003:0004:0005:0006:0007:0008" },
    { "1:2:3:4:5:6::", "1:2:3:4:5:6::", "0001:0002:0003:0004:0005:0006:0000:0000" },
    // nine pieces: "::" at an end cannot stand for one group
    { "::2:3:4:5:6:7:8", "null", "" },
    { "1:2:3:4:5:6:7::", "null", "" },
    { "::3:4:5:6:7:1.2.3.4", "null", "" },
    { ":::", "null", "" },
    { ":", "null", "" },
    { "1::2::3", "null", "" },
    { "::1::", "null", "" },
    { ":1:2:3:4:5:6:7", "null", "" },
    { "1:2:3:4:5:6:7", "null", "" },
    { "1:2:3:4:5:6:7:8:9", "null", "" },
    { "1:2:3:4:5:6:7:1.2.3.4", "null", "" },
    { "::1.2.3.4:5", "null", "" },
    { "::1.2.3", "null", "" },
    { "::1.2.3.256", "null", "" },
    { ":: 1.2.3.4", "null", "" },
    { "::10000", "null", "" },
    { "::-1", "null", "" },
    { "::g", "null", "" },
    { "fe80::1%eth0", "null", "" },
    { "[::1]", "null", "" },
    { "::\xef\xbc\x91", "null", "" },
};

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
    pb::Ref<IN_ADDRESS> ina = parse( text );
    if ( !ina )
        return {};
    const PB_BYTE *bytes = inAddressBacking( ina.get() );
    return { bytes, bytes + inAddressLength( ina.get() ) };
}

/** Whether a text has more pieces between colons than the library takes; an IPv4 end counts as two. */
bool hasNinePieces( const std::string &text )
{
    return std::count( text.begin(), text.end(), ':' ) + ( text.find( '.' ) != text.npos ) >= 8;
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

/** Texts that are addresses or nearly so. */
class Generator {
public:
    std::string next()
    {
        std::string text = below( 3 ) ? v6() : v4();
        for ( unsigned changes = below( 3 ); changes > 0 && !text.empty(); --changes )
            mutate( text );
        return text;
    }

private:
    unsigned below( unsigned limit ) { return static_cast<unsigned>( engine() ) % limit; }
    std::string v4()
    {
        std::string text = std::to_string( below( 300 ) );
        for ( int i = 0; i < 3; ++i )
            text += "." + std::to_string( below( 256 ) );
        return text;
    }
    std::string v6()
    {
        unsigned groups = 2 + below( 7 );
        unsigned gap = below( 12 );
        std::string text;
        for ( unsigned i = 0; i < groups; ++i ) {
            char digits[8];
            std::snprintf(
                digits, sizeof digits, below( 4 ) ? "%x" : "%04x", below( 3 ) ? below( 65536 ) : below( 2 ) );
            text += i == gap ? ( i ? ":" : "::" ) : "";
            text += digits;
            text += i + 1 < groups ? ":" : ( gap == groups ? "::" : "" );
        }
        return below( 8 ) ? text : text.substr( 0, text.rfind( ':' ) + 1 ) + v4();
    }
    void mutate( std::string &text )
    {
        static constexpr std::string_view alphabet = "0123456789abcdefF:::..+- %g";
        std::size_t at = below( static_cast<unsigned>( text.size() ) );
        switch ( below( 3 ) ) {
        case 0:
            text.erase( at, 1 );
            break;
        case 1:
            text.insert( at, 1, alphabet[below( alphabet.size() )] );
            break;
        default:
            text[at] = alphabet[below( alphabet.size() )];
        }
    }
    std::mt19937_64 engine{ 20260228 };
};

/** An address and the classes it is in: z all zero, l loopback, p private, m multicast, k link-local, g global, u unicast. */
struct Classes {
    const char *text;
    const char *classes;
};

constexpr Classes classes[] = {
    { "0.0.0.0", "z" },
    { "0.0.0.1", "gu" },
    { "127.0.0.0", "lu" },
    { "127.255.255.255", "lu" },
    { "126.255.255.255", "gu" },
    { "10.0.0.0", "pgu" },
    { "11.0.0.0", "gu" },
    { "172.15.255.255", "gu" },
    { "172.16.0.0", "pgu" },
    { "172.31.255.255", "pgu" },
    { "172.32.0.0", "gu" },
    { "192.168.255.255", "pgu" },
    { "192.169.0.0", "gu" },
    { "169.254.1.1", "ku" },
    { "169.253.1.1", "gu" },
    { "223.255.255.255", "gu" },
    { "224.0.0.0", "m" },
    { "239.255.255.255", "m" },
    { "240.0.0.0", "gu" },
    { "255.255.255.255", "gu" },
    { "::", "z" },
    { "::1", "lu" },
    { "::2", "gu" },
    { "1::1", "gu" },
    { "::ffff:127.0.0.1", "gu" },
    { "fbff::", "gu" },
    { "fc00::", "pgu" },
    { "fdff::", "pgu" },
    { "fe7f::", "gu" },
    { "fe80::", "ku" },
    { "febf::", "ku" },
    { "fec0::", "gu" },
    { "feff::", "gu" },
    { "ff00::", "m" },
    { "2001:db8::1", "gu" },
};

/** Two addresses and how many leading bits they share. */
struct Matching {
    const char *a;
    const char *b;
    PB_INT bits;
};

constexpr Matching matching[] = {
    { "10.0.0.1", "10.0.0.129", 24 },
    { "10.0.0.1", "10.0.0.1", 32 },
    { "0.0.0.0", "128.0.0.0", 0 },
    { "10.0.0.1", "10.0.0.0", 31 },
    { "::", "::", 128 },
    { "::", "::1", 127 },
    { "fe80::", "fec0::", 9 },
    { "0.0.0.0", "::", 0 },
};

} // namespace

TEST( Address, Texts )
{
    for ( const Text &row : texts ) {
        pb::Ref<IN_ADDRESS> ina = parse( row.text );
        EXPECT_EQ( shortOf( row.text ), row.shrunk ) << row.text;
        if ( !ina )
            continue;
        EXPECT_EQ( take( inAddressToStringExpand( ina.get() ) ), row.expanded ) << row.text;
        EXPECT_EQ( test::textOf( ina.get() ), row.shrunk );
        EXPECT_TRUE( inAddressEquals( parse( row.expanded ).get(), ina.get() ) ) << row.text;
    }
}

TEST( Address, OtherTextSources )
{
    EXPECT_FALSE( inAddressTryCreateV4FromString( str( "::1" ).get() ) );
    EXPECT_FALSE( inAddressTryCreateV6FromString( str( "1.2.3.4" ).get() ) );
    EXPECT_EQ(
        test::take( inAddressToString( pb::adopt( inAddressTryCreateFromCstr( "1.2.3.4x", 7 ) ).get() ) ), "1.2.3.4" );
    EXPECT_EQ( test::take( inAddressToString( pb::adopt( inAddressTryCreateFromWcstr( L"::1", -1 ) ).get() ) ), "::1" );
    PB_CHAR chars[] = { '1', '.', '2', '.', '3', '.', '4' };
    EXPECT_EQ(
        test::take( inAddressToString( pb::adopt( inAddressTryCreateFromChars( chars, 7 ) ).get() ) ), "1.2.3.4" );
}

TEST( Address, Hosts )
{
    constexpr Text hosts[] = {
        // host text, short text, host text again
        { "192.0.2.1", "192.0.2.1", "192.0.2.1" },
        { "[::1]", "::1", "[::1]" },
        { "[2001:db8::1]", "2001:DB8::1", "[2001:DB8::1]" },
        { "::1", "null", "" },
        { "[192.0.2.1]", "null", "" },
        { "[::1", "null", "" },
        { "[]", "null", "" },
        { "", "null", "" },
        { "example.org", "null", "" },
        { "[fe80::1%25eth0]", "null", "" },
    };
    for ( const Text &row : hosts ) {
        pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressTryCreateFromHost( str( row.text ).get() ) );
        EXPECT_EQ( ina ? test::textOf( ina.get() ) : "null", row.shrunk ) << row.text;
        if ( ina ) {
            EXPECT_EQ( take( inAddressToHost( ina.get() ) ), row.expanded );
        }
    }
}

TEST( Address, AgreesWithTheSystem )
{
    Generator generator;
    int both = 0;
    int onlyLibrary = 0;
    int onlySystem = 0;
    for ( int i = 0; i < 1'000'000; ++i ) {
        std::string text = generator.next();
        std::vector<PB_BYTE> system = systemParse( text );
        std::vector<PB_BYTE> library = libraryParse( text );
        both += !system.empty() && !library.empty();
        if ( system == library )
            continue;
        if ( library.empty() ) {
            ++onlySystem;
            ASSERT_TRUE( hasNinePieces( text ) ) << text;
        } else {
            ++onlyLibrary;
            ASSERT_TRUE( system.empty() ) << text;
            ASSERT_EQ( systemParse( withoutLenience( text ) ), library ) << text;
        }
    }
    // the generator reaches every corner
    EXPECT_GT( both, 200'000 );
    EXPECT_GT( onlyLibrary, 1'000 );
    EXPECT_GT( onlySystem, 100 );
}

TEST( Address, Classes )
{
    constexpr std::pair<char, PB_BOOL ( * )( IN_ADDRESS * )> predicates[] = { { 'z', inAddressIsAllZero },
        { 'l', inAddressIsLoopback }, { 'p', inAddressIsPrivate }, { 'm', inAddressIsMulticast },
        { 'k', inAddressIsLinkLocalUnicast }, { 'g', inAddressIsGlobalUnicast }, { 'u', inAddressIsUnicast } };
    for ( const Classes &row : classes ) {
        pb::Ref<IN_ADDRESS> ina = parse( row.text );
        std::string found;
        for ( auto [letter, holds] : predicates )
            if ( holds( ina.get() ) )
                found += letter;
        EXPECT_EQ( found, row.classes ) << row.text;
    }
}

TEST( Address, MatchingBits )
{
    for ( const Matching &row : matching ) {
        EXPECT_EQ( inAddressMatchingBits( parse( row.a ).get(), parse( row.b ).get() ), row.bits )
            << row.a << ' ' << row.b;
        EXPECT_EQ( inAddressMatchingBits( parse( row.b ).get(), parse( row.a ).get() ), row.bits );
    }
}

TEST( Address, Bytes )
{
    const PB_BYTE bytes[16] = { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16 };
    for ( PB_INT length : { 0, 3, 4, 5, 15, 16, 17 } ) {
        pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreateFromBytesCopy( bytes, std::min<PB_INT>( length, 16 ) ) );
        if ( length == 17 )
            pbBufferAppendByte( buf.handle(), 17 );
        pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressTryCreateFromBuffer( buf.get() ) );
        ASSERT_EQ( bool( ina ), length == 4 || length == 16 ) << length;
        if ( ina ) {
            EXPECT_TRUE( pbBufferEquals( pb::adopt( inAddressToBuffer( ina.get() ) ).get(), buf.get() ) );
        }
    }
    pb::Ref<IN_ADDRESS> v4 = pb::adopt( inAddressCreateV4( bytes ) );
    EXPECT_EQ( inAddressByteAt( v4.get(), 3 ), 4 );
    EXPECT_EQ( inAddressBacking( v4.get() )[4], 0 );
    pb::Ref<IN_ADDRESS> compatible = pb::adopt( inAddressCreateV6FromV4( v4.get() ) );
    EXPECT_EQ( test::textOf( compatible.get() ), "::102:304" );
    EXPECT_TRUE( inAddressIsV6( compatible.get() ) );
}

TEST( Address, Misuse )
{
    pb::Ref<IN_ADDRESS> v4 = parse( "1.2.3.4" );
    pb::Ref<IN_ADDRESS> v6 = parse( "::1" );
    IN_ADDRESS *none = nullptr;
    EXPECT_DEATH( inAddressCreate( 2 ), "source/in/base/in_address.cpp:.*IN_ADDRESS_VERSION_OK\\( ver \\)" );
    EXPECT_DEATH( inAddressCreateV4( nullptr ), ": addr" );
    EXPECT_DEATH( inAddressCreateV6( nullptr ), ": addr" );
    EXPECT_DEATH( inAddressCreateFrom( nullptr ), ": ina" );
    EXPECT_DEATH( inAddressCreateV6FromV4( v6.get() ), "inAddressVersion\\( ina \\) == IN_ADDRESS_VERSION_4" );
    EXPECT_DEATH( inAddressTryCreateFromString( nullptr ), ": source" );
    EXPECT_DEATH( inAddressTryCreateFromBuffer( nullptr ), ": source" );
    EXPECT_DEATH( inAddressByteAt( v4.get(), -1 ), "byteIdx >= 0" );
    EXPECT_DEATH( inAddressByteAt( v4.get(), 4 ), "byteIdx < inAddressLength\\( ina \\)" );
    EXPECT_DEATH( inAddressSetByteAt( nullptr, 0, 0 ), ": ina" );
    EXPECT_DEATH( inAddressSetByteAt( &none, 0, 0 ), ": \\*ina" );
    EXPECT_DEATH( inAddressSetByteAt( v4.handle(), 4, 0 ), "byteIdx < inAddressLength\\( \\*ina \\)" );
    EXPECT_DEATH( inAddressIsLoopback( nullptr ), ": ina" );

    pb::Ref<IN_ADDRESS> broken = pb::adopt( inAddressCreateFrom( v4.get() ) );
    broken->version = 7;
    EXPECT_DEATH( inAddressLength( broken.get() ), "invalid address version" );
    EXPECT_DEATH( inAddressIsMulticast( broken.get() ), "invalid address version" );
    EXPECT_DEATH( inAddressToStringShrink( broken.get() ), "invalid address version" );
}
