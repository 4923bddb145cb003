/* Endpoints, port ranges, packets and the flags of transports. */
#include "options_support.hpp"
#include <in/in.h>
#include <in/raw/in_raw_address_private.h>
#include <in/tcp/in_tcp_address_private.h>
#include <in/udp/in_udp_address_private.h>
#include <support/misuse.h>

namespace {

using test::str;
using test::take;
using test::textOf;

pb::Ref<IN_ADDRESS> address( std::string_view text )
{
    return pb::adopt( inAddressTryCreateFromString( str( text ).get() ) );
}

template <class T>
struct Endpoint {
    T *( *create )( IN_ADDRESS *, PB_INT );
    T *( *createFrom )( T * );
    IN_ADDRESS *( *address )( T * );
    PB_INT ( *number )( T * );
    void ( *setAddress )( T **, IN_ADDRESS * );
    void ( *setNumber )( T **, PB_INT );
    PB_STORE *( *store )( T * );
    T *( *tryRestore )( PB_STORE * );
    void ( *update )( T **, IN_ADDRESS *, PB_INT );
    PB_INT lowest, highest;
    const char *key;   // of the number
    const char *check; // of the number, as the abort says it
    const char *handle;
};

const Endpoint<IN_UDP_ADDRESS> udp = { inUdpAddressCreate, inUdpAddressCreateFrom, inUdpAddressAddress,
    inUdpAddressPort, inUdpAddressSetAddress, inUdpAddressSetPort, inUdpAddressStore, inUdpAddressTryRestore,
    in___UdpAddressUpdate, 1, 65535, "port", "IN_UDP_PORT_OK( port )", "ua" };
const Endpoint<IN_TCP_ADDRESS> tcp = { inTcpAddressCreate, inTcpAddressCreateFrom, inTcpAddressAddress,
    inTcpAddressPort, inTcpAddressSetAddress, inTcpAddressSetPort, inTcpAddressStore, inTcpAddressTryRestore,
    in___TcpAddressUpdate, 1, 65535, "port", "IN_TCP_PORT_OK( port )", "ta" };
const Endpoint<IN_RAW_ADDRESS> raw = { inRawAddressCreate, inRawAddressCreateFrom, inRawAddressAddress,
    inRawAddressProtocol, inRawAddressSetAddress, inRawAddressSetProtocol, inRawAddressStore, inRawAddressTryRestore,
    in___RawAddressUpdate, 0, 255, "protocol", "IN_RAW_PROTOCOL_OK( protocol )", "ra" };

template <class T>
void checkTexts( const Endpoint<T> &e )
{
    struct Row {
        const char *address, *text, *stored;
    };
    constexpr Row table[] = {
        { "192.0.2.1", "192.0.2.1", "192.0.2.1" },
        { "2001:db8:0:0::1", "[2001:DB8::1]", "2001:DB8::1" },
        { "::ffff:1.2.3.4", nullptr, nullptr },
    };
    for ( const Row &row : table ) {
        for ( PB_INT number : { e.lowest, PB_INT( 80 ), e.highest } ) {
            pb::Ref<IN_ADDRESS> ina = address( row.address );
            pb::Ref<T> endpoint = pb::adopt( e.create( ina.get(), number ) );
            std::string digits = std::to_string( number );
            if ( row.text ) {
                EXPECT_EQ( textOf( endpoint.get() ), row.text + ( ":" + digits ) );
            }
            pb::Ref<PB_STORE> store = pb::adopt( e.store( endpoint.get() ) );
            if ( row.stored ) {
                EXPECT_EQ( textOf( store.get() ),
                    std::string( R"({"address":")" ) + row.stored + R"(",")" + e.key + R"(":)" + digits + "}" );
            }
            pb::Ref<T> again = pb::adopt( e.tryRestore( test::throughFile( store.get() ).get() ) );
            ASSERT_TRUE( again );
            EXPECT_EQ( pbObjCompare( pb::obj( again.get() ), pb::obj( endpoint.get() ) ), 0 );
            EXPECT_EQ( e.number( again.get() ), number );
        }
    }
}

template <class T>
void checkRestore( const Endpoint<T> &e )
{
    std::string key = std::string( "\"" ) + e.key + "\":";
    struct Row {
        std::string store, text;
    };
    const Row table[] = {
        { R"("address":"10.0.0.1",)" + key + R"("0x11")", "10.0.0.1:17" },
        { key + R"(17,"address":"10.0.0.1","more":{})", "10.0.0.1:17" },
        { R"("address":"10.0.0.1")", "" },
        { key + "17", "" },
        { R"("address":"10.0.0",)" + key + "17", "" },
        { R"("address":"10.0.0.1:17",)" + key + "17", "" },
        { R"("address":{},)" + key + "17", "" },
        { R"("address":"10.0.0.1",)" + key + R"("x")", "" },
        { R"("address":"10.0.0.1",)" + key + "[]", "" },
        { R"("address":"10.0.0.1",)" + key + std::to_string( e.lowest - 1 ), "" },
        { R"("address":"10.0.0.1",)" + key + std::to_string( e.highest + 1 ), "" },
        { R"("address":"10.0.0.1",)" + key + "4294967313", "" }, // 17 in its lower half
        { "", "" },
    };
    for ( const Row &row : table ) {
        pb::Ref<T> endpoint = pb::adopt( e.tryRestore( test::storeOf( "{" + row.store + "}" ).get() ) );
        EXPECT_EQ( endpoint ? textOf( endpoint.get() ) : "", row.text ) << row.store;
    }
}

template <class T>
void checkSetters( const Endpoint<T> &e )
{
    pb::Ref<IN_ADDRESS> one = address( "10.0.0.1" ), two = address( "::2" ), equal = address( "10.0.0.1" );
    pb::Ref<T> first = pb::adopt( e.create( one.get(), 17 ) ), endpoint = first;
    EXPECT_EQ( pb::adopt( e.address( first.get() ) ).get(), one.get() );
    e.setNumber( endpoint.handle(), 18 );
    EXPECT_EQ( textOf( endpoint.get() ) + textOf( first.get() ), "10.0.0.1:1810.0.0.1:17" );
    T *alone = endpoint.get();
    e.setAddress( endpoint.handle(), two.get() );
    EXPECT_EQ( endpoint.get(), alone );
    EXPECT_EQ( textOf( endpoint.get() ), "[::2]:18" );

    // an update that says nothing new leaves even a shared object, and the address within
    endpoint = first;
    e.update( endpoint.handle(), equal.get(), 17 );
    EXPECT_EQ( endpoint.get(), first.get() );
    EXPECT_EQ( pb::adopt( e.address( first.get() ) ).get(), one.get() );
    for ( bool other : { false, true } ) { // one part, the other part
        endpoint = first;
        e.update( endpoint.handle(), other ? two.get() : one.get(), other ? 17 : 18 );
        EXPECT_NE( endpoint.get(), first.get() );
        EXPECT_EQ( textOf( endpoint.get() ), other ? "[::2]:17" : "10.0.0.1:18" );
        EXPECT_EQ( textOf( first.get() ), "10.0.0.1:17" );
    }
    alone = endpoint.get();
    e.update( endpoint.handle(), one.get(), 19 );
    EXPECT_EQ( endpoint.get(), alone ) << "the only holder's object is changed in place";
    EXPECT_EQ( textOf( endpoint.get() ), "10.0.0.1:19" );
}

template <class T>
void checkMisuse( const Endpoint<T> &e )
{
    pb::Ref<IN_ADDRESS> ina = address( "10.0.0.1" );
    pb::Ref<T> endpoint = pb::adopt( e.create( ina.get(), 17 ) );
    T **handle = endpoint.handle(), *none = nullptr;
    std::string object = std::string( "*" ) + e.handle;
    test::expectAborts( {
        { "ina", [&] { e.create( nullptr, 17 ); } },
        { e.check, [&] { e.create( ina.get(), e.lowest - 1 ); } },
        { e.check, [&] { e.create( ina.get(), e.highest + 1 ); } },
        { "source", [&] { e.createFrom( nullptr ); } },
        { e.handle, [&] { e.number( nullptr ); } },
        { e.handle, [&] { e.setAddress( nullptr, ina.get() ); } },
        { object, [&] { e.setAddress( &none, ina.get() ); } },
        { "ina", [&] { e.setAddress( handle, nullptr ); } },
        { object, [&] { e.setNumber( &none, 17 ); } },
        { e.check, [&] { e.setNumber( handle, e.highest + 1 ); } },
        { e.handle, [&] { e.update( nullptr, ina.get(), 17 ); } },
        { object, [&] { e.update( &none, ina.get(), 17 ); } },
        { "ina", [&] { e.update( handle, nullptr, 17 ); } },
        { e.check, [&] { e.update( handle, ina.get(), e.lowest - 1 ); } },
        { "store", [&] { e.tryRestore( nullptr ); } },
    } );
}

template <class T>
void checkAll( const Endpoint<T> &e )
{
    checkTexts( e );
    checkRestore( e );
    checkSetters( e );
    checkMisuse( e );
}

} // namespace

TEST( Endpoint, UdpAddress )
{
    checkAll( udp );
}

TEST( Endpoint, TcpAddress )
{
    checkAll( tcp );
}

TEST( Endpoint, RawAddress )
{
    checkAll( raw );
}

namespace {

template <class T>
struct Range {
    T *( *create )( PB_INT, PB_INT );
    T *( *createFrom )( T * );
    PB_INT ( *firstPort )( T * );
    PB_INT ( *count )( T * );
    void ( *setFirstPort )( T **, PB_INT );
    void ( *setCount )( T **, PB_INT );
    PB_STORE *( *store )( T * );
    T *( *tryRestore )( PB_STORE * );
    const char *check; // of the first port
};

template <class T>
void checkRestore( const Range<T> &r )
{
    struct Row {
        const char *store, *text;
    };
    constexpr Row table[] = {
        { R"({"firstPort":1,"count":0})", "firstPort=1, count=0" },
        { R"({"count":"0xffff","firstPort":"65535","x":1})", "firstPort=65535, count=65535" },
        { R"({"firstPort":0,"count":1})", "" },
        { R"({"firstPort":65536,"count":1})", "" },
        { R"({"firstPort":1,"count":65536})", "" },
        { R"({"firstPort":1,"count":-1})", "" },
        { R"({"firstPort":1})", "" },
        { R"({"count":1})", "" },
        { R"({"firstPort":"a","count":1})", "" },
        { R"({"firstPort":1,"count":{}})", "" },
    };
    for ( const Row &row : table ) {
        pb::Ref<T> range = pb::adopt( r.tryRestore( test::storeOf( row.store ).get() ) );
        EXPECT_EQ( range ? textOf( range.get() ) : "", row.text ) << row.store;
        if ( range ) {
            pb::Ref<PB_STORE> store = pb::adopt( r.store( range.get() ) );
            EXPECT_EQ( textOf( store.get() ), "{\"firstPort\":" + std::to_string( r.firstPort( range.get() ) ) +
                                                  ",\"count\":" + std::to_string( r.count( range.get() ) ) + "}" );
        }
    }
}

/** Setting the first port sorts the two, setting the count does not. */
template <class T>
void checkSetters( const Range<T> &r )
{
    struct Row {
        PB_INT count, setFirst, first, countAfter;
    };
    for ( const Row &row : { Row{ 10, 100, 10, 100 }, Row{ 100, 10, 10, 100 }, Row{ 100, 100, 100, 100 },
              Row{ 0, 5, 0, 5 }, Row{ 65535, 65535, 65535, 65535 } } ) {
        pb::Ref<T> first = pb::adopt( r.create( 7, row.count ) ), range = first;
        r.setFirstPort( range.handle(), row.setFirst );
        EXPECT_EQ( r.firstPort( range.get() ), row.first );
        EXPECT_EQ( r.count( range.get() ), row.countAfter );
        EXPECT_EQ( r.firstPort( first.get() ), 7 );
        EXPECT_EQ( r.count( first.get() ), row.count );
    }
    pb::Ref<T> first = pb::adopt( r.create( 5000, 6000 ) ), range = first;
    r.setCount( range.handle(), 3 );
    EXPECT_EQ( textOf( range.get() ) + textOf( first.get() ), "firstPort=5000, count=3firstPort=5000, count=6000" );
}

template <class T>
void checkMisuse( const Range<T> &r )
{
    pb::Ref<T> range = pb::adopt( r.create( 1, 0 ) );
    T *none = nullptr;
    test::expectAborts( {
        { r.check, [&] { r.create( 0, 0 ); } },
        { r.check, [&] { r.create( 65536, 0 ); } },
        { "count >= 0 && count <= 65535", [&] { r.create( 1, -1 ); } },
        { "count >= 0 && count <= 65535", [&] { r.create( 1, 65536 ); } },
        { "source", [&] { r.createFrom( nullptr ); } },
        { "range", [&] { r.count( nullptr ); } },
        { "range", [&] { r.setFirstPort( nullptr, 1 ); } },
        { "*range", [&] { r.setFirstPort( &none, 1 ); } },
        { r.check, [&] { r.setFirstPort( range.handle(), 0 ); } },
        { "*range", [&] { r.setCount( &none, 1 ); } },
        { "count >= 0 && count <= 65535", [&] { r.setCount( range.handle(), 65536 ); } },
        { "store", [&] { r.tryRestore( nullptr ); } },
    } );
}

template <class T>
void checkAll( const Range<T> &r )
{
    checkRestore( r );
    checkSetters( r );
    checkMisuse( r );
}

} // namespace

TEST( PortRange, Udp )
{
    checkAll( Range<IN_UDP_PORT_RANGE>{ inUdpPortRangeCreate, inUdpPortRangeCreateFrom, inUdpPortRangeFirstPort,
        inUdpPortRangeCount, inUdpPortRangeSetFirstPort, inUdpPortRangeSetCount, inUdpPortRangeStore,
        inUdpPortRangeTryRestore, "IN_UDP_PORT_OK( firstPort )" } );
}

TEST( PortRange, Tcp )
{
    checkAll( Range<IN_TCP_PORT_RANGE>{ inTcpPortRangeCreate, inTcpPortRangeCreateFrom, inTcpPortRangeFirstPort,
        inTcpPortRangeCount, inTcpPortRangeSetFirstPort, inTcpPortRangeSetCount, inTcpPortRangeStore,
        inTcpPortRangeTryRestore, "IN_TCP_PORT_OK( firstPort )" } );
}

TEST( Flags, OfTransports )
{
    struct Row {
        PB_INT flags, udp, tcp;
        const char *udpText, *tcpText;
    };
    for ( const Row &row : {
              Row{ 0, 0, 0, "", "" },
              Row{ 1, 1, 1, "IN_UDP_FLAG_NO_RECEIVE", "IN_TCP_FLAG_NO_DELAY" },
              Row{ 2, 0, 2, "", "IN_TCP_FLAG_KEEP_ALIVE" },
              Row{ 7, 1, 3, "IN_UDP_FLAG_NO_RECEIVE", "IN_TCP_FLAG_NO_DELAY|IN_TCP_FLAG_KEEP_ALIVE" },
              Row{ -2, 0, 2, "", "IN_TCP_FLAG_KEEP_ALIVE" },
              Row{ PB_INT( 1 ) << 62, 0, 0, "", "" },
          } ) {
        EXPECT_EQ( inUdpFlagsNormalize( row.flags ), row.udp );
        EXPECT_EQ( inTcpFlagsNormalize( row.flags ), row.tcp );
        EXPECT_EQ( take( inUdpFlagsToString( row.flags ) ), row.udpText );
        EXPECT_EQ( take( inTcpFlagsToString( row.flags ) ), row.tcpText );
        EXPECT_EQ( inUdpFlagsFromString( str( row.udpText ).get() ), row.udp );
        EXPECT_EQ( inTcpFlagsFromString( str( row.tcpText ).get() ), row.tcp );
    }
    EXPECT_EQ( inTcpFlagsFromString( str( "IN_TCP_FLAG_KEEP_ALIVE|IN_UDP_FLAG_NO_RECEIVE|x" ).get() ), 2 );
    EXPECT_DEATH( inUdpFlagsFromString( nullptr ), ": pbs" );
    EXPECT_DEATH( inTcpFlagsFromString( nullptr ), ": pbs" );
}

namespace {

pb::Ref<PB_BUFFER> bytes( std::string_view text )
{
    return pb::adopt( pbBufferCreateFromBytesCopy( text.data(), PB_INT_FROM( text.size() ) ) );
}
std::string payload( IN_UDP_PACKET *up )
{
    pb::Ref<PB_BUFFER> buf = pb::adopt( inUdpPacketPayload( up ) );
    EXPECT_EQ( pbBufferLength( buf.get() ), inUdpPacketPayloadLength( up ) );
    return {
        reinterpret_cast<const char *>( pbBufferBacking( buf.get() ) ), std::size_t( pbBufferLength( buf.get() ) ) };
}

class UdpPacket : public testing::Test {
protected:
    pb::Ref<IN_UDP_ADDRESS> remote = pb::adopt( inUdpAddressCreate( address( "192.0.2.1" ).get(), 5060 ) );
    pb::Ref<PB_BUFFER> text = bytes( "hello, world" );
    pb::Ref<IN_UDP_PACKET> up = pb::adopt( inUdpPacketCreateWithPayload( remote.get(), text.get() ) );
};

} // namespace

TEST_F( UdpPacket, SharesAndCopies )
{
    EXPECT_EQ( textOf( up.get() ), "192.0.2.1:5060, 12 bytes" );
    EXPECT_EQ( pb::adopt( inUdpPacketPayload( up.get() ) ).get(), text.get() );
    EXPECT_EQ( pb::adopt( inUdpPacketRemoteAddress( up.get() ) ).get(), remote.get() );

    pb::Ref<IN_UDP_PACKET> empty = pb::adopt( inUdpPacketCreate( remote.get() ) );
    EXPECT_EQ( textOf( empty.get() ), "192.0.2.1:5060, 0 bytes" );
    EXPECT_EQ( payload( empty.get() ), "" );

    pb::Ref<IN_UDP_PACKET> copy = pb::adopt( inUdpPacketCreateFrom( up.get() ) );
    EXPECT_NE( copy.get(), up.get() );
    EXPECT_EQ( pb::adopt( inUdpPacketPayload( copy.get() ) ).get(), text.get() );
    EXPECT_EQ( pb::adopt( inUdpPacketRemoteAddress( copy.get() ) ).get(), remote.get() );

    char area[] = "abc";
    pb::Ref<IN_UDP_PACKET> own = pb::adopt( inUdpPacketCreateWithPayloadBytes( remote.get(), area, 2 ) );
    area[0] = 'x';
    EXPECT_EQ( payload( own.get() ), "ab" );

    // a buffer that is changed afterwards is another one
    pb::Ref<PB_BUFFER> mine = text;
    pbBufferAppendByte( mine.handle(), '!' );
    EXPECT_EQ( payload( up.get() ), "hello, world" );

    pb::Ref<IN_UDP_PACKET> held = up;
    pb::Ref<IN_UDP_ADDRESS> other = pb::adopt( inUdpAddressCreate( address( "::1" ).get(), 1 ) );
    inUdpPacketSetRemoteAddress( up.handle(), other.get() );
    inUdpPacketSetPayload( up.handle(), mine.get() );
    EXPECT_EQ( textOf( up.get() ), "[::1]:1, 13 bytes" );
    EXPECT_EQ( pb::adopt( inUdpPacketPayload( up.get() ) ).get(), mine.get() );
    EXPECT_EQ( textOf( held.get() ), "192.0.2.1:5060, 12 bytes" );
}

TEST_F( UdpPacket, TakesPartsOfABuffer )
{
    struct Row {
        std::function<void( IN_UDP_PACKET **, PB_BUFFER * )> set;
        const char *payload;
    };
    const Row table[] = {
        { []( auto packet, auto buf ) { inUdpPacketSetPayloadInner( packet, buf, 7, 5 ); }, "world" },
        { []( auto packet, auto buf ) { inUdpPacketSetPayloadInner( packet, buf, 0, 12 ); }, "hello, world" },
        { []( auto packet, auto buf ) { inUdpPacketSetPayloadInner( packet, buf, 12, 0 ); }, "" },
        { []( auto packet, auto buf ) { inUdpPacketSetPayloadLeading( packet, buf, 5 ); }, "hello" },
        { []( auto packet, auto buf ) { inUdpPacketSetPayloadLeading( packet, buf, 0 ); }, "" },
        { []( auto packet, auto buf ) { inUdpPacketSetPayloadTrailing( packet, buf, 3 ); }, "rld" },
        { []( auto packet, auto buf ) { inUdpPacketSetPayloadTrailing( packet, buf, 12 ); }, "hello, world" },
        { []( auto packet, auto buf ) { inUdpPacketSetPayloadTrailing( packet, buf, 0 ); }, "" },
        { []( auto packet, auto buf ) { inUdpPacketSetPayloadOuter( packet, buf, 5, 2 ); }, "helloworld" },
        { []( auto packet, auto buf ) { inUdpPacketSetPayloadOuter( packet, buf, 0, 12 ); }, "" },
        { []( auto packet, auto buf ) { inUdpPacketSetPayloadOuter( packet, buf, 3, 0 ); }, "hello, world" },
        { []( auto packet, auto ) { inUdpPacketSetPayloadBytes( packet, "a\0b", 3 ); }, "a\0b" },
        { []( auto packet, auto ) { inUdpPacketSetPayloadBytes( packet, nullptr, 0 ); }, "" },
    };
    for ( const Row &row : table ) {
        std::string expected( row.payload, row.payload[0] == 'a' ? 3 : std::string_view( row.payload ).size() );
        pb::Ref<IN_UDP_PACKET> other = pb::adopt( inUdpPacketCreateWithPayloadBytes( remote.get(), "before", 6 ) );
        pb::Ref<IN_UDP_PACKET> held = other;
        row.set( other.handle(), text.get() );
        EXPECT_EQ( payload( other.get() ), expected );
        EXPECT_EQ( payload( held.get() ), "before" );
        EXPECT_NE( pb::adopt( inUdpPacketPayload( other.get() ) ).get(), text.get() ) << "copied, not shared";

        // from the packet's own payload, which only it holds
        pb::Ref<IN_UDP_PACKET> own = pb::adopt( inUdpPacketCreateWithPayloadBytes( remote.get(), "hello, world", 12 ) );
        PB_BUFFER *lent = pb::adopt( inUdpPacketPayload( own.get() ) ).get();
        row.set( own.handle(), lent );
        EXPECT_EQ( payload( own.get() ), expected );
    }
    EXPECT_EQ( payload( up.get() ), "hello, world" );
}

TEST_F( UdpPacket, Misuse )
{
    IN_UDP_PACKET **handle = up.handle(), *none = nullptr;
    PB_BUFFER *buf = text.get();
    test::expectAborts( {
        { "remoteAddress", [&] { inUdpPacketCreate( nullptr ); } },
        { "remoteAddress", [&] { inUdpPacketCreateWithPayload( nullptr, buf ); } },
        { "payload", [&] { inUdpPacketCreateWithPayload( remote.get(), nullptr ); } },
        { "remoteAddress", [&] { inUdpPacketCreateWithPayloadBytes( nullptr, "", 0 ); } },
        { "source", [&] { inUdpPacketCreateFrom( nullptr ); } },
        { "up", [&] { inUdpPacketPayloadLength( nullptr ); } },
        { "up", [&] { inUdpPacketSetPayload( nullptr, buf ); } },
        { "*up", [&] { inUdpPacketSetPayload( &none, buf ); } },
        { "buf", [&] { inUdpPacketSetPayload( handle, nullptr ); } },
        { "*up", [&] { inUdpPacketSetPayloadInner( &none, buf, 0, 0 ); } },
        { "*up", [&] { inUdpPacketSetPayloadLeading( &none, buf, 0 ); } },
        { "buf", [&] { inUdpPacketSetPayloadTrailing( handle, nullptr, 0 ); } },
        { "buf", [&] { inUdpPacketSetPayloadOuter( handle, nullptr, 0, 0 ); } },
        { "*up", [&] { inUdpPacketSetPayloadBytes( &none, "", 0 ); } },
        { "remoteAddress", [&] { inUdpPacketSetRemoteAddress( handle, nullptr ); } },
        { "PB_INT_SUB_OK( pbBufferLength( buf ), byteCount )",
            [&] { inUdpPacketSetPayloadTrailing( handle, buf, INT64_MIN ); } },
        { "byteOffset >= 0", [&] { inUdpPacketSetPayloadTrailing( handle, buf, 13 ); } },
        { "byteCount >= 0", [&] { inUdpPacketSetPayloadLeading( handle, buf, -1 ); } },
        { "byteOffset + byteCount <= pbBufferLength( source )",
            [&] { inUdpPacketSetPayloadInner( handle, buf, 8, 5 ); } },
        { "byteOffset + byteCount <= pbBufferLength( source )",
            [&] { inUdpPacketSetPayloadOuter( handle, buf, 13, 0 ); } },
    } );
}
