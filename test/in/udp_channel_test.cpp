/* UDP channels, pairs, matches and multicast receivers on loopback; channels of a mapping. */
#include "map_support.hpp"
#include "options_support.hpp"
#include <support/recording.hpp>

namespace {

using namespace test;

struct Pair {
    pb::Ref<IN_UDP_CHANNEL> rtp;
    pb::Ref<IN_UDP_CHANNEL> rtcp;
};

Pair pairOn( IN_STACK *stack, IN_MAP_STACK *optionalMapStack = nullptr )
{
    pb::Ref<PB_VECTOR> both =
        pb::adopt( inUdpChannelsVectorTryCreateRtp( stack, nullptr, optionalMapStack, nullptr, 0, nullptr ) );
    if ( !both )
        return {};
    EXPECT_EQ( pbVectorLength( both.get() ), 2 );
    return { pb::adoptAs<IN_UDP_CHANNEL>( pbVectorObjAt( both.get(), 0 ) ),
        pb::adoptAs<IN_UDP_CHANNEL>( pbVectorObjAt( both.get(), 1 ) ) };
}

void expectExchange( IN_UDP_CHANNEL *one, IN_UDP_CHANNEL *other )
{
    test::Receiver receiver( other );
    pb::Ref<IN_UDP_ADDRESS> to = pb::adopt( inUdpChannelLocalAddress( other ) );
    test::send( one, to.get(), "hello" );
    pb::Ref<IN_UDP_PACKET> pkt = receiver.next();
    ASSERT_TRUE( pkt );
    EXPECT_EQ( payloadOf( pkt.get() ), "hello" );
    EXPECT_EQ( textOf( pb::adopt( inUdpPacketRemoteAddress( pkt.get() ) ).get() ),
        textOf( pb::adopt( inUdpChannelLocalAddress( one ) ).get() ) );
}

} // namespace

TEST( UdpChannel, SendsEveryWay )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_UDP_CHANNEL> from = test::channelOn( stack.get() );
    pb::Ref<IN_UDP_CHANNEL> to = test::channelOn( stack.get() );
    test::Receiver receiver( to.get() );
    pb::Ref<IN_UDP_ADDRESS> address = test::localOf( to );
    pb::Ref<PB_BUFFER> buffer = pb::adopt( pbBufferCreateFromBytesCopy( "0123456789", 10 ) );
    pb::Ref<IN_UDP_PACKET> packet = pb::adopt( inUdpPacketCreateWithPayload( address.get(), buffer.get() ) );
    IN_UDP_CHANNEL *chan = from.get();
    const std::pair<std::function<void()>, const char *> rows[] = {
        { [&] { inUdpChannelSendBytes( chan, address.get(), nullptr, 0 ); }, "" },
        { [&] { inUdpChannelSend( chan, packet.get() ); }, "0123456789" },
        { [&] { inUdpChannelSendBuffer( chan, address.get(), buffer.get() ); }, "0123456789" },
        { [&] { inUdpChannelSendBufferInner( chan, address.get(), buffer.get(), 2, 3 ); }, "234" },
        { [&] { inUdpChannelSendBufferLeading( chan, address.get(), buffer.get(), 3 ); }, "012" },
        { [&] { inUdpChannelSendBufferTrailing( chan, address.get(), buffer.get(), 3 ); }, "789" },
        { [&] { inUdpChannelSendBufferOuter( chan, address.get(), buffer.get(), 2, 6 ); }, "0189" },
    };
    for ( const auto &[send, payload] : rows ) {
        send();
        EXPECT_EQ( receiver.text(), payload );
    }
    EXPECT_DEATH(
        inUdpChannelSendBuffer( chan, address.get(), pb::adopt( pbBufferCreate() ).get() ), ": byteCount > 0" );
}

