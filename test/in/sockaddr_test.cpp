/* Socket addresses: records byte by byte, what is refused, which objects are kept. */
#include <arpa/inet.h>
#include <cstring>
#include <in/imp/in_imp_sockaddr_unix_private.h>
#include <support/addresses.hpp>

namespace {

using namespace test;
using Bytes = std::vector<unsigned char>;

/** The record that the system itself makes of an address. */
Bytes record( const std::string &text, unsigned port )
{
    sockaddr_in6 in6 = {};
    sockaddr_in in4 = {};
    in4.sin_family = AF_INET;
    in6.sin6_family = AF_INET6;
    in4.sin_port = in6.sin6_port = htons( static_cast<uint16_t>( port ) );
    Bytes bytes( sizeof in4 );
    if ( inet_pton( AF_INET, text.c_str(), &in4.sin_addr ) == 1 ) {
        std::memcpy( bytes.data(), &in4, sizeof in4 );
        return bytes;
    }
    EXPECT_EQ( inet_pton( AF_INET6, text.c_str(), &in6.sin6_addr ), 1 ) << text;
    bytes.resize( sizeof in6 );
    std::memcpy( bytes.data(), &in6, sizeof in6 );
    return bytes;
}

const char *const addresses[] = { "0.0.0.0", "127.0.0.1", "192.0.2.1", "255.255.255.255", "::", "::1", "2001:db8::1",
    "fe80::1", "ff02::fb", "::ffff:1.2.3.4", "1:2:3:4:5:6:7:8" };

/** What a From function writes, into an area that was full of ones; only as much of it as the record is long. */
template <class From>
Bytes written( From from )
{
    Bytes area( std::size_t( in___ImpSockaddrSize() ) + 4, 0xff );
    PB_INT length = -1;
    EXPECT_TRUE( from( area.data(), nullptr ) );
    EXPECT_TRUE( from( nullptr, &length ) );
    EXPECT_EQ( Bytes( area.begin() + length, area.end() ), Bytes( area.size() - std::size_t( length ), 0xff ) );
    area.resize( std::size_t( length ) );
    return area;
}

TEST( Sockaddr, FromEachKindAsTheSystemDoes )
{
    EXPECT_EQ( in___ImpSockaddrSize(), 28 );
    pb::Ref<IN_ADDRESS> read;
    for ( const char *text : addresses ) {
        SCOPED_TRACE( text );
        pb::Ref<IN_ADDRESS> ina = address( text ), before = read;
        Bytes plain = record( text, 0 );
        EXPECT_EQ(
            written( [&]( void *sa, PB_INT *n ) { return in___ImpSockaddrFromAddress( sa, n, ina.get() ); } ), plain );
        EXPECT_TRUE( in___ImpSockaddrToAddress( plain.data(), PB_INT_FROM( plain.size() ), read.handle() ) );
        EXPECT_TRUE( inAddressEquals( read.get(), ina.get() ) && read.get() != before.get() );
        before = read;
        EXPECT_TRUE( in___ImpSockaddrUpdateAddress( plain.data(), PB_INT_FROM( plain.size() ), read.handle() ) );
        EXPECT_EQ( read.get(), before.get() ) << "kept where it says the same";
        for ( unsigned port : { 1u, 0x1234u, 65535u } ) {
            pb::Ref<IN_TCP_ADDRESS> ta = pb::adopt( inTcpAddressCreate( ina.get(), port ) );
            pb::Ref<IN_UDP_ADDRESS> ua = pb::adopt( inUdpAddressCreate( ina.get(), port ) );
            const std::function<bool( void *, PB_INT * )> functions[] = {
                [&]( void *sa, PB_INT *n ) { return in___ImpSockaddrFromAddressAndTcpPort( sa, n, ina.get(), port ); },
                [&]( void *sa, PB_INT *n ) { return in___ImpSockaddrFromAddressAndUdpPort( sa, n, ina.get(), port ); },
                [&]( void *sa, PB_INT *n ) { return in___ImpSockaddrFromTcpAddress( sa, n, ta.get() ); },
                [&]( void *sa, PB_INT *n ) { return in___ImpSockaddrFromUdpAddress( sa, n, ua.get() ); },
            };
            for ( const auto &from : functions )
                EXPECT_EQ( written( from ), record( text, port ) ) << port;
        }
        pb::Ref<IN_RAW_ADDRESS> ra = pb::adopt( inRawAddressCreate( ina.get(), 17 ) );
        EXPECT_EQ( written( [&]( void *sa, PB_INT *n ) { return in___ImpSockaddrFromRawAddress( sa, n, ra.get() ); } ),
            record( text, 17 ) );
    }
}

/** The six functions that read a record, each in its own out object, which held something before. */
struct Outs {
    pb::Ref<IN_ADDRESS> ina, ina2;
    pb::Ref<IN_TCP_ADDRESS> ta, ta2;
    pb::Ref<IN_UDP_ADDRESS> ua, ua2;
    pb::Ref<IN_RAW_ADDRESS> ra, ra2;

