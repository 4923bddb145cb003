/* Sending a stream of bytes over one TCP connection, at full rate or at a pace. One thread. */
#ifndef TOOL_TCP_SENDING_HPP
#define TOOL_TCP_SENDING_HPP

#include <tool/tool_flow.hpp>
#include <tool/tool_session.hpp>
#include <tool/tool_tcp_choice.hpp>

namespace tool {

struct TcpSendOptions {
    Target target;
    uint64_t bytes = 0;   // 0: any number
    double rate = 0;      // Mbit/s; 0: as fast as it goes
    double patience = 10; // seconds to wait for the peer's end
    bool sum = false;
    RunOptions run;

    void addOptions( CLI::App &command );
};

class TcpSending : public Activity {
public:
    TcpSending( pb::Ref<IN_TCP_CHANNEL> connected, const TcpSendOptions &itsOptions );

    void follow( const Wake &wake ) override { tool::follow( channel.get(), wake ); }
    bool proceed() override;
    void sendNext() override { allowed += piece; }
    bool complete() const override { return inTcpChannelEnd( channel.get() ) || sent.bytes() == limit; }
    void finish() override;
    double patience() const override { return options.patience; }
    bool allThere() const override { return inTcpChannelEnd( channel.get() ); }
    std::string progress() override;
    /** Pieces a second; 0 for as many as go. */
    double pieceRate() const { return options.rate * 1e6 / 8 / double( piece ); }
    Report report( const std::string &target ) const;
    /** Ends the command as failed when the connection failed, or ended before everything was sent. */
    void checkAllSent( const std::string &target );

private:
    static constexpr PB_INT BUFFER_SIZE = 65'536;

    bool sendSome();
    void fill();
    bool drain();

    pb::Ref<IN_TCP_CHANNEL> channel;
    const TcpSendOptions &options;
    uint64_t limit;
    uint64_t piece = BUFFER_SIZE;
    uint64_t allowed; // how much may have been sent by now
    pb::Ref<PB_BUFFER> buffer = pb::adopt( pbBufferCreateWithCapacity( BUFFER_SIZE ) );
    PB_INT offset = 0;
    // that the buffer ends with; two senders do not send the same
    uint64_t word = static_cast<uint64_t>( pbRandomNonNegativeIntRange( 0, INT64_MAX ) );
    pb::Ref<PB_BUFFER> drained = pb::adopt( pbBufferCreateWithCapacity( BUFFER_SIZE ) );
    Flow sent;
    uint64_t received = 0;
    Checksum sum;
    uint64_t shown = 0; // bytes at the last line of progress
    Time shownAt = Clock::now();
    bool finished = false;
    bool ended = false;
    bool endedEarly = false;
};

/** Runs `tcp send`. */
void send( const Output &output, const TcpChoice &choice, const TcpSendOptions &options );

} // namespace tool

#endif
