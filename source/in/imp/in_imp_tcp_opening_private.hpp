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
