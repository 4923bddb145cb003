/* Which UDP channels a command opens. */
#ifndef TOOL_CHANNEL_CHOICE_HPP
#define TOOL_CHANNEL_CHOICE_HPP

#include <tool/tool_lanes.hpp>
#include <tool/tool_socket_choice.hpp>

namespace tool {

class ChannelChoice : public SocketChoice {
public:
    /** Adds the options that only matter where a peer answers. */
    void addPeerOptions( CLI::App &command );
    /** Opens one channel, or with --rtp a pair; a filter has to permit the peer, if there is one. */
    Lanes open( PB_INT flags = 0, IN_ADDRESS *optionalPeer = nullptr ) const;

private:
    Lanes openPair( IN_STACK *stack, IN_FILTER *optionalFilter, PB_INT flags ) const;
    Lanes openOne( IN_STACK *stack, IN_FILTER *optionalFilter, PB_INT flags ) const;
};

} // namespace tool

#endif
