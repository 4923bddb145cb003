/* UDP channels and multicast receivers, and what a command does with the datagrams that arrive on them. */
#ifndef TOOL_LANES_HPP
#define TOOL_LANES_HPP

#include <in/in.h>
#include <tool/tool_session.hpp>

namespace tool {

/** One socket: a channel, or a multicast receiver. */
struct Lane {
    std::string name; // "rtp", "rtcp", or empty when there is only one
    pb::Ref<IN_UDP_CHANNEL> channel;
    pb::Ref<IN_UDP_MULTICAST_RECEIVER> receiver;

    std::string localAddress() const;
    void wakes( const Wake &wake ) const;
    bool failed() const;
    pb::Ref<IN_UDP_PACKET> receive() const;
};
using Lanes = std::vector<Lane>;

/** Takes datagrams from open lanes. */
class LaneActivity : public Activity {
public:
    explicit LaneActivity( const Lanes &openLanes ) : lanes( openLanes ) {}
    void follow( const Wake &wake ) override;
    bool proceed() override;
    virtual void arrived( std::size_t lane, IN_UDP_PACKET *pkt ) = 0;

protected:
    const Lanes &lanes;
};

} // namespace tool

#endif
