/* Opening TCP listeners and channels as the options say. */
#include <tool/tool_reason.hpp>
#include <tool/tool_tcp_choice.hpp>

namespace {

void setPortRange( IN_STACK *stack, IN_TCP_PORT_RANGE *range )
{
    pb::Ref<IN_OPTIONS> options = pb::adopt( inStackOptions( stack ) );
    pb::Ref<IN_TCP_OPTIONS> tcpOptions = pb::adopt( inOptionsTcpOptions( options.get() ) );
    inTcpOptionsSetPortRange( tcpOptions.handle(), range );
    inOptionsSetTcpOptions( options.handle(), tcpOptions.get() );
    inStackSetOptions( stack, options.get() );
}

tool::Listeners both( PB_VECTOR *optionalPair )
{
    tool::Listeners listeners;
    if ( optionalPair )
        tool::forEach<IN_TCP_CHANNEL_LISTENER>(
            optionalPair, [&]( IN_TCP_CHANNEL_LISTENER *listener ) { listeners.push_back( pb::share( listener ) ); } );
    return listeners;
}

} // namespace

tool::Dialer::Dialer( const TcpChoice &itsChoice, const Target &target )
    : choice( itsChoice ), address( pb::adopt( inTcpAddressCreate( target.parsed().get(), target.port ) ) )
{
    pb::Ref<IN_ADDRESS> peer = target.parsed();
    named = choice.openStack( peer.get() );
    qos = choice.qosStack();
    filter = choice.filter( peer.get() );
}

pb::Ref<IN_TCP_CHANNEL> tool::Dialer::dial() const
{
    TracedReason reason( "IN_TCP_CHANNEL" );
    pb::Ref<IN_TCP_CHANNEL> channel = pb::adopt( inTcpChannelTryCreate( named.stack.get(), qos.get(), nullptr,
        filter.get(), address.get(), choice.optionalPort(), choice.flags(), nullptr ) );
    if ( !channel )
        choice.failToOpen( "connection", named.stack.get(), reason.text() );
    return channel;
}

pb::Ref<IN_TCP_CHANNEL> tool::Dialer::connect() const
{
    Wake wake;
    Interrupt interrupt( wake );
    pb::Ref<IN_TCP_CHANNEL> channel = dial();
    inTcpChannelActiveAddSignalable( channel.get(), wake.signalable() );
    Time end = choice.timeout > 0 ? later( Clock::now(), choice.timeout ) : Time::max();
    while ( !inTcpChannelActive( channel.get() ) && !interrupt.came() && Clock::now() < end )
        wake.wait( end );
    if ( !inTcpChannelActive( channel.get() ) )
        fail( "no connection to {}: {}", remote(),
            interrupt.came() ? "interrupted" : "no answer in time; check the address, or give more with --timeout" );
    if ( inTcpChannelError( channel.get() ) )
        fail( "no connection to {}: {}; check that something listens there", remote(), whyFailed( channel ) );
    return channel;
}

void tool::follow( IN_TCP_CHANNEL *channel, const Wake &wake )
{
    inTcpChannelReceiveAddAlertable( channel, wake.alertable() );
    inTcpChannelSendAddAlertable( channel, wake.alertable() );
    inTcpChannelEndAddSignalable( channel, wake.signalable() );
}

void tool::TcpChoice::addConnectOptions( CLI::App &command )
{
    addOptions( command );
    addNumber( command, "--timeout", timeout, "SECONDS",
        "Wait this long for the connection (default: as long as the system does, some two minutes)", 0.001, 1e6 );
}

void tool::TcpChoice::addOptions( CLI::App &command )
{
    SocketChoice::addOptions( command );
    addFilterOption( command );
    command.add_flag( "--no-delay", noDelay, "Send small pieces at once (TCP_NODELAY)" );
    command.add_flag( "--keep-alive", keepAlive, "Probe idle connections, so that a dead peer is noticed" );
}

PB_INT tool::TcpChoice::flags() const
{
    return ( noDelay ? IN_TCP_FLAG_NO_DELAY : 0 ) | ( keepAlive ? IN_TCP_FLAG_KEEP_ALIVE : 0 );
}

tool::NamedStack tool::TcpChoice::openStack( IN_ADDRESS *optionalPeer ) const
{
    std::optional<Ports> range = ports(); // may end the command, which then needs no stack
    NamedStack named = stack( optionalPeer );
    if ( range )
        setPortRange( named.stack.get(), pb::adopt( inTcpPortRangeCreate( range->first, range->count ) ).get() );
    return named;
}

tool::Listeners tool::TcpChoice::listen() const
{
    NamedStack named = openStack( nullptr );
    IN_STACK *on = named.stack.get();
    pb::Ref<IN_QOS_STACK> marks = qosStack();
    pb::Ref<IN_FILTER> behind = filter( nullptr );
    TracedReason reason( isPair() ? "inTcpChannelListenersVectorTryCreateRtp()" : "IN_TCP_CHANNEL_LISTENER" );
    if ( isPair() ) {
        Listeners pair =
            both( inTcpChannelListenersVectorTryCreateRtp( on, marks.get(), nullptr, behind.get(), flags(), nullptr ) );
        if ( !pair.empty() )
            return pair;
    } else if ( pb::Ref<IN_TCP_CHANNEL_LISTENER> listener = pb::adopt( inTcpChannelListenerTryCreate(
                    on, marks.get(), nullptr, behind.get(), optionalPort(), flags(), nullptr ) ) ) {
        return { listener };
    }
    failToOpen( "listener", on, reason.text() );
}

std::string tool::whyFailed( pb::Ref<IN_TCP_CHANNEL> &channel )
{
    TracedReason reason( "IN_TCP_CHANNEL" );
    channel = {};
    return reason.text();
}
