/* Which channels a command opens: on which stack and ports, with which marks, behind which filter. */
#ifndef TOOL_CHANNEL_CHOICE_HPP
#define TOOL_CHANNEL_CHOICE_HPP

#include <tool/tool_session.hpp>
#include <tool/tool_stack_choice.hpp>

namespace tool {

class ChannelChoice {
public:
    /** Adds the options that sending and receiving need; then those that only matter where a peer answers. */
    void addOptions( CLI::App &command );
    void addPeerOptions( CLI::App &command );
    /** Opens one channel, or with --rtp a pair; a filter has to permit the peer, if there is one. */
    Lanes open( PB_INT flags = 0, IN_ADDRESS *optionalPeer = nullptr ) const;
    bool isPair() const { return rtp; }

private:
    pb::Ref<IN_QOS_STACK> qosStack() const;
    pb::Ref<IN_UDP_PORT_RANGE> ports() const;
    Lanes openPair( IN_STACK *stack, IN_FILTER *optionalFilter, PB_INT flags ) const;
    Lanes openOne( IN_STACK *stack, IN_FILTER *optionalFilter, PB_INT flags ) const;

    StackChoice stacks;
    int port = 0;
    std::string portRange;
    std::string qos;
    std::vector<std::string> filters;
    bool rtp = false;
};

} // namespace tool

#endif
