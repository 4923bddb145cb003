/* Endpoints, port ranges, packets and the flags of transports. */
#include "options_support.hpp"
#include <in/raw/in_raw_address_private.h>
#include <in/tcp/in_tcp_address_private.h>
#include <in/udp/in_udp_address_private.h>

namespace {

using namespace test;

template <class T>
struct Endpoint {
    T *( *create )( IN_ADDRESS *, PB_INT );
    IN_ADDRESS *( *address )( T * );
    PB_INT ( *number )( T * );
    void ( *setAddress )( T **, IN_ADDRESS * );
    void ( *setNumber )( T **, PB_INT );
    PB_STORE *( *store )( T * );
    T *( *tryRestore )( PB_STORE * );
    void ( *update )( T **, IN_ADDRESS *, PB_INT );
    PB_INT lowest, highest;
    std::string key; // of the number
};
#define ENDPOINT( prefix, internalPrefix, Number )                                                           \
    prefix##Create, prefix##Address, prefix##Number, prefix##SetAddress, prefix##Set##Number, prefix##Store, \
        prefix##TryRestore, internalPrefix##Update

template <class T>
void checkStore( const Endpoint<T> &e )
{
    for ( auto [text, expected] :
        { std::pair( "192.0.2.1", "192.0.2.1" ), std::pair( "2001:db8:0:0::1", "[2001:DB8::1]" ) } )
        for ( PB_INT number : { e.lowest, PB_INT( 80 ), e.highest } ) {
            pb::Ref<IN_ADDRESS> ina = address( text );
            pb::Ref<T> endpoint = pb::adopt( e.create( ina.get(), number ) );
            std::string digits = std::to_string( number );
            EXPECT_EQ( textOf( endpoint.get() ), expected + ( ":" + digits ) );
            pb::Ref<PB_STORE> store = pb::adopt( e.store( endpoint.get() ) );
            EXPECT_EQ( textOf( store.get() ),
                R"({"address":")" + textOf( ina.get() ) + R"(",")" + e.key + R"(":)" + digits + "}" );
            pb::Ref<T> again = pb::adopt( e.tryRestore( test::throughFile( store.get() ).get() ) );
            ASSERT_TRUE( again );
            EXPECT_EQ( pbObjCompare( pb::obj( again.get() ), pb::obj( endpoint.get() ) ), 0 );
        }
    std::string key = "\"" + e.key + "\":", ten = R"("address":"10.0.0.1",)" + key;
    const std::string good[] = { ten + R"("0x11")", key + R"(17,"address":"10.0.0.1","more":{})" };
    const std::string bad[] = { "", R"("address":"10.0.0.1")", key + "17", R"("address":"10.0.0.1:17",)" + key + "17",
        R"("address":{},)" + key + "17", ten + R"("x")", ten + "[]", ten + std::to_string( e.lowest - 1 ),
        ten + std::to_string( e.highest + 1 ), ten + "4294967313" }; // 17 in its lower half
    for ( const std::string &store : good )
        EXPECT_EQ(
            textOf( pb::adopt( e.tryRestore( test::storeOf( "{" + store + "}" ).get() ) ).get() ), "10.0.0.1:17" );
    for ( const std::string &store : bad )
        EXPECT_FALSE( pb::adopt( e.tryRestore( test::storeOf( "{" + store + "}" ).get() ) ) ) << store;
}

template <class T>
void checkSetters( const Endpoint<T> &e )
{
    pb::Ref<IN_ADDRESS> one = address( "10.0.0.1" ), two = address( "::2" ), equal = address( "10.0.0.1" );
    pb::Ref<T> first = pb::adopt( e.create( one.get(), 17 ) ), endpoint = first;
    EXPECT_EQ( pb::adopt( e.address( first.get() ) ).get(), one.get() );
    e.setNumber( endpoint.handle(), 18 );
    EXPECT_EQ( e.number( endpoint.get() ), 18 );
    EXPECT_EQ( textOf( first.get() ), "10.0.0.1:17" );
    e.setAddress( endpoint.handle(), two.get() );
    EXPECT_EQ( textOf( endpoint.get() ), "[::2]:18" );

    // an update that says nothing new leaves even a shared object, and the address within
    endpoint = first;
    e.update( endpoint.handle(), equal.get(), 17 );
    EXPECT_EQ( endpoint.get(), first.get() );
    EXPECT_EQ( pb::adopt( e.address( first.get() ) ).get(), one.get() );
    for ( bool other : { false, true } ) { // one part, the other part
        endpoint = first;
        e.update( endpoint.handle(), other ? two.get() : one.get(), other ? 17 : 18 );
        EXPECT_EQ( textOf( endpoint.get() ), other ? "[::2]:17" : "10.0.0.1:18" );
        EXPECT_EQ( textOf( first.get() ), "10.0.0.1:17" );
    }
    T *alone = endpoint.get();
    e.update( endpoint.handle(), one.get(), 19 );
    EXPECT_EQ( endpoint.get(), alone ) << "the only holder's object is changed in place";
    EXPECT_EQ( textOf( endpoint.get() ), "10.0.0.1:19" );
    EXPECT_DEATH( e.update( endpoint.handle(), one.get(), e.lowest - 1 ), "_OK\\( " + e.key );
}

TEST( Endpoint, EachKind )
{
    auto check = []( const auto &endpoint ) { checkStore( endpoint ), checkSetters( endpoint ); };
    check( Endpoint<IN_UDP_ADDRESS>{ ENDPOINT( inUdpAddress, in___UdpAddress, Port ), 1, 65535, "port" } );
    check( Endpoint<IN_TCP_ADDRESS>{ ENDPOINT( inTcpAddress, in___TcpAddress, Port ), 1, 65535, "port" } );
    check( Endpoint<IN_RAW_ADDRESS>{ ENDPOINT( inRawAddress, in___RawAddress, Protocol ), 0, 255, "protocol" } );
}

template <class T>
struct Range {
    T *( *create )( PB_INT, PB_INT );
    PB_INT ( *firstPort )( T * );
    PB_INT ( *count )( T * );
    void ( *setFirstPort )( T **, PB_INT );
    void ( *setCount )( T **, PB_INT );
    PB_STORE *( *store )( T * );
    T *( *tryRestore )( PB_STORE * );
};

template <class T>
void checkRange( const Range<T> &r )
{
    pb::Ref<T> range =
        pb::adopt( r.tryRestore( test::storeOf( R"({"count":"0xffff","firstPort":"65535","x":1})" ).get() ) );
    ASSERT_TRUE( range );
    EXPECT_EQ( textOf( range.get() ), "firstPort=65535, count=65535" );
    EXPECT_EQ( textOf( pb::adopt( r.store( range.get() ) ).get() ), R"({"firstPort":65535,"count":65535})" );
    for ( const char *bad : { R"({"firstPort":0,"count":1})", R"({"firstPort":65536,"count":1})",
              R"({"firstPort":1,"count":65536})", R"({"firstPort":1,"count":-1})", R"({"firstPort":1})",
              R"({"count":1})", R"({"firstPort":"a","count":1})", R"({"firstPort":1,"count":{}})" } )
        EXPECT_FALSE( pb::adopt( r.tryRestore( test::storeOf( bad ).get() ) ) ) << bad;

    // setting the first port sorts the two, setting the count does not
    constexpr PB_INT rows[][4] = { { 10, 100, 10, 100 }, { 100, 10, 10, 100 }, { 100, 100, 100, 100 }, { 0, 5, 0, 5 } };
    for ( const auto &[count, setFirst, first, countAfter] : rows ) {
        pb::Ref<T> before = pb::adopt( r.create( 7, count ) );
        range = before;
        r.setFirstPort( range.handle(), setFirst );
        EXPECT_EQ( r.firstPort( range.get() ), first );
        EXPECT_EQ( r.count( range.get() ), countAfter );
        EXPECT_EQ( r.firstPort( before.get() ), 7 );
    }
    range = pb::adopt( r.create( 5000, 6000 ) );
    r.setCount( range.handle(), 3 );
    EXPECT_EQ( textOf( range.get() ), "firstPort=5000, count=3" );
    EXPECT_DEATH( r.setCount( range.handle(), 65536 ), ": count >= 0 && count <= 65535" );
}

#define RANGE( prefix )                                                                                          \
    {                                                                                                            \
        prefix##Create, prefix##FirstPort, prefix##Count, prefix##SetFirstPort, prefix##SetCount, prefix##Store, \
            prefix##TryRestore                                                                                   \
    }

TEST( PortRange, UdpAndTcp )
{
    checkRange<IN_UDP_PORT_RANGE>( RANGE( inUdpPortRange ) );
    checkRange<IN_TCP_PORT_RANGE>( RANGE( inTcpPortRange ) );
}

std::string payload( IN_UDP_PACKET *packet )
{
    return test::takeBytes( inUdpPacketPayload( packet ) );
}

class UdpPacket : public testing::Test {
protected:
    pb::Ref<IN_UDP_ADDRESS> remote = test::udpAddress( "192.0.2.1", 5060 );
    pb::Ref<PB_BUFFER> text = test::buffer( "hello, world" );
    pb::Ref<IN_UDP_PACKET> up = pb::adopt( inUdpPacketCreateWithPayload( remote.get(), text.get() ) );
};

TEST_F( UdpPacket, SharesAndCopies )
{
    EXPECT_EQ( pb::adopt( inUdpPacketPayload( up.get() ) ).get(), text.get() );
    EXPECT_EQ( pb::adopt( inUdpPacketRemoteAddress( up.get() ) ).get(), remote.get() );
    EXPECT_EQ( payload( pb::adopt( inUdpPacketCreate( remote.get() ) ).get() ), "" );
    pb::Ref<IN_UDP_PACKET> held = up;
    pbBufferAppendByte( text.handle(), '!' ); // a buffer that is changed afterwards is another one
    inUdpPacketSetRemoteAddress( up.handle(), test::udpAddress( "::1", 1 ).get() );
    inUdpPacketSetPayload( up.handle(), text.get() );
    EXPECT_EQ( textOf( up.get() ), "[::1]:1, 13 bytes" );
    EXPECT_EQ( textOf( held.get() ), "192.0.2.1:5060, 12 bytes" );
}

TEST_F( UdpPacket, TakesPartsOfABuffer )
{
    struct {
        void ( *set )( IN_UDP_PACKET **, PB_BUFFER * );
        std::string payload;
    } const table[] = {
        { []( auto packet, auto buf ) { inUdpPacketSetPayloadInner( packet, buf, 7, 5 ); }, "world" },
        { []( auto packet, auto buf ) { inUdpPacketSetPayloadLeading( packet, buf, 5 ); }, "hello" },
        { []( auto packet, auto buf ) { inUdpPacketSetPayloadTrailing( packet, buf, 3 ); }, "rld" },
        { []( auto packet, auto buf ) { inUdpPacketSetPayloadOuter( packet, buf, 5, 2 ); }, "helloworld" },
        { []( auto packet, auto buf ) { inUdpPacketSetPayloadOuter( packet, buf, 0, 12 ); }, "" },
        { []( auto packet, auto ) { inUdpPacketSetPayloadBytes( packet, "a\0b", 3 ); }, std::string( "a\0b", 3 ) },
    };
    for ( const auto &row : table ) {
        pb::Ref<IN_UDP_PACKET> other = up, held = up;
        row.set( other.handle(), text.get() );
        EXPECT_EQ( payload( other.get() ), row.payload );
        EXPECT_EQ( payload( held.get() ), "hello, world" );
        EXPECT_NE( pb::adopt( inUdpPacketPayload( other.get() ) ).get(), text.get() ) << "copied, not shared";

        // from the packet's own payload, which only it holds
        pb::Ref<IN_UDP_PACKET> own = pb::adopt( inUdpPacketCreateWithPayloadBytes( remote.get(), "hello, world", 12 ) );
        row.set( own.handle(), pb::adopt( inUdpPacketPayload( own.get() ) ).get() );
        EXPECT_EQ( payload( own.get() ), row.payload );
    }
    EXPECT_DEATH( inUdpPacketSetPayloadTrailing( up.handle(), text.get(), INT64_MIN ), "PB_INT_SUB_OK" );
    EXPECT_DEATH( inUdpPacketSetPayloadTrailing( up.handle(), text.get(), 13 ), "byteOffset >= 0" );
}

} // namespace
