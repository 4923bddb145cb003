/* The ladder under the UDP engine: opening, sending, receiving, closing, on the caller's thread and the engine's. */
#include <fault/fault.h>
#include <in/imp/in_imp_udp_private.h>
#include <in/in.h>
#include <in/qos/in_qos_vocabulary_private.h>
#include <support/namespace.hpp>

namespace {

const int loopback = test::addLoopback();
const int vocabularies = test::addFixture( 20, { [] {
                                                    in___QosDefaultsStartup();
                                                    in___QosLayer2PcpStartup();
                                                    in___QosWindowsTrafficTypeStartup();
                                                },
                                                   [] {
                                                       in___QosWindowsTrafficTypeShutdown();
                                                       in___QosLayer2PcpShutdown();
                                                       in___QosDefaultsShutdown();
                                                   } } );

/** The engine is started anew for each rung: one whose observer has failed is of no use any more. */
class Engine : test::Pinned {
public:
    Engine()
    {
        in___ImpUdpStartup();
        in___ImpUdpChannelStartup();
    }
    ~Engine()
    {
        in___ImpUdpChannelShutdown();
        in___ImpUdpShutdown();
    }
};

pb::Ref<IN_ADDRESS> address( const char *text )
{
    return pb::adopt( inAddressTryCreateFromCstr( text, -1 ) );
}

/** What becomes of a datagram that the channel sends to itself: "received", "failed" (the channel), or "lost". */
std::string sendToItself( PB_INT chan )
{
    in::UdpPath &path = in___ImpUdpChannelPath( chan );
    path.sendBytes( path.localAddress().get(), "x", 1 );
    for ( PB_INT end = pbTimestamp() + 100; pbTimestamp() < end; std::this_thread::yield() ) {
        if ( path.optionalReceive() )
            return "received";
        if ( path.error() )
            return "failed";
    }
    return "lost";
}

} // namespace

TEST( FaultUdp, SendsAndReceivesOrTells )
{
    pb::Ref<IN_ADDRESS> localhost = address( "127.0.0.1" );
    pb::Ref<IN_QOS_STACK> qos = pb::adopt( inQosStackCreate( pb::adopt( inQosOptionsCreate() ).get(), nullptr ) );
    fault::ladder( { "received", "refused", "failed", "lost" }, [&]() -> std::string {
        Engine engine;
        fault::Armed armed;
        in::OpenFailure failure;
        PB_INT chan = in___ImpUdpChannelTryCreate(
            { .localAddress = localhost.get(), .ports = {}, .optionalQosStack = qos.get() }, failure );
        if ( chan < 0 )
            return "refused";
        std::string outcome = sendToItself( chan );
        in___ImpUdpChannelDestroy( chan );
        return outcome;
    } );
}

TEST( FaultUdp, JoinsOrRefuses )
{
    pb::Ref<IN_ADDRESS> group = address( "239.192.7.8" );
    pb::Ref<PB_STRING> interfaceName = pb::string( "lo" );
    fault::ladder( { "joined", "refused", "failed" }, [&]() -> std::string {
        Engine engine;
        fault::Armed armed;
        in::OpenFailure failure;
        PB_INT chan = in___ImpUdpChannelTryCreate( { .localAddress = group.get(),
                                                       .optionalPort = 35'008,
                                                       .ports = {},
                                                       .optionalInterface = interfaceName.get() },
            failure );
        if ( chan < 0 )
            return "refused";
        bool failed = in___ImpUdpChannelPath( chan ).error();
        in___ImpUdpChannelDestroy( chan );
        return failed ? "failed" : "joined";
    } );
}
