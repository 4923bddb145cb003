/* Sending and pinging: numbered, time-stamped datagrams at a pace, and what their echoes tell. */
#ifndef TOOL_SENDING_HPP
#define TOOL_SENDING_HPP

#include <tool/tool_datagram.hpp>
#include <tool/tool_lanes.hpp>
#include <tool/tool_send_options.hpp>
#include <tool/tool_statistics.hpp>

namespace tool {

class Sending : public LaneActivity {
public:
    /** Sends to the address and port; with two lanes, to the port and the next one. */
    Sending( const Lanes &openLanes, const SendOptions &itsOptions );

    void sendNext() override;
    void arrived( std::size_t, IN_UDP_PACKET * ) override {}
    bool complete() const override { return options.run.count > 0 && tried() >= options.run.count; }
    std::string progress() override { return "sent " + sent.text(); }
    virtual Report report( double seconds ) const;
    /** Ends the command as failed when the system refused a datagram. */
    void checkAllSent() const;

protected:
    /** A lane, the stream that is sent on it, and which of its datagrams have come back. */
    struct Stream {
        const Lane &lane;
        pb::Ref<IN_UDP_ADDRESS> target;
        uint32_t number;
        uint64_t sent = 0;
        Sequence echoes{};
    };
    std::vector<Stream> streams;
    const SendOptions &options;
    Meter sent;
    uint64_t notSent = 0; // the system refused them

private:
    uint64_t tried() const { return sent.count + notSent; }
    Stream &nextStream();
    std::vector<uint8_t> bytes;
};

class Pinging : public Sending {
public:
    Pinging( const Lanes &lanes, const SendOptions &itsOptions, const Output &printsTo );

    void arrived( std::size_t lane, IN_UDP_PACKET *pkt ) override;
    double patience() const override { return options.patience; }
    bool allThere() const override { return received.count == sent.count; }
    std::string progress() override;
    Report report( double seconds ) const override;
    uint64_t lost() const { return sent.count - received.count; }
    /** At a low rate every echo is printed. */
    bool printsEchoes() const { return options.rate <= 10 && !options.run.quiet; }

private:
    bool isEcho( const Stream &stream, IN_UDP_PACKET *pkt, const std::optional<Stamp> &stamp ) const;
    void print( const Stamp &stamp, IN_UDP_PACKET *pkt, double milliseconds ) const;
    double lostPercent() const { return sent.count ? 100.0 * double( lost() ) / double( sent.count ) : 0; }
    /** How many echoes came twice, or late, on all lanes. */
    uint64_t sum( uint64_t ( Sequence::*count )() const ) const;
    Json lanesJson() const;

    const Output &output;
    pb::Ref<IN_UDP_MATCH> targets = pb::adopt( inUdpMatchCreate() );
    Meter received; // each datagram that has come back, once
    Histogram roundTrips;
    uint64_t others = 0; // datagrams that are no echoes of ours
};

/** Run `send`, or `ping`, on open lanes; a ping fails when datagrams were lost. */
void send( const Output &output, const Lanes &lanes, const SendOptions &options );
void ping( const Output &output, const Lanes &lanes, const SendOptions &options );

} // namespace tool

#endif
