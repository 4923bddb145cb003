/* Stacks, channels and bare sockets on loopback for the tests of UDP. */
#ifndef UDP_SUPPORT_HPP
#define UDP_SUPPORT_HPP

#include <support/addresses.hpp>
#include <support/bare_socket.hpp>

namespace test {

/** A stack that has found what its options ask for. */
inline pb::Ref<IN_STACK> stackWith( IN_OPTIONS *options )
{
    pb::Ref<IN_STACK> stack = pb::adopt( inStackCreate( options, nullptr ) );
    EXPECT_TRUE( eventually( [&] { return inStackHasAddress( stack.get() ); } ) );
    return stack;
}
inline pb::Ref<IN_OPTIONS> loopbackOptions( PB_INT version = IN_ADDRESS_VERSION_4 )
{
    pb::Ref<IN_OPTIONS> options = pb::adopt( inOptionsCreate() );
    inOptionsSetFlags( options.handle(), IN_FLAG_LOOPBACK_ONLY );
    inOptionsSetAddressVersion( options.handle(), version );
    return options;
}
inline pb::Ref<IN_STACK> loopbackStack()
{
    return stackWith( loopbackOptions().get() );
}

inline pb::Ref<IN_UDP_CHANNEL> channelOn(
    IN_STACK *stack, PB_INT port = -1, PB_INT flags = 0, IN_FILTER *filter = nullptr )
{
    return pb::adopt( inUdpChannelTryCreate( stack, nullptr, nullptr, filter, port, flags, nullptr ) );
}
inline pb::Ref<IN_UDP_ADDRESS> localOf( const pb::Ref<IN_UDP_CHANNEL> &chan )
{
    return pb::adopt( inUdpChannelLocalAddress( chan.get() ) );
}

inline std::string payloadOf( IN_UDP_PACKET *pkt )
{
    return takeBytes( inUdpPacketPayload( pkt ) );
}
inline void send( IN_UDP_CHANNEL *chan, IN_UDP_ADDRESS *to, const std::string &bytes )
{
    inUdpChannelSendBytes( chan, to, bytes.data(), static_cast<PB_INT>( bytes.size() ) );
}

/** Takes from a channel what comes, waiting on its alert. */
class Receiver : Pinned {
public:
    explicit Receiver( IN_UDP_CHANNEL *channel ) : chan( pb::share( channel ) )
    {
        inUdpChannelReceiveAddAlertable( chan.get(), waiter.alert() );
    }
    ~Receiver() { inUdpChannelReceiveDelAlertable( chan.get(), waiter.alert() ); }
    pb::Ref<IN_UDP_PACKET> next()
    {
        for ( ;; ) {
            if ( pb::Ref<IN_UDP_PACKET> pkt = pb::adopt( inUdpChannelReceive( chan.get() ) ) )
                return pkt;
            if ( !waiter.wait() )
                return {};
        }
    }
    /** The payload of the next one. */
    std::string text()
    {
        pb::Ref<IN_UDP_PACKET> pkt = next();
        return pkt ? payloadOf( pkt.get() ) : "(nothing came)";
    }

private:
    pb::Ref<IN_UDP_CHANNEL> chan;
    Waiter waiter;
};

} // namespace test

#endif
