/* What users may do from within what they register, at the wrong moment, and in a forked child. */
#include "options_support.hpp"
#include "tcp_support.hpp"
#include <cs/cs.h>
#include <in/imp/in_imp_udp_private.h>
#include <pb/race.h>
#include <pr/pr.h>
#include <support/recording.hpp>
#include <sys/wait.h>

namespace {

using test::eventually;

/** A function to be registered anywhere, which asks somebody everything. */
struct Asker {
    explicit Asker( std::function<void()> ask ) { counter->reaction = std::move( ask ); }
    bool asked() const
    {
        return eventually( [this] { return counter->fired > 0; } );
    }

    pb::Ref<test::Counter> counter = pb::adopt( pb::create<test::Counter>() );
    pb::Ref<PB_SIGNALABLE> signalable = pb::adopt( pbSignalableCreate( test::Counter::fire, counter.get() ) );
    pb::Ref<PB_ALERTABLE> alertable = pb::adopt( pbAlertableCreate( test::Counter::fire, counter.get() ) );
};

void askStack( IN_STACK *stack )
{
    pb::Ref<IN_OPTIONS> options = pb::adopt( inStackOptions( stack ) );
    (void)inStackHasAddress( stack );
    (void)inStackHasPrimaryInterface( stack );
    (void)pb::adopt( inStackInterfacesVector( stack ) );
    (void)inStackUp( stack );
    (void)pb::adopt( inStackSelection( stack ) );
    pb::Ref<CS_STATUS_REPORTER> status = pb::adopt( inStackCsStatus( stack ) );
    (void)csStatusReporterUp( status.get() );
    (void)pb::adopt( csStatusReporterItems( status.get() ) );
}

void askInterfaces()
{
    for ( auto &iface : test::takeAll<IN_NW_INTERFACE>( inNwInterfacesVector() ) ) {
        (void)pb::adopt( inNwInterfaceIdentifier( iface.get() ) );
        (void)pb::adopt( inNwInterfaceState( iface.get() ) );
    }
}

void askChannel( IN_UDP_CHANNEL *chan )
{
    (void)pb::adopt( inUdpChannelStack( chan ) );
    (void)pb::adopt( inUdpChannelLocalAddress( chan ) );
    (void)pb::adopt( inUdpChannelMappedLocalAddress( chan ) );
    (void)inUdpChannelFlags( chan );
    (void)inUdpChannelError( chan );
    (void)inUdpChannelMapped( chan );
    (void)inUdpChannelSendErrorCount( chan );
    while ( pb::adopt( inUdpChannelReceive( chan ) ) ) {
    }
}

void askStore( PB_STRING *name )
{
    (void)pb::adopt( csStoreConfig() );
    (void)pb::adopt( csStoreObject( name ) );
    (void)pb::adopt( csStoreObjectStatus( name ) );
}

pb::Ref<IN_OPTIONS> nowhere()
{
    pb::Ref<IN_OPTIONS> options = pb::adopt( inOptionsCreate() );
    inOptionsSetInterface( options.handle(), test::str( "no such interface" ).get() );
    return options;
}

} // namespace

TEST( WhoIsTold, MayAskTheStack )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    Asker onUpdate( [&] { askStack( stack.get() ); } );
    Asker onStatus( [&] { askStack( stack.get() ); } );
    inStackUpdateAddSignalable( stack.get(), onUpdate.signalable.get() );
    pb::Ref<CS_STATUS_REPORTER> status = pb::adopt( inStackCsStatus( stack.get() ) );
    csStatusReporterUpdateAddSignalable( status.get(), onStatus.signalable.get() );
    inStackSetOptions( stack.get(), nowhere().get() );
    EXPECT_TRUE( onUpdate.asked() && onStatus.asked() );
}

TEST( WhoIsTold, MayAskTheChannel )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_UDP_CHANNEL> chan = test::channelOn( stack.get() );
    Asker onReceive( [&] { askChannel( chan.get() ), askStack( stack.get() ), askInterfaces(); } );
    Asker onMapped( [&] { askChannel( chan.get() ); } );
    inUdpChannelReceiveAddAlertable( chan.get(), onReceive.alertable.get() );
    inUdpChannelMappedAddSignalable( chan.get(), onMapped.signalable.get() );
    test::send( chan.get(), test::localOf( chan ).get(), "to itself" );
    EXPECT_TRUE( onReceive.asked() && onMapped.asked() );
    inUdpChannelReceiveDelAlertable( chan.get(), onReceive.alertable.get() );

    pb::Ref<IN_ADDRESS> group = test::address( "239.192.7.9" );
    auto receiver =
        pb::adopt( inUdpMulticastReceiverTryCreate( group.get(), test::str( "lo" ).get(), 35'009, nullptr ) );
    ASSERT_TRUE( receiver );
    Asker onGroup( [&] {
        (void)pb::adopt( inUdpMulticastReceiverLocalAddress( receiver.get() ) );
        (void)pb::adopt( inUdpMulticastReceiverInterface( receiver.get() ) );
        (void)inUdpMulticastReceiverError( receiver.get() );
        (void)pb::adopt( inUdpMulticastReceiverReceive( receiver.get() ) );
    } );
    inUdpMulticastReceiverReceiveAddAlertable( receiver.get(), onGroup.alertable.get() );
    test::send( chan.get(), pb::adopt( inUdpMulticastReceiverLocalAddress( receiver.get() ) ).get(), "to the group" );
    EXPECT_TRUE( onGroup.asked() || inUdpChannelSendErrorCount( chan.get() ) > 0 ) << "or lo has no multicast";
    inUdpMulticastReceiverReceiveDelAlertable( receiver.get(), onGroup.alertable.get() );
}

class WhoIsToldByTheStore : public test::LiveStore {};

TEST_F( WhoIsToldByTheStore, MayAskIt )
{
    pb::Ref<PB_STRING> name = test::str( "stack" );
    Asker onStore( [&] { askStore( name.get() ); } );
    Asker onObject( [&] { askStore( name.get() ); } );
    pb::Ref<CS_OBJECT_OBSERVER> observer = pb::adopt( csObjectObserverCreate( inStackSort(), nullptr ) );
    csObjectObserverConfigure( observer.get(), name.get(), nullptr );
    csObjectObserverUpdateAddSignalable( observer.get(), onObject.signalable.get() );
    csStoreUpdateAddSignalable( onStore.signalable.get() );
    ASSERT_TRUE( csStoreTrySetObject( name.get(), test::str( "IN_STACK" ).get(), nullptr ) );
    EXPECT_TRUE( onStore.asked() && onObject.asked() );
    csStoreDelObject( name.get() );
}

// An alert owns what is registered on it; that goes when no lock is held.
TEST( LastReference, OfAChannelIsHeldByAnothersAlert )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_UDP_CHANNEL> chan = test::channelOn( stack.get() );
    pb::Ref<IN_UDP_CHANNEL> other = test::channelOn( stack.get() );
    auto alertable = pb::adopt( pbAlertableCreate( []( PB_OBJ * ) {}, inUdpChannelObj( other.get() ) ) );
    inUdpChannelReceiveAddAlertable( chan.get(), alertable.get() );
    PB_INT port = inUdpAddressPort( test::localOf( other ).get() );
    alertable = nullptr;
    other = nullptr;
    EXPECT_FALSE( test::channelOn( stack.get(), port ) ) << "the other one is still open";
    chan = nullptr;
    EXPECT_TRUE( test::channelOn( stack.get(), port ) );
}

