/* A mapping whose channels are those of the backend, seen outside under another port that never becomes known. */
#ifndef TEST_IN_MAP_SUPPORT_HPP
#define TEST_IN_MAP_SUPPORT_HPP

#include "udp_support.hpp"
#include <in/imp/in_imp_udp_private.h>
#include <in/map/in_map_private.hpp>

namespace test {

class MappedPath final : public in::UdpPath {
public:
    explicit MappedPath( PB_INT handle ) : imp( handle ) {}
    ~MappedPath() override { in___ImpUdpChannelDestroy( imp ); }
    pb::Ref<IN_QOS_STACK> optionalQosStack() override { return path().optionalQosStack(); }
    pb::Ref<IN_UDP_ADDRESS> localAddress() override { return path().localAddress(); }
    PB_INT flags() override { return path().flags(); }
    bool error() override { return path().error(); }
    void errorAddSignalable( PB_SIGNALABLE *signalable ) override { path().errorAddSignalable( signalable ); }
    void errorDelSignalable( PB_SIGNALABLE *signalable ) override { path().errorDelSignalable( signalable ); }
    bool mapped() override { return false; }
    void mappedAddSignalable( PB_SIGNALABLE * ) override {}
    pb::Ref<IN_UDP_ADDRESS> optionalMappedLocalAddress() override { return {}; }
    int sendBytes( IN_UDP_ADDRESS *remoteAddress, const void *bytes, PB_INT byteCount ) override
    {
        return path().sendBytes( remoteAddress, bytes, byteCount );
    }
    pb::Ref<IN_UDP_PACKET> optionalReceive() override { return path().optionalReceive(); }
    void receiveAddAlertable( PB_ALERTABLE *alertable ) override { path().receiveAddAlertable( alertable ); }
    void receiveDelAlertable( PB_ALERTABLE *alertable ) override { path().receiveDelAlertable( alertable ); }

private:
    in::UdpPath &path() { return in___ImpUdpChannelPath( imp ); }

    PB_INT imp;
};

class MapPeer final : public in::MapPeer {
public:
    explicit MapPeer( bool mayOpen ) : opens( mayOpen ) {}
    pb::Ref<IN___MAP_UDP_CHANNEL> tryCreateUdpChannel(
        IN_STACK *stack, IN_QOS_STACK *optionalQosStack, PB_INT optionalLocalPort, PB_INT flags, TR_ANCHOR * ) override
    {
        pb::Ref<IN_ADDRESS> ina = pb::adopt( inStackAddress( stack ) );
        in::OpenPlan plan = planOf( ina.get(), optionalQosStack, flags );
        plan.optionalPort = optionalLocalPort;
        in::OpenFailure failure;
        return opens ? wrap( in___ImpUdpChannelTryCreate( plan, failure ) ) : nullptr;
    }
    pb::Ref<PB_VECTOR> tryCreateUdpChannelsRtp(
        IN_STACK *stack, IN_QOS_STACK *optionalQosStack, PB_INT flags, TR_ANCHOR * ) override
    {
        PB_INT both[] = { -1, -1 };
        pb::Ref<IN_ADDRESS> ina = pb::adopt( inStackAddress( stack ) );
        in::OpenFailure failure;
        if ( !opens || !in___ImpUdpChannelTryCreateRtp(
                           &both[0], &both[1], planOf( ina.get(), optionalQosStack, flags ), failure ) )
            return {};
        pb::Ref<PB_VECTOR> pair = pb::adopt( pbVectorCreate() );
        for ( PB_INT imp : both )
            pbVectorAppend( pair.handle(), pb::obj( wrap( imp ).get() ) );
        return pair;
    }

private:
    static in::OpenPlan planOf( IN_ADDRESS *localAddress, IN_QOS_STACK *optionalQosStack, PB_INT flags )
    {
        return { .localAddress = localAddress, .ports = {}, .flags = flags, .optionalQosStack = optionalQosStack };
    }
    static pb::Ref<IN___MAP_UDP_CHANNEL> wrap( PB_INT imp )
    {
        return pb::adopt( in___MapUdpChannelCreate( std::make_unique<MappedPath>( imp ) ) );
    }

    bool opens;
};

inline IN_MAP_STACK_PEER *mapPeer( bool mayOpen )
{
    return in___MapStackPeerCreate( std::make_unique<MapPeer>( mayOpen ) );
}
inline pb::Ref<IN_MAP_STACK> mapStack( bool mayOpen )
{
    return pb::adopt( in___MapStackCreate( pb::adopt( mapPeer( mayOpen ) ).get(), nullptr ) );
}

} // namespace test

#endif