TEST( UdpChannel, WhatItWasOpenedWith )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_QOS_STACK> qos = pb::adopt( inQosStackCreate( pb::adopt( inQosOptionsCreate() ).get(), nullptr ) );
    pb::Ref<IN_UDP_CHANNEL> chan =
        pb::adopt( inUdpChannelTryCreate( stack.get(), qos.get(), nullptr, nullptr, -1, 0xff, nullptr ) );
    ASSERT_TRUE( chan );
    EXPECT_EQ( pb::adopt( inUdpChannelStack( chan.get() ) ).get(), stack.get() );
    EXPECT_EQ( pb::adopt( inUdpChannelQosStack( chan.get() ) ).get(), qos.get() );
    EXPECT_FALSE( inUdpChannelHasMapStack( chan.get() ) || inUdpChannelHasFilter( chan.get() ) );
    EXPECT_EQ( inUdpChannelFlags( chan.get() ), IN_UDP_FLAG_NO_RECEIVE );
    EXPECT_FALSE( inUdpChannelError( chan.get() ) );
    EXPECT_TRUE( inUdpChannelMapped( chan.get() ) );
    EXPECT_EQ( textOf( pb::adopt( inUdpChannelMappedLocalAddress( chan.get() ) ).get() ),
        textOf( test::localOf( chan ).get() ) );
    test::Waiter waiter;
    inUdpChannelMappedAddSignalable( chan.get(), waiter.get() );
    EXPECT_TRUE( waiter.fired() ) << "mapped from the start";
    inUdpChannelMappedDelSignalable( chan.get(), waiter.get() );
    inUdpChannelErrorAddSignalable( chan.get(), waiter.get() );
    chan = nullptr;
    EXPECT_TRUE( waiter.fired() ) << "the end is told too";
}

TEST( UdpChannel, AFilterScreensBothWays )
{
    pb::Ref<IN_FILTER_OPTIONS> options = pb::adopt( inFilterOptionsRestore(
        test::storeOf( R"({"entries":[{"host":"127.0.0.1","flags":"IN_FILTER_ENTRY_FLAG_ADDRESS"}]})" ).get() ) );
    pb::Ref<IN_FILTER> filter = pb::adopt( inFilterCreate( options.get(), nullptr ) );
    ASSERT_TRUE( eventually( [&] { return inFilterCheck( filter.get(), test::address( "127.0.0.1" ).get() ); } ) );
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_UDP_CHANNEL> chan = test::channelOn( stack.get(), -1, 0, filter.get() );
    PB_INT port = inUdpAddressPort( test::localOf( chan ).get() );
    test::BareSocket friendly;
    test::BareSocket stranger( 0, "127.0.0.2" );
    test::Receiver receiver( chan.get() );
    test::Recording recording( true );
    stranger.send( port, "refused" );
    stranger.send( port, "refused" );
    friendly.send( port, "accepted" );
    EXPECT_EQ( receiver.text(), "accepted" );
    stranger.send( port, "refused" );
    pbSleep( 20 );
    EXPECT_FALSE( pb::adopt( inUdpChannelReceive( chan.get() ) ) );
    std::string text = recording.text();
    for ( const char *told : { "[inUdpChannelReceive()] inFilterCheckUdpAddress(): false", "inFilteredUdpAddress",
              "[inUdpChannelReceive()] bytesReceived: 8, remoteAddress: 127.0.0.1:" } )
        EXPECT_NE( text.find( told ), std::string::npos ) << told;

    test::send( chan.get(), test::udpAddress( "127.0.0.2", stranger.port ).get(), "kept back" );
    test::send( chan.get(), test::udpAddress( "127.0.0.1", friendly.port ).get(), "sent" );
    char byte;
    EXPECT_EQ( recv( friendly.fd.get(), &byte, 1, 0 ), 1 );
    EXPECT_EQ( recv( stranger.fd.get(), &byte, 1, MSG_DONTWAIT ), -1 ) << "nothing left the socket";
    EXPECT_NE(
        recording.text().find( "[inUdpChannelSendBytes()] inFilterCheckUdpAddress(): false" ), std::string::npos );
}

TEST( UdpChannel, ThroughAMapping )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_MAP_STACK> map = test::mapStack( true );
    auto open = [&] {
        return pb::adopt( inUdpChannelTryCreate( stack.get(), nullptr, map.get(), nullptr, -1, 0, nullptr ) );
    };
    pb::Ref<IN_UDP_CHANNEL> one = open(), other = open();
    ASSERT_TRUE( one && other );
    expectExchange( one.get(), other.get() );
    EXPECT_EQ( pb::adopt( inUdpChannelMapStack( one.get() ) ).get(), map.get() );
    EXPECT_FALSE( inUdpChannelMapped( one.get() ) );
    EXPECT_FALSE( pb::adopt( inUdpChannelMappedLocalAddress( one.get() ) ) );
    test::Waiter waiter;
    inUdpChannelMappedAddSignalable( one.get(), waiter.get() );
    EXPECT_FALSE( waiter.fired() );

    Pair pair = pairOn( stack.get(), map.get() );
    ASSERT_TRUE( pair.rtp && pair.rtcp );
    expectExchange( pair.rtp.get(), pair.rtcp.get() );
}