TEST( Fork, AChildThatReleasesLeavesTheParentAlone )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_UDP_CHANNEL> chan = test::channelOn( stack.get() );
    test::Receiver receiver( chan.get() );
    test::StreamPair streams( stack.get() );
    test::Recording recording( true ); // a sink, whose locks and thread the child does not have
    pid_t child = fork();
    if ( child == 0 ) {
        inTcpChannelListenerRelease( streams.listener.give() );
        inTcpChannelRelease( streams.near.chan.give() );
        (void)pb::obj( stack.give() )->refs.drop(); // so that the channel has the last reference to it
        inUdpChannelRelease( chan.get() );
        inUdpChannelRelease( chan.give() ); // the receiver's was the other one
        _exit( 0 );
    }
    int status = -1;
    ASSERT_EQ( waitpid( child, &status, 0 ), child );
    EXPECT_EQ( status, 0 );
    test::send( chan.get(), test::localOf( chan ).get(), "still heard" );
    EXPECT_EQ( receiver.text(), "still heard" );
    EXPECT_TRUE( streams.near.send( "still open" ) );
    EXPECT_EQ( streams.far.receive( 10 ), "still open" );
}

TEST( SendErrors, AreCountedAndTheFirstOfEachKindIsTold )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_UDP_CHANNEL> chan = test::channelOn( stack.get() );
    test::Recording recording;
    std::string tooLong( 65'508, 'x' );
    for ( int i = 0; i < 3; ++i )
        test::send( chan.get(), test::localOf( chan ).get(), tooLong );
    test::send( chan.get(), test::udpAddress( "::1", 9 ).get(), "of another family" );
    EXPECT_EQ( inUdpChannelSendErrorCount( chan.get() ), 4 );
    std::string text = recording.text();
    std::size_t first = text.find( "[inUdpChannelSendBytes()] sendto: Message too long (EMSGSIZE)" );
    ASSERT_NE( first, text.npos ) << text;
    EXPECT_EQ( text.find( "EMSGSIZE", text.find( "EMSGSIZE" ) + 1 ), text.npos ) << text;
    EXPECT_NE( text.find( "EAFNOSUPPORT" ), text.npos ) << text;
}

TEST( ChoosePort, TriesEachOnceAndStopsWhenItIsNotThePort )
{
    std::vector<PB_INT> tried;
    auto search = [&]( in::Ports ports, in::PortAttempt result ) {
        tried.clear();
        EXPECT_FALSE( in::choosePort( ports, [&]( PB_INT port ) {
            tried.push_back( port );
            return result;
        } ) );
        std::sort( tried.begin(), tried.end() );
        return tried;
    };
    EXPECT_EQ( search( { 65'534, 1'000'000 }, in::PortAttempt::other ), ( std::vector<PB_INT>{ 65'534, 65'535 } ) );
    EXPECT_EQ( search( { 0, 3 }, in::PortAttempt::other ), ( std::vector<PB_INT>{ 1, 2 } ) );
    EXPECT_EQ( search( {}, in::PortAttempt::other ).size(), 65'535U );
    EXPECT_EQ( search( {}, in::PortAttempt::failed ).size(), 1U );
    EXPECT_EQ( search( { 70'000, 5 }, in::PortAttempt::other ).size(), 0U );
}

TEST( StopDeathTest, NamesWhatIsStillHeld )
{
    auto stop = [] {
        inModule()->shutdown();
        inModule()->shutdownWait();
    };
    pb::Ref<IN_STACK> stack;
    EXPECT_DEATH( stack = test::loopbackStack(); stop(), "stacks are still held" );
    EXPECT_DEATH( in::OpenFailure failure;
                  (void)in___ImpUdpChannelTryCreate( { .localAddress = test::address( "127.0.0.1" ).get() }, failure );
                  stop(), "channels are still held" );
    EXPECT_DEATH( stop(); stack = test::loopbackStack(), "the runtime has been stopped" );
}
