/* Pinging over TCP: numbered, time-stamped messages over one connection to an echo, or how long connections take. One thread. */
#ifndef TOOL_TCP_PINGING_HPP
#define TOOL_TCP_PINGING_HPP

#include <list>
#include <tool/tool_datagram.hpp>
#include <tool/tool_send_options.hpp>
#include <tool/tool_statistics.hpp>
#include <tool/tool_tcp_choice.hpp>

namespace tool {

/** What both kinds of ping count and print. */
class TcpTrips : public Activity {
public:
    TcpTrips( const Output &printsTo, std::string pingsTo, const SendOptions &itsOptions )
        : options( itsOptions ), output( printsTo ), target( std::move( pingsTo ) )
    {}
    bool complete() const override { return options.run.count > 0 && tried >= options.run.count; }
    double patience() const override { return options.patience; }
    bool allThere() const override { return times.count() + failed == tried; }
    std::string progress() override;
    /** At a low rate every round trip is printed. */
    bool printsEach() const { return options.rate <= 10 && !options.run.quiet; }
    Report report( double seconds ) const;
    uint64_t missing() const { return tried - times.count(); }

protected:
    void came( uint64_t number, int64_t nanoseconds );
    const SendOptions &options;
    uint64_t tried = 0;
    uint64_t failed = 0; // known not to come any more

private:
    const Output &output;
    std::string target;
    Histogram times;
};

class TcpPinging : public TcpTrips {
public:
    TcpPinging( const Output &printsTo, const Dialer &dialer, const SendOptions &itsOptions );

    void follow( const Wake &wake ) override { tool::follow( channel.get(), wake ); }
    bool proceed() override;
    void sendNext() override;
    bool complete() const override { return TcpTrips::complete() || inTcpChannelEnd( channel.get() ); }
    bool allThere() const override { return TcpTrips::allThere() || inTcpChannelEnd( channel.get() ); }
    void finish() override { finished = true; }
    /** Ends the command as failed when round trips are missing, or the peer ended it. */
    void checkAllBack();

private:
    static constexpr PB_INT UNSENT_MAX = 1 << 20; // bytes; a peer that takes nothing gets no more
    bool isNext( const std::optional<Stamp> &stamp ) const;
    void takeMessages();

    pb::Ref<IN_TCP_CHANNEL> channel;
    uint32_t stream;
    std::vector<uint8_t> message;
    pb::Ref<PB_BUFFER> unsent = pb::adopt( pbBufferCreate() );
    pb::Ref<PB_BUFFER> unread = pb::adopt( pbBufferCreate() );
    bool finished = false;
    bool endedEarly = false;
    uint64_t back = 0; // the number of the message that comes back next
};

/** Opens connections, one after the other, and closes them as soon as they are there. */
class TcpConnecting : public TcpTrips {
public:
    TcpConnecting( const Output &printsTo, const Dialer &itsDialer, const SendOptions &itsOptions )
        : TcpTrips( printsTo, itsDialer.remote(), itsOptions ), dialer( itsDialer )
    {}
    void follow( const Wake &itsWake ) override { wake = &itsWake; }
    bool proceed() override;
    void sendNext() override;
    void checkAllConnected();

private:
    static constexpr std::size_t TRIES_MAX = 1000; // that go on at the same time
    struct Try {
        uint64_t number;
        Time began;
        pb::Ref<IN_TCP_CHANNEL> channel;
    };
    const Dialer &dialer;
    const Wake *wake = nullptr;
    std::list<Try> tries;
    std::string reason; // of the last one that failed
};

/** Runs `tcp ping`. */
void ping( const Output &output, const TcpChoice &choice, const SendOptions &options, bool connects );

} // namespace tool

#endif
