/* TCP channels, listeners, proposals and pairs on loopback, against bare sockets; channels of a mapping. */
#include "map_support.hpp"
#include "options_support.hpp"
#include "tcp_support.hpp"
#include <in/base/in_stack_private.h>
#include <in/imp/in_imp_tcp_private.h>
#include <in/map/in_map_private.hpp>
#include <netinet/tcp.h>
#include <random>
#include <support/recording.hpp>
#include <thread>

namespace {

using test::BareTcp;
using test::connectTo;
using test::eventually;
using test::listenOn;
using test::localOf;
using test::Stream;
using test::StreamPair;
using test::textOf;

const std::string BLOCK( 65'536, 'b' );

/** A filter that lets 127.0.0.1 in and nobody else. */
pb::Ref<IN_FILTER> onlyLocalhost()
{
    pb::Ref<IN_FILTER_OPTIONS> options = pb::adopt( inFilterOptionsRestore(
        test::storeOf( R"({"entries":[{"host":"127.0.0.1","flags":"IN_FILTER_ENTRY_FLAG_ADDRESS"}]})" ).get() ) );
    pb::Ref<IN_FILTER> filter = pb::adopt( inFilterCreate( options.get(), nullptr ) );
    EXPECT_TRUE( eventually( [&] { return inFilterCheck( filter.get(), test::address( "127.0.0.1" ).get() ); } ) );
    return filter;
}

/** A mapping's channel that sends everything back, and a listener that has one connection. */
template <class Base>
class Mapped : public Base {
public:
    pb::Ref<IN_QOS_STACK> optionalQosStack() override { return {}; }
    pb::Ref<IN_TCP_ADDRESS> localAddress() override { return test::tcpAddress( "10.0.0.1", 1 ); }
    PB_INT flags() override { return IN_TCP_FLAG_NO_DELAY; }
    bool error() override { return false; }
    void errorAddSignalable( PB_SIGNALABLE * ) override {}
    void errorDelSignalable( PB_SIGNALABLE * ) override {}
    bool mapped() override { return false; }
    void mappedAddSignalable( PB_SIGNALABLE * ) override {}
    pb::Ref<IN_TCP_ADDRESS> optionalMappedLocalAddress() override { return {}; }
};
class MappedEcho final : public Mapped<in::TcpPath> {
public:
    pb::Ref<IN_TCP_ADDRESS> remoteAddress() override { return test::tcpAddress( "10.0.0.2", 2 ); }
    bool end() override { return terminated && bytes.empty(); }
    void endAddSignalable( PB_SIGNALABLE * ) override {}
    void endDelSignalable( PB_SIGNALABLE * ) override {}
    bool active() override { return true; }
    void activeAddSignalable( PB_SIGNALABLE *signalable ) override { pbSignalableSignal( signalable ); }
    void activeDelSignalable( PB_SIGNALABLE * ) override {}
    PB_INT send( const PB_BYTE *sent, PB_INT byteCount, in::Wakes & ) override
    {
        bytes.append( reinterpret_cast<const char *>( sent ), std::size_t( byteCount ) );
        return byteCount;
    }
    void sendAddAlertable( PB_ALERTABLE * ) override {}
    void sendDelAlertable( PB_ALERTABLE * ) override {}
    PB_INT receive( PB_BUFFER **buf, PB_INT maxByteCount, in::Wakes & ) override
    {
        PB_INT count = std::min( maxByteCount, PB_INT( bytes.size() ) );
        pbBufferAppendBytes( buf, bytes.data(), count );
        bytes.erase( 0, std::size_t( count ) );
        return count;
    }
    void receiveAddAlertable( PB_ALERTABLE * ) override {}
    void receiveDelAlertable( PB_ALERTABLE * ) override {}
    void terminate() override { terminated = true; }

private:
    std::string bytes;
    bool terminated = false;
};
class MappedListener final : public Mapped<in::MapTcpListenerPath> {
public:
    void listenAddAlertable( PB_ALERTABLE *alertable ) override { pbAlertableAlert( alertable ); }
    void listenDelAlertable( PB_ALERTABLE * ) override {}
    pb::Ref<IN___MAP_TCP_CHANNEL> optionalListen() override
    {
        return std::exchange( waits, false ) ? pb::adopt( in___MapTcpChannelCreate( std::make_unique<MappedEcho>() ) )
                                             : nullptr;
    }

private:
    bool waits = true;
};
class TcpPeer final : public in::MapPeer {
    pb::Ref<IN___MAP_UDP_CHANNEL> tryCreateUdpChannel(
        IN_STACK *, IN_QOS_STACK *, PB_INT, PB_INT, TR_ANCHOR * ) override
    {
        return {};
    }
    pb::Ref<PB_VECTOR> tryCreateUdpChannelsRtp( IN_STACK *, IN_QOS_STACK *, PB_INT, TR_ANCHOR * ) override
    {
        return {};
    }
    pb::Ref<IN___MAP_TCP_CHANNEL> tryCreateTcpChannel(
        IN_STACK *, IN_QOS_STACK *, IN_TCP_ADDRESS *, PB_INT, PB_INT, TR_ANCHOR * ) override
    {
        return pb::adopt( in___MapTcpChannelCreate( std::make_unique<MappedEcho>() ) );
    }
    pb::Ref<IN___MAP_TCP_CHANNEL_LISTENER> tryCreateTcpChannelListener(
        IN_STACK *, IN_QOS_STACK *, PB_INT, PB_INT, TR_ANCHOR * ) override
    {
        return pb::adopt( in___MapTcpChannelListenerCreate( std::make_unique<MappedListener>() ) );
    }
};

} // namespace

TEST( TcpChannel, ThroughAMapping )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    auto stackOf = []( IN_MAP_STACK_PEER *peer ) {
        return pb::adopt( in___MapStackCreate( pb::adopt( peer ).get(), nullptr ) );
    };
    pb::Ref<IN_MAP_STACK> map = stackOf( in___MapStackPeerCreate( std::make_unique<TcpPeer>() ) );
    pb::Ref<IN_TCP_ADDRESS> to = test::tcpAddress( "10.0.0.2", 2 );
    auto connectThrough = [&]( IN_MAP_STACK *through ) {
        return pb::adopt( inTcpChannelTryCreate( stack.get(), nullptr, through, nullptr, to.get(), -1, 0, nullptr ) );
    };
    auto listenThrough = [&]( IN_MAP_STACK *through ) {
        return pb::adopt( inTcpChannelListenerTryCreate( stack.get(), nullptr, through, nullptr, -1, 0, nullptr ) );
    };
    pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn = listenThrough( map.get() );
    pb::Ref<IN_TCP_CHANNEL> chan = connectThrough( map.get() );
    ASSERT_TRUE( lsn && chan );
    EXPECT_FALSE( inTcpChannelMapped( chan.get() ) || inTcpChannelListenerMapped( lsn.get() ) );
    for ( const pb::Ref<IN_TCP_CHANNEL> &each : { chan, test::acceptOn( lsn.get() ) } ) {
        ASSERT_TRUE( each );
        EXPECT_EQ( pb::adopt( inTcpChannelMapStack( each.get() ) ).get(), map.get() );
        Stream stream( each );
        EXPECT_TRUE( stream.send( "round" ) );
        inTcpChannelTerminate( each.get() );
        EXPECT_EQ( stream.rest(), "round" );
    }
    EXPECT_FALSE( pb::adopt( inTcpChannelListenerListen( lsn.get() ) ) );