TEST( UdpChannel, RtpPair )
{
    pb::Ref<IN_OPTIONS> options = test::loopbackOptions();
    pb::Ref<IN_UDP_OPTIONS> udp = pb::adopt( inUdpOptionsCreate() );
    inUdpOptionsSetPortRange( udp.handle(), pb::adopt( inUdpPortRangeCreate( 31'000, 2 ) ).get() );
    inOptionsSetUdpOptions( options.handle(), udp.get() );
    pb::Ref<IN_STACK> stack = test::stackWith( options.get() );
    Pair pair = pairOn( stack.get() );
    ASSERT_TRUE( pair.rtp && pair.rtcp );
    EXPECT_EQ( textOf( test::localOf( pair.rtp ).get() ), "127.0.0.1:31000" );
    EXPECT_EQ( textOf( test::localOf( pair.rtcp ).get() ), "127.0.0.1:31001" );
    expectExchange( pair.rtp.get(), pair.rtcp.get() );
    EXPECT_FALSE( pairOn( stack.get() ).rtp ) << "the range has no more";
    EXPECT_FALSE( test::channelOn( stack.get() ) );
}

TEST( UdpChannel, TellsWhyNot )
{
    pb::Ref<IN_OPTIONS> nowhere = pb::adopt( inOptionsCreate() );
    inOptionsSetInterface( nowhere.handle(), test::str( "nowhere" ).get() );
    pb::Ref<IN_STACK> down = pb::adopt( inStackCreate( nowhere.get(), nullptr ) );
    pb::Ref<IN_STACK> up = test::loopbackStack();
    test::BareSocket busy;
    pb::Ref<IN_MAP_STACK> noPeer = pb::adopt( in___MapStackCreate( nullptr, nullptr ) );
    pb::Ref<IN_MAP_STACK> refuses = test::mapStack( false );
    struct Row {
        IN_STACK *stack;
        IN_MAP_STACK *map;
        PB_INT port;
        const char *text;
    };
    const Row rows[] = {
        { down.get(), nullptr, -1, "[inUdpChannelTryCreate()] in___ImpUdpChannelTryCreate(): inStackAddress(): null" },
        { up.get(), nullptr, busy.port,
            "[inUdpChannelTryCreate()] in___ImpUdpChannelTryCreate(): IN___IMP_UDP_CHANNEL_INVALID" },
        { up.get(), noPeer.get(), -1, "[inUdpChannelTryCreate()] inMapStackPeer(): null" },
        { up.get(), refuses.get(), -1, "[inUdpChannelTryCreate()] inMapStackPeerTryCreateUdpChannel(): null" },
    };
    for ( const Row &row : rows ) {
        test::Recording recording;
        EXPECT_FALSE(
            pb::adopt( inUdpChannelTryCreate( row.stack, nullptr, row.map, nullptr, row.port, 0, nullptr ) ) );
        std::string text = recording.text();
        EXPECT_NE( text.find( row.text ), std::string::npos ) << text;
        EXPECT_NE( text.find( "\"notable\":true" ), std::string::npos ) << text;
        EXPECT_NE( text.find( "[inUdpChannelTryCreate()] optionalLocalPort: " + std::to_string( row.port ) ),
            std::string::npos )
            << text;
    }
    test::Recording why;
    EXPECT_FALSE( test::channelOn( up.get(), busy.port ) );
    EXPECT_TRUE( why.brings( "[inUdpChannelTryCreate()] bind: Address already in use (EADDRINUSE)" ) );
    test::Recording recording;
    EXPECT_FALSE(
        pairOn( down.get() ).rtp || pairOn( up.get(), noPeer.get() ).rtp || pairOn( up.get(), refuses.get() ).rtp );
    std::string text = recording.text();
    for ( const char *told :
        { "inStackAddress(): null", "inMapStackPeer(): null", "inMapStackPeerTryCreateUdpChannelsRtp(): null" } )
        EXPECT_NE( text.find( told ), std::string::npos ) << text;
}

// Each thread opens, uses and releases channels of its own, all on one stack.
TEST( UdpRaces, ChannelsOfManyThreads )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    test::onThreads( 6, [&]( int ) {
        for ( int round = 0; round < 100; ++round ) {
            pb::Ref<IN_UDP_CHANNEL> one = test::channelOn( stack.get() ), other = test::channelOn( stack.get() );
            expectExchange( one.get(), other.get() );
        }
    } );
}

TEST( UdpMatch, MatchesAddressAndPort )
{
    pb::Ref<IN_UDP_MATCH> match = pb::adopt( inUdpMatchCreate() );
    pb::Ref<IN_UDP_ADDRESS> known = test::udpAddress( "10.0.0.1", 5'000 );
    inUdpMatchSet( match.handle(), known.get() );
    pb::Ref<IN_UDP_MATCH> before = match;
    auto matches = [&]( const char *address, PB_INT port ) {
        return inUdpMatchMatchPacket(
            match.get(), pb::adopt( inUdpPacketCreate( test::udpAddress( address, port ).get() ) ).get() );
    };
    EXPECT_TRUE( matches( "10.0.0.1", 5'000 ) );
    EXPECT_FALSE( matches( "10.0.0.1", 5'001 ) || matches( "10.0.0.2", 5'000 ) || matches( "::1", 5'000 ) );
    inUdpMatchDel( match.handle(), known.get() );
    EXPECT_FALSE( inUdpMatchHas( match.get(), known.get() ) );
    EXPECT_TRUE( inUdpMatchHas( before.get(), known.get() ) ) << "the other holder's stays";
}

TEST( UdpMulticastReceiver, SharesAGroup )
{
    pb::Ref<IN_ADDRESS> group = test::address( "239.192.7.7" );
    auto join = [&]( PB_INT port ) {
        return pb::adopt( inUdpMulticastReceiverTryCreate( group.get(), test::str( "lo" ).get(), port, nullptr ) );
    };
    EXPECT_FALSE( join( -1 ) ) << "a port is needed";
    EXPECT_FALSE(
        pb::adopt( inUdpMulticastReceiverTryCreate( group.get(), test::str( "nowhere" ).get(), 7, nullptr ) ) );
    pb::Ref<IN_UDP_MULTICAST_RECEIVER> one = join( 35'007 ), other = join( 35'007 );
    ASSERT_TRUE( one && other );
    EXPECT_EQ( test::take( inUdpMulticastReceiverInterface( one.get() ) ), "lo" );
    EXPECT_EQ( textOf( pb::adopt( inUdpMulticastReceiverLocalAddress( one.get() ) ).get() ), "239.192.7.7:35007" );

    test::BareSocket peer;
    ip_mreqn onLoopback{};
    onLoopback.imr_ifindex = 1;
    ASSERT_EQ( setsockopt( peer.fd.get(), IPPROTO_IP, IP_MULTICAST_IF, &onLoopback, sizeof onLoopback ), 0 );
    sockaddr_in to = test::BareSocket::sockaddrOf( 35'007 );
    inet_pton( AF_INET, "239.192.7.7", &to.sin_addr );
    if ( sendto( peer.fd.get(), "all", 3, 0, reinterpret_cast<sockaddr *>( &to ), sizeof to ) != 3 )
        GTEST_SKIP() << "the loopback interface sends no multicast here";
    for ( auto *recv : { one.get(), other.get() } ) {
        pb::Ref<IN_UDP_PACKET> pkt = pb::adopt( inUdpMulticastReceiverBlockReceive( recv, nullptr ) );
        EXPECT_EQ( payloadOf( pkt.get() ), "all" );
    }

    pb::Ref<PB_SIGNAL> abort = pb::adopt( pbSignalCreate() );
    std::jthread later( [&] { pbSleep( 20 ), pbSignalAssert( abort.get() ); } );
    EXPECT_FALSE( pb::adopt( inUdpMulticastReceiverBlockReceive( one.get(), abort.get() ) ) );
    EXPECT_FALSE( pb::adopt( inUdpMulticastReceiverBlockReceive( one.get(), abort.get() ) ) ) << "asserted before";
    EXPECT_DEATH( inUdpMulticastReceiverTryCreate( test::address( "10.0.0.1" ).get(), nullptr, 7, nullptr ),
        ": inAddressIsMulticast\\( multicastAddress \\)" );
}
