/* What TCP channels and listeners share: what a socket is opened with, and the options that it gets. */
#ifndef IN_IMP_TCP_OPENING_PRIVATE_HPP
#define IN_IMP_TCP_OPENING_PRIVATE_HPP

#include <in/imp/in_imp_ported_engine_private.hpp>
#include <in/imp/in_imp_tcp_private.h>

namespace in {

/** What a socket is opened with, and what the steps need of it, looked up once. */
struct TcpPlan {
    TcpPlan( const OpenPlan &itsOpen, IN_TCP_OPTIONS *itsOptions, IN_TCP_ADDRESS *itsRemoteAddress = nullptr );

    OpenPlan open;
    IN_TCP_OPTIONS *options;
    IN_TCP_ADDRESS *optionalRemoteAddress;
    pb::Ref<IN_QOS_OPTIONS> qosOptions;  // null for no marks
    std::optional<int> keepAliveSeconds; // none: no keep-alive
};

/** What the records of channels and listeners have in common, and how they are opened, for the ported engine. */
struct TcpRecord : Slot {
    using Plan = TcpPlan;
    explicit TcpRecord( const Plan &itsPlan )
        : tcpFlags( inTcpFlagsNormalize( itsPlan.open.flags ) ), qosStack( pb::share( itsPlan.open.optionalQosStack ) ),
          plan( &itsPlan )
    {}

    unsigned scope() const { return interfaceNumber; }
    bool occupiesPort() const { return true; }
    pb::Ref<IN_ADDRESS> address() const { return pb::adopt( inTcpAddressAddress( local.get() ) ); }
    PB_INT port() const { return inTcpAddressPort( local.get() ); }

    const PB_INT tcpFlags;
    const pb::Ref<IN_QOS_STACK> qosStack;
    const Plan *plan; // while it is opened
    unsigned interfaceNumber = 0;
    pb::Ref<IN_TCP_ADDRESS> local;

protected:
    /** A socket with these options, not bound. */
    template <std::size_t Count>
    bool tryOpenWith( const SocketStep<Plan> ( &steps )[Count], OpenFailure &failure )
    {
        std::optional<unsigned> index = interfaceIndex( plan->open.optionalScopeInterface, failure );
        if ( !index )
            return false;
        interfaceNumber = *index;
        fd = openSocket( plan->open.localAddress, SOCK_STREAM, IPPROTO_TCP, failure );
        return fd && applySteps( fd.get(), steps, *plan, failure );
    }
    /** Reads the local address of the bound socket. */
    bool tryReadLocal( OpenFailure &failure )
    {
        local = pb::adopt( inTcpAddressCreate( plan->open.localAddress, PORT_MAX ) );
        return readLocalAddress( fd.get(), local, failure );
    }
};

/** The ports in use. Accepted channels share the port of their listener, so each is counted. */
PortTable &tcpPorts();

/** Starts, stops and looks into the engine of the channels. */
void startTcpChannels();
void beginStopTcpChannels();
void endStopTcpChannels();
/** Makes a channel of a connection that was accepted; a handle, or -1 and why, and the connection is closed. */
PB_INT tryAcceptTcpChannel(
    pb::Fd connection, const TcpPlan &plan, const pb::Ref<IN_TCP_ADDRESS> &probableLocal, OpenFailure &failure );

} // namespace in

#endif