    test::Recording recording;
    pb::Ref<IN_MAP_STACK> noPeer = pb::adopt( in___MapStackCreate( nullptr, nullptr ) );
    pb::Ref<IN_MAP_STACK> noTcp = test::mapStack( true ); // a mapping that offers none
    EXPECT_FALSE( connectThrough( noPeer.get() ) || listenThrough( noPeer.get() ) );
    EXPECT_FALSE( connectThrough( noTcp.get() ) || listenThrough( noTcp.get() ) );
    EXPECT_FALSE( pb::adopt(
        inTcpChannelListenersVectorTryCreateRtp( stack.get(), nullptr, noTcp.get(), nullptr, 0, nullptr ) ) );
    std::string text = recording.text();
    for ( const char *told : { "[inTcpChannelTryCreate()] inMapStackPeer(): null",
              "[inTcpChannelListenerTryCreate()] inMapStackPeer(): null",
              "[inTcpChannelTryCreate()] inMapStackPeerTryCreateTcpChannel(): null",
              "[inTcpChannelListenerTryCreate()] inMapStackPeerTryCreateTcpChannelListener(): null",
              "inMapStackPeerTryCreateTcpChannelListenersRtp(): null" } )
        EXPECT_NE( text.find( told ), text.npos ) << told;
}

