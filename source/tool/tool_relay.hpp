/*
 * Standard input to a TCP connection and back to standard output. Each direction has a thread of its own and holds at most
 * one buffer: an end that takes nothing holds up the other end, and never the other direction.
 *
 * The descriptors may be anything, also shared with other programs, so they are left as they are: both threads wait in
 * poll(2), and read and write no more than goes without blocking.
 */
#ifndef TOOL_RELAY_HPP
#define TOOL_RELAY_HPP

#include <atomic>
#include <exception>
#include <in/in.h>
#include <thread>
#include <tool/tool_flow.hpp>
#include <tool/tool_session.hpp>

namespace tool {

/** Ends what waits in poll(2). */
class Stop {
public:
    Stop();
    int fd() const { return pbSignalableDescriptor( raised.get() ); }
    bool came() const;
    void now() { pbSignalableSignal( raised.get() ); }
    /** Stops when it is fired. */
    PB_SIGNALABLE *signalable() const { return raised.get(); }

private:
    pb::Ref<PB_SIGNALABLE> raised = pb::adopt( pbSignalableTryCreateDescriptor() );
};

class Relay {
public:
    explicit Relay( pb::Ref<IN_TCP_CHANNEL> connected );
    ~Relay();
    Relay( const Relay & ) = delete;
    Relay &operator=( const Relay & ) = delete;

    /** Runs to the end of the peer's bytes, or until interrupted. */
    void run( bool wantsProgress );
    Report report( const std::string &target ) const;
    /** Ends the command as failed unless everything went both ways. */
    void check( const std::string &target );

private:
    static constexpr PB_INT BUFFER_SIZE = 65'536;

    void sendInput();
    PB_INT readInput();
    bool sendAll();
    void receive( Interrupt &interrupt, Progress &progress );
    void writeAll();
    void joinInput();
    std::string progressText() const;

    pb::Ref<IN_TCP_CHANNEL> channel;
    // standard input to the peer
    Wake room;
    Stop stopInput;
    pb::Ref<PB_BUFFER> input = pb::adopt( pbBufferCreateWithCapacity( BUFFER_SIZE ) );
    std::atomic<uint64_t> sent = 0;
    PB_INT unsent = 0;               // read, and not sent; of the thread, until that has ended
    std::exception_ptr inputFailure; // likewise
    std::atomic<bool> inputFailed = false;
    std::thread inputThread;
    // the peer to standard output
    Wake wake;
    Stop stopOutput;
    pb::Ref<PB_BUFFER> output = pb::adopt( pbBufferCreateWithCapacity( BUFFER_SIZE ) );
    Flow received;
    bool interrupted = false;
};

} // namespace tool

#endif
