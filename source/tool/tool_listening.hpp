/* Listening and echoing: counts what arrives, prints it or sends it back, and tells what numbered streams lack. */
#ifndef TOOL_LISTENING_HPP
#define TOOL_LISTENING_HPP

#include <map>
#include <tool/tool_datagram.hpp>
#include <tool/tool_lanes.hpp>
#include <tool/tool_statistics.hpp>

namespace tool {

class Listening : public LaneActivity {
public:
    enum class Does { print, count, echo };

    Listening( const Output &printsTo, const Lanes &openLanes, Does itsJob, uint64_t countWanted )
        : LaneActivity( openLanes ), output( printsTo ), does( itsJob ), wanted( countWanted )
    {}
    void arrived( std::size_t lane, IN_UDP_PACKET *pkt ) override;
    bool complete() const override { return wanted > 0 && meter.count >= wanted; }
    std::string progress() override;
    Report report( double seconds ) const;

private:
    static constexpr std::size_t STREAMS_MAX = 256; // further ones are only counted as datagrams

    struct Stream {
        std::string from;
        Sequence sequence;
        Jitter jitter;
    };
    void noteStream( const Stamp &stamp, IN_UDP_PACKET *pkt, Time now );
    void print( std::size_t lane, IN_UDP_PACKET *pkt, const std::optional<Stamp> &stamp ) const;

    const Output &output;
    Does does;
    uint64_t wanted;
    Meter meter;
    std::map<uint32_t, Stream> streams;
};

/** Runs `listen` or `echo` on open lanes: says where it listens, and at the end what came. */
void listen( const Output &output, const Lanes &lanes, const RunOptions &options, bool echoes );

} // namespace tool

#endif
