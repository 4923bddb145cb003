/* Which TCP listeners and channels a command opens. */
#ifndef TOOL_TCP_CHOICE_HPP
#define TOOL_TCP_CHOICE_HPP

#include <tool/tool_socket_choice.hpp>
#include <tool/tool_target.hpp>
#include <tool/tool_wake.hpp>

namespace tool {

using Listeners = std::vector<pb::Ref<IN_TCP_CHANNEL_LISTENER>>;

class TcpChoice;

/** Opens connections to one peer, as the options say. */
class Dialer {
public:
    Dialer( const TcpChoice &choice, const Target &target );
    /** A new channel that connects. The command ends when the system refuses at once. */
    pb::Ref<IN_TCP_CHANNEL> dial() const;
    /** One that is connected; the command ends when that fails, takes too long or is interrupted. */
    pb::Ref<IN_TCP_CHANNEL> connect() const;
    /** The peer, as text. */
    std::string remote() const { return take( inTcpAddressToString( address.get() ) ); }

private:
    const TcpChoice &choice;
    pb::Ref<IN_TCP_ADDRESS> address;
    NamedStack named;
    pb::Ref<IN_QOS_STACK> qos;
    pb::Ref<IN_FILTER> filter;
};

class TcpChoice : public SocketChoice {
public:
    /** Adds the flags of TCP to the options of all sockets; then those of who connects. */
    void addOptions( CLI::App &command );
    void addConnectOptions( CLI::App &command );
    /** Opens one listener, or with --rtp a pair. */
    Listeners listen() const;

private:
    friend class Dialer;
    NamedStack openStack( IN_ADDRESS *optionalPeer ) const;
    PB_INT flags() const;

    bool noDelay = false;
    bool keepAlive = false;
    double timeout = 0; // in seconds; 0: the system's
};

/** Fires whenever something can be received or sent, and at the end. */
void follow( IN_TCP_CHANNEL *channel, const Wake &wake );

/** Lets go of a channel that has failed: why it did. */
std::string whyFailed( pb::Ref<IN_TCP_CHANNEL> &channel );

} // namespace tool

#endif
