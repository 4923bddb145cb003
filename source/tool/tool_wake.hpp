/*
 * What a command that goes on for a while waits for: everything that it follows fires one Wake; SIGINT and SIGTERM come as
 * a signal of ours, so that it ends as it would by itself.
 */
#ifndef TOOL_WAKE_HPP
#define TOOL_WAKE_HPP

#include <csignal>
#include <pb/pb.hpp>
#include <thread>
#include <tool/tool_time.hpp>
#include <unix/unix.h>

namespace tool {

/** One thread waits; what fires between two waits ends the next one at once. */
class Wake {
public:
    PB_SIGNALABLE *signalable() const { return signaled.get(); }
    PB_ALERTABLE *alertable() const { return alerted.get(); }
    /** Waits until something fires, at most until that time. */
    void wait( Time until = Time::max() );

private:
    pb::Ref<PB_BARRIER> barrier = pb::adopt( pbBarrierCreate( 1 ) );
    pb::Ref<PB_SIGNALABLE> signaled = pb::adopt( pbSignalableCreateBarrier( barrier.get() ) );
    pb::Ref<PB_ALERTABLE> alerted = pb::adopt( pbAlertableCreateBarrier( barrier.get() ) );
};

/**
 * Takes SIGINT and SIGTERM to the end of its scope. The library's threads block them, so they are this thread's, which
 * blocks them too, and are read from a descriptor by a thread of its own. The second one ends the program at once. So
 * does the end of who reads the output, where that is a pipe.
 */
class Interrupt {
public:
    explicit Interrupt( Wake &wake );
    ~Interrupt();
    Interrupt( const Interrupt & ) = delete;
    Interrupt &operator=( const Interrupt & ) = delete;

    /** Has it fired too when one comes. */
    void addSignalable( PB_SIGNALABLE *signalable ) { pbSignalAddSignalable( signal.get(), signalable ); }
    bool came() const { return pbSignalAsserted( signal.get() ); }

private:
    void run();

    sigset_t before;
    pb::Fd fd;
    pb::Ref<UNIX_FD_OBSERVER> observer = pb::adopt( unixFdObserverCreate() );
    pb::Ref<PB_SIGNAL> signal = pb::adopt( pbSignalCreate() );
    pb::Ref<PB_SIGNAL> end = pb::adopt( pbSignalCreate() );
    std::thread thread;
};

} // namespace tool

#endif
