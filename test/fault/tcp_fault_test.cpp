/* The ladder under the TCP engines: connecting, listening, accepting, both directions, closing, ports in use. */
#include <fault/fault.h>
#include <in/imp/in_imp_tcp_private.h>
#include <in/in.h>
#include <in/qos/in_qos_vocabulary_private.h>
#include <support/namespace.hpp>
#include <thread>

namespace {

/** The engines are started anew for each rung: one whose observer has failed is of no use any more. */
class Engines {
public:
    Engines()
    {
        in___ImpTcpStartup();
        in___ImpTcpChannelAndListenerStartup();
    }
    ~Engines()
    {
        in___ImpTcpChannelAndListenerShutdown();
        in___ImpTcpShutdown();
    }
    Engines( const Engines & ) = delete;
    Engines &operator=( const Engines & ) = delete;
};

/** Handles that are destroyed at the end of the scope. */
struct Handles {
    ~Handles()
    {
        for ( PB_INT chan : { near, far } )
            if ( chan >= 0 )
                in___ImpTcpChannelDestroy( chan );
        if ( listener >= 0 )
            in___ImpTcpChannelListenerDestroy( listener );
    }
    PB_INT listener = -1;
    PB_INT near = -1;
    PB_INT far = -1;
};

/** Whether something comes to be within a time that no working socket needs. */
template <class Condition>
bool soon( Condition condition )
{
    for ( PB_INT end = pbTimestamp() + 200; pbTimestamp() < end; std::this_thread::yield() )
        if ( condition() )
            return true;
    return false;
}

/** One byte goes from one channel to the other; false when it does not. */
bool passes( in::TcpPath &from, in::TcpPath &to )
{
    pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreate() );
    const PB_BYTE byte = 'x';
    return soon( [&] {
        in::Wakes wakes;
        return from.send( &byte, 1, wakes ) == 1;
    } ) && soon( [&] {
        in::Wakes wakes;
        return to.receive( buf.handle(), 1, wakes ) == 1;
    } );
}

/** What becomes of a connection that the engine makes with itself. */
std::string exchange( const in::OpenPlan &plan, IN_TCP_OPTIONS *options )
{
    Handles open;
    in::OpenFailure failure;
    open.listener = in___ImpTcpChannelListenerTryCreate( plan, options, failure );
    if ( open.listener < 0 )
        return "refused";
    in::TcpListenerPath &listener = in___ImpTcpChannelListenerPath( open.listener );
    open.near = in___ImpTcpChannelTryCreate( plan, options, listener.localAddress().get(), failure );
    if ( open.near < 0 )
        return "refused";
    soon( [&] { return ( open.far = in___ImpTcpChannelListenerListen( open.listener, failure ) ) >= 0; } );
    if ( open.far < 0 )
        return listener.error() ? "failed" : "lost";
    in::TcpPath &near = in___ImpTcpChannelPath( open.near );
    in::TcpPath &far = in___ImpTcpChannelPath( open.far );
    bool exchanged = passes( near, far ) && passes( far, near );
    near.terminate();
    bool ended = soon( [&] { return far.end(); } );
    return near.error() || far.error() ? "failed" : exchanged && ended ? "exchanged" : "lost";
}

} // namespace

TEST( FaultTcp, ExchangesOrTells )
{
    pb::Ref<IN_ADDRESS> localhost = pb::adopt( inAddressTryCreateFromCstr( "127.0.0.1", -1 ) );
    pb::Ref<IN_QOS_STACK> qos = pb::adopt( inQosStackCreate( pb::adopt( inQosOptionsCreate() ).get(), nullptr ) );
    pb::Ref<IN_TCP_OPTIONS> options = pb::adopt( inTcpOptionsCreate() );
    in::OpenPlan plan{ .localAddress = localhost.get(),
        .flags = IN_TCP_FLAG_NO_DELAY | IN_TCP_FLAG_KEEP_ALIVE,
        .optionalQosStack = qos.get() };
    fault::ladder( { "exchanged", "refused", "failed", "lost" }, [&] {
        Engines engines;
        fault::Armed armed;
        return exchange( plan, options.get() );
    } );
}

TEST( FaultTcp, PortsInUse )
{
    pb::Ref<IN_ADDRESS> localhost = pb::adopt( inAddressTryCreateFromCstr( "127.0.0.1", -1 ) );
    fault::ladder( { "unused", "used" }, [&] {
        fault::Armed armed;
        return inTcpPortUsed( localhost.get(), 1 ) ? "used" : "unused";
    } );
}