TEST( TcpChannel, BytesGoBothWays )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    StreamPair pair( stack.get(), IN_TCP_FLAG_NO_DELAY );
    EXPECT_EQ( textOf( pb::adopt( inTcpChannelRemoteAddress( pair.near.chan.get() ) ).get() ),
        textOf( localOf( pair.listener ).get() ) );
    EXPECT_EQ( textOf( pb::adopt( inTcpChannelRemoteAddress( pair.far.chan.get() ) ).get() ),
        textOf( pb::adopt( inTcpChannelLocalAddress( pair.near.chan.get() ) ).get() ) );
    EXPECT_EQ( inTcpChannelFlags( pair.far.chan.get() ), IN_TCP_FLAG_NO_DELAY );

    EXPECT_TRUE( pair.near.send( "hello" ) );
    EXPECT_EQ( pair.far.receive( 5 ), "hello" );
    EXPECT_TRUE( pair.far.send( "and back" ) );
    EXPECT_EQ( pair.near.receive( 8 ), "and back" );

    // half-closed: the other direction goes on, and the end comes with the last byte
    inTcpChannelTerminate( pair.near.chan.get() );
    EXPECT_EQ( inTcpChannelSend( pair.near.chan.get(), test::buffer( "x" ).get(), 0, 1 ), 0 );
    EXPECT_TRUE( pair.far.ended() );
    EXPECT_FALSE( inTcpChannelError( pair.far.chan.get() ) );
    EXPECT_EQ( inTcpChannelSend( pair.far.chan.get(), test::buffer( "x" ).get(), 0, 1 ), 0 ) << "ended: no answer";
}

TEST( TcpChannel, EndsWithTheLastByte )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    BareTcp listener = BareTcp::listening();
    Stream chan( connectTo( stack.get(), listener.address().get() ) );
    BareTcp peer = listener.accepted();
    ASSERT_TRUE( chan.connected() );

    // after our half-close, a peer that sends and closes is a hang-up with bytes unread
    inTcpChannelTerminate( chan.chan.get() );
    EXPECT_EQ( peer.rest(), "" );
    peer.send( "last words" );
    peer.fd.close();
    EXPECT_TRUE( eventually( [&] { return chan.take( 4 ) == "last"; } ) );
    EXPECT_FALSE( inTcpChannelEnd( chan.chan.get() ) ) << "not before the last byte was taken";
    EXPECT_EQ( chan.rest(), " words" );
    EXPECT_TRUE( inTcpChannelEnd( chan.chan.get() ) );
    EXPECT_FALSE( inTcpChannelError( chan.chan.get() ) );
}

TEST( TcpChannel, ReadingPausesAndGoesOn )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    BareTcp listener = BareTcp::listening();
    Stream chan( connectTo( stack.get(), listener.address().get() ) );
    BareTcp peer = listener.accepted();
    ASSERT_TRUE( chan.connected() );
    const std::string sent = BLOCK + BLOCK + BLOCK + "tail";
    peer.send( sent ); // more than waits here; the rest waits in the system
    peer.fd.close();   // a paused channel whose peer has hung up
    std::string got;
    while ( got.size() < sent.size() ) { // only the last byte brings the end
        ASSERT_FALSE( inTcpChannelEnd( chan.chan.get() ) );
        std::string some = chan.take( 7'000 );
        ASSERT_TRUE( !some.empty() || eventually( [&] { return !( some = chan.take( 7'000 ) ).empty(); } ) );
        got += some;
    }
    EXPECT_TRUE( got == sent );
    EXPECT_TRUE( chan.ended() );
}

TEST( TcpChannel, PeersThatReset )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    BareTcp listener = BareTcp::listening();
    auto open = [&]( BareTcp &peer ) {
        auto chan = std::make_unique<Stream>( connectTo( stack.get(), listener.address().get() ) );
        peer = listener.accepted();
        EXPECT_TRUE( chan->connected() );
        return chan;
    };
    BareTcp peer( -1 );
    { // while nothing goes on
        auto chan = open( peer );
        peer.reset();
        EXPECT_TRUE( chan->failed() );
        EXPECT_TRUE( inTcpChannelEnd( chan->chan.get() ) );
    }
    { // after we closed our direction, and nobody reads
        auto chan = open( peer );
        inTcpChannelTerminate( chan->chan.get() );
        peer.reset();
        EXPECT_TRUE( chan->failed() );
    }
    { // while we are paused: what waits is lost with the connection
        auto chan = open( peer );
        peer.send( BLOCK + BLOCK );
        std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) );
        peer.reset();
        EXPECT_TRUE( chan->failed() );
        EXPECT_EQ( chan->take(), "" );
    }
    for ( int i = 0; i < 50; ++i ) { // while we send: the failure is never taken for a clean end
        auto chan = open( peer );
        std::thread resetter( [&] { peer.reset(); } );
        while ( chan->send( "x" ) )
            ;
        resetter.join();
        EXPECT_TRUE( chan->failed() );
    }
}

TEST( TcpChannel, RefusedConnections )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    BareTcp listener = BareTcp::listening(); // now, so that it does not get the port where nobody is
    pb::Ref<IN_TCP_ADDRESS> nobody = BareTcp::listening().address(); // closed again
    auto refused = [&]( IN_STACK *on ) {
        Stream chan( connectTo( on, nobody.get() ) );
        EXPECT_FALSE( chan.connected() );
        EXPECT_TRUE( inTcpChannelError( chan.chan.get() ) && inTcpChannelEnd( chan.chan.get() ) );
    };
    EXPECT_FALSE( in___StackTcpIsBlacklisted( stack.get(), nobody.get() ) );
    refused( stack.get() );
    EXPECT_TRUE( in___StackTcpIsBlacklisted( stack.get(), nobody.get() ) );

    { // what fails later is no reason
        Stream chan( connectTo( stack.get(), listener.address().get() ) );
        BareTcp peer = listener.accepted();
        ASSERT_TRUE( chan.connected() );
        peer.reset();
        EXPECT_TRUE( chan.failed() );
    }
    EXPECT_FALSE( in___StackTcpIsBlacklisted( stack.get(), listener.address().get() ) );
}

TEST( TcpChannel, NotYetActive )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    // a listener with a full queue leaves attempts unanswered
    BareTcp listener = BareTcp::listening( 0 );
    std::vector<std::unique_ptr<Stream>> chans;
    for ( int i = 0; i < 4; ++i )
        chans.push_back( std::make_unique<Stream>( connectTo( stack.get(), listener.address().get() ) ) );
    IN_TCP_CHANNEL *chan = chans.back()->chan.get();
    std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) );
    ASSERT_FALSE( inTcpChannelActive( chan ) );
    EXPECT_EQ( inTcpChannelSend( chan, test::buffer( "x" ).get(), 0, 1 ), 0 );
    EXPECT_EQ( chans.back()->take(), "" );
    inTcpChannelTerminate( chan ); // when it is connected; not instead
    std::string last = "unread";
    std::thread server( [&] {
        for ( std::size_t i = 0; i < chans.size(); ++i ) // the one that was terminated comes as the last one
            if ( BareTcp peer = listener.accepted(); i + 1 == chans.size() )
                last = peer.rest();
    } );
    EXPECT_TRUE( chans.back()->connected() );
    for ( auto &other : chans )
        inTcpChannelTerminate( other->chan.get() );
    server.join();
    EXPECT_EQ( last, "" );
}

