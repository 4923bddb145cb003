/* Listening on TCP: takes connections, prints what arrives on them, counts it, sends it back, or answers. One thread. */
#ifndef TOOL_TCP_LISTENING_HPP
#define TOOL_TCP_LISTENING_HPP

#include <tool/tool_flow.hpp>
#include <tool/tool_ready.hpp>
#include <tool/tool_session.hpp>
#include <tool/tool_tcp_choice.hpp>
#include <unordered_map>

namespace tool {

struct TcpListenOptions {
    bool echo = false;
    bool discard = false;
    bool sum = false;
    std::string answerFile;
    RunOptions run;

    void addOptions( CLI::App &command );
};

class TcpListening : public Activity {
public:
    TcpListening( const Output &printsTo, const Listeners &itsListeners, const TcpListenOptions &itsOptions );

    void follow( const Wake &wake ) override;
    bool proceed() override;
    bool complete() const override { return options.run.count > 0 && ended >= options.run.count; }
    std::string progress() override;
    Report report( double seconds ) const;
    /** Whether a line is printed for whatever arrives. */
    bool prints() const { return !options.run.quiet && !options.echo && !options.discard; }

private:
    static constexpr PB_INT BUFFER_SIZE = 65'536;

    /** One connection. */
    struct Peer {
        pb::Ref<IN_TCP_CHANNEL> channel;
        pb::Ref<TOOL_MARK> mark;
        std::string remote;
        std::string local;
        Flow received{};
        Flow sent{};
        Checksum sum{};
        pb::Ref<PB_BUFFER> pending{}; // still to be sent, from the offset on
        PB_INT offset = 0;
        bool answered = false;
    };
    using Peers = std::unordered_map<uint64_t, Peer>;
    void accept( uint64_t number );
    void proceedWith( Peers::iterator peer );
    void open( pb::Ref<IN_TCP_CHANNEL> channel );
    bool serve( Peer &peer );
    bool sendPending( Peer &peer );
    bool takeBytes( Peer &peer );
    void close( Peer &peer );
    void printBytes( const Peer &peer ) const;
    /** A line on a connection. */
    void print( const Peer &peer, const char *event, const Json &details, const std::string &text ) const;

    const Output &output;
    const Listeners &listeners;
    const TcpListenOptions &options;
    pb::Ref<PB_BUFFER> answer;
    pb::Ref<PB_BUFFER> buffer = pb::adopt( pbBufferCreateWithCapacity( BUFFER_SIZE ) ); // just received
    std::optional<Ready> ready;
    uint64_t marks = 0;                        // how many were given out; each has a number of its own
    std::vector<pb::Ref<TOOL_MARK>> waiting{}; // those of the listeners
    Peers peers{};                             // by the numbers of their marks
    uint64_t accepted = 0;
    uint64_t ended = 0;
    uint64_t failed = 0;
    std::size_t mostAtOnce = 0;
    Flow received;
    Flow sent;
};

/** Runs `tcp listen` on open listeners: says where it listens, and at the end what came. */
void listen( const Output &output, const Listeners &listeners, const TcpListenOptions &options );

} // namespace tool

#endif