    explicit Outs( bool full )
    {
        if ( !full )
            return;
        ina = ina2 = address( "9.9.9.9" );
        ta = ta2 = pb::adopt( inTcpAddressCreate( ina.get(), 9 ) );
        ua = ua2 = pb::adopt( inUdpAddressCreate( ina.get(), 9 ) );
        ra = ra2 = pb::adopt( inRawAddressCreate( ina.get(), 9 ) );
    }
    /** Reads; the address, the endpoint, the raw address as texts; each Update function agrees with its To function. */
    std::string read( const Bytes &bytes, PB_INT length, PB_INT protocol )
    {
        auto gave = []( bool result, const auto &out ) { EXPECT_EQ( result, bool( out ) ); };
        std::unique_ptr<unsigned char[]> area( new unsigned char[bytes.size() + 1] ); // exactly, at an odd place
        std::memcpy( area.get() + 1, bytes.data(), bytes.size() );
        const void *sa = area.get() + 1;
        gave( in___ImpSockaddrToAddress( sa, length, ina.handle() ), ina );
        gave( in___ImpSockaddrUpdateAddress( sa, length, ina2.handle() ), ina2 );
        gave( in___ImpSockaddrToTcpAddress( sa, length, ta.handle() ), ta );
        gave( in___ImpSockaddrUpdateTcpAddress( sa, length, ta2.handle() ), ta2 );
        gave( in___ImpSockaddrToUdpAddress( sa, length, ua.handle() ), ua );
        gave( in___ImpSockaddrUpdateUdpAddress( sa, length, ua2.handle() ), ua2 );
        gave( in___ImpSockaddrToRawAddress( sa, length, ra.handle(), protocol ), ra );
        gave( in___ImpSockaddrUpdateRawAddress( sa, length, ra2.handle(), protocol ), ra2 );
        EXPECT_EQ( textOrNull( ina ), textOrNull( ina2 ) );
        for ( const std::string &text : { textOrNull( ta ), textOrNull( ta2 ), textOrNull( ua2 ) } )
            EXPECT_EQ( text, textOrNull( ua ) );
        EXPECT_EQ( textOrNull( ra ), textOrNull( ra2 ) );
        return textOrNull( ina ) + " " + textOrNull( ua ) + " " + textOrNull( ra );
    }
};

Bytes withFamily( Bytes bytes, unsigned char family )
{
    bytes[0] = family;
    return bytes;
}

TEST( Sockaddr, LengthsFamiliesAndPorts )
{
    struct Row {
        Bytes bytes;
        PB_INT length;
        const char *result;
        PB_INT protocol = 256; // of a raw address; 256: the record's port
    };
    const Bytes four = record( "192.0.2.1", 17 ), six = record( "2001:db8::1", 17 );
    const char *const nothing = "null null null";
    const Row table[] = { { four, 16, "192.0.2.1 192.0.2.1:17 192.0.2.1:17" },
        { four, 128, "192.0.2.1 192.0.2.1:17 192.0.2.1:17" }, { four, 15, nothing }, { four, 0, nothing },
        { four, -1, nothing }, { six, 28, "2001:DB8::1 [2001:DB8::1]:17 [2001:DB8::1]:17" }, { six, 27, nothing },
        { six, 16, nothing }, { withFamily( four, AF_UNSPEC ), 16, nothing },
        { withFamily( six, AF_UNIX ), 28, nothing }, { record( "192.0.2.1", 0 ), 16, "192.0.2.1 null 192.0.2.1:0" },
        { record( "::1", 0 ), 28, "::1 null [::1]:0" },
        { record( "192.0.2.1", 300 ), 16, "192.0.2.1 192.0.2.1:300 null" },
        { record( "192.0.2.1", 300 ), 16, "192.0.2.1 192.0.2.1:300 192.0.2.1:17", 17 },
        { four, 16, "192.0.2.1 192.0.2.1:17 192.0.2.1:0", 0 },
        { four, 16, "192.0.2.1 192.0.2.1:17 192.0.2.1:255", 255 },
        { four, 16, "192.0.2.1 192.0.2.1:17 192.0.2.1:17", INT64_MAX }, { four, 15, nothing, 17 },
        { record( "192.0.2.1", 255 ), 16, "192.0.2.1 192.0.2.1:255 192.0.2.1:255" },
        { record( "192.0.2.1", 256 ), 16, "192.0.2.1 192.0.2.1:256 null" } };
    for ( const Row &row : table ) {
        SCOPED_TRACE( std::to_string( row.bytes[0] ) + " " + std::to_string( row.length ) );
        Outs empty( false ), full( true );
        EXPECT_EQ( empty.read( row.bytes, row.length, row.protocol ), row.result );
        EXPECT_EQ( full.read( row.bytes, row.length, row.protocol ), row.result );
    }
}

/** The functions of an endpoint class. */
template <class T>
struct Reader {
    PB_BOOL ( *to )( const void *, PB_INT, T ** );
    PB_BOOL ( *update )( const void *, PB_INT, T ** );
    IN_ADDRESS *( *address )( T * );
};

/** Which of the held objects stay the same ones. */
template <class T>
void checkIdentity( const Reader<T> &reader )
{
    pb::Ref<T> held, first;
    auto read = [&]( auto function, const char *text, unsigned port ) {
        Bytes bytes = record( text, port );
        EXPECT_TRUE( function( bytes.data(), PB_INT_FROM( bytes.size() ), held.handle() ) );
        return pb::adopt( reader.address( held.get() ) );
    };
    pb::Ref<IN_ADDRESS> ina = read( reader.to, "192.0.2.1", 9 );
    first = held;

    EXPECT_EQ( read( reader.update, "192.0.2.1", 9 ).get(), ina.get() );
    EXPECT_EQ( held.get(), first.get() ) << "the same peer again: shared as it is";
    EXPECT_EQ( read( reader.update, "192.0.2.1", 10 ).get(), ina.get() ) << "the address stays";
    EXPECT_NE( held.get(), first.get() ) << "the other holder's object does not change";
    EXPECT_EQ( textOf( first.get() ), "192.0.2.1:9" );
    T *alone = held.get();
    EXPECT_NE( read( reader.update, "192.0.2.2", 10 ).get(), ina.get() );
    EXPECT_EQ( held.get(), alone ) << "in place";
    EXPECT_EQ( textOf( held.get() ), "192.0.2.2:10" );

    // the same four bytes in front do not make another version the same address
    ina = read( reader.update, "0.0.0.0", 10 );
    EXPECT_NE( read( reader.update, "::", 10 ).get(), ina.get() );
    EXPECT_EQ( textOf( held.get() ), "[::]:10" );

    first = held;
    read( reader.to, "::", 10 );
    EXPECT_NE( held.get(), first.get() ) << "To always makes a new one";
    EXPECT_EQ( textOf( held.get() ), textOf( first.get() ) );
}

TEST( Sockaddr, Identity )
{
    checkIdentity<IN_TCP_ADDRESS>(
        { in___ImpSockaddrToTcpAddress, in___ImpSockaddrUpdateTcpAddress, inTcpAddressAddress } );
    checkIdentity<IN_UDP_ADDRESS>(
        { in___ImpSockaddrToUdpAddress, in___ImpSockaddrUpdateUdpAddress, inUdpAddressAddress } );
    checkIdentity<IN_RAW_ADDRESS>( {
        []( const void *sa, PB_INT n, IN_RAW_ADDRESS **ra ) { return in___ImpSockaddrToRawAddress( sa, n, ra, 256 ); },
        []( const void *sa, PB_INT n, IN_RAW_ADDRESS **ra ) {
            return in___ImpSockaddrUpdateRawAddress( sa, n, ra, 256 );
        },
        inRawAddressAddress,
    } );
}

} // namespace