TEST( TcpChannel, FilteredAddresses )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_FILTER> filter = onlyLocalhost();
    BareTcp listener = BareTcp::listening();
    test::Recording recording;
    EXPECT_FALSE( connectTo( stack.get(), test::tcpAddress( "127.0.0.2", 1 ).get(), 0, filter.get() ) );
    EXPECT_TRUE( recording.brings( "[inTcpChannelTryCreate()] inFilterCheckTcpAddress(): false" ) );
    EXPECT_TRUE( connectTo( stack.get(), listener.address().get(), 0, filter.get() ) );

    // a listener closes strangers, and hands out the next one
    pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn = listenOn( stack.get(), -1, 0, filter.get() );
    PB_INT port = inTcpAddressPort( localOf( lsn ).get() );
    BareTcp stranger = BareTcp::connectedTo( port, "127.0.0.2" );
    BareTcp friendly = BareTcp::connectedTo( port );
    pb::Ref<IN_TCP_CHANNEL> chan = test::acceptOn( lsn.get() );
    ASSERT_TRUE( chan );
    EXPECT_EQ(
        textOf( pb::adopt( inTcpChannelRemoteAddress( chan.get() ) ).get() ), textOf( friendly.address().get() ) );
    EXPECT_EQ( stranger.rest(), "" );
    EXPECT_TRUE( recording.brings( "[inTcpChannelListenerListen()] inFilterCheckTcpAddress(): false" ) );
}

TEST( TcpListener, Proposals )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_TCP_CHANNEL_LISTENER> listener = listenOn( stack.get() );
    PB_INT port = inTcpAddressPort( localOf( listener ).get() );
    EXPECT_FALSE( pb::adopt( inTcpChannelListenerListen( listener.get() ) ) );

    BareTcp first = BareTcp::connectedTo( port );
    pb::Ref<IN_TCP_CHANNEL_PROPOSAL> prop = test::proposalOf( listener.get() );
    pb::Ref<IN_TCP_CHANNEL> chan = pb::adopt( inTcpChannelProposalAccept( prop.get() ) );
    EXPECT_TRUE( chan );
    EXPECT_FALSE( pb::adopt( inTcpChannelProposalAccept( prop.get() ) ) );
    EXPECT_EQ(
        textOf( pb::adopt( inTcpChannelProposalRemoteAddress( prop.get() ) ).get() ), textOf( first.address().get() ) );

    BareTcp second = BareTcp::connectedTo( port );
    prop = test::proposalOf( listener.get() );
    prop = nullptr; // dropped
    EXPECT_EQ( second.rest(), "" );

    BareTcp third = BareTcp::connectedTo( port ); // nobody takes it
    listener = nullptr;
    EXPECT_EQ( third.rest(), "" );
    chan = nullptr;
    EXPECT_EQ( first.rest(), "" );
}
