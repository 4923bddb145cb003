/* Waiting and interrupting. */
#include <cstring>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <tool/tool.hpp>
#include <tool/tool_wake.hpp>
#include <unistd.h>

namespace {

bool outputHasReader()
{
    struct stat status;
    return fstat( STDOUT_FILENO, &status ) == 0 && ( S_ISFIFO( status.st_mode ) || S_ISSOCK( status.st_mode ) );
}

/** Nobody reads the output any more. Ends the program as the next line would, which may be a long time off. */
[[noreturn]] void endUnread()
{
    std::raise( SIGPIPE );
    tool::tell( "quelvaris-in: standard output: Broken pipe\n" ); // the signal is ignored
    _exit( 1 );
}

} // namespace

void tool::Wake::wait( Time until )
{
    bool fired = true;
    if ( until == Time::max() ) {
        pbBarrierPass( barrier.get() );
    } else {
        // rounded up, so that the time has come when nothing fired
        auto left = std::chrono::ceil<std::chrono::milliseconds>( until - Clock::now() );
        fired = pbBarrierPassTimed( barrier.get(), std::max<PB_INT>( left.count(), 0 ) );
    }
    if ( fired )
        pbBarrierBlock( barrier.get() );
}

tool::Interrupt::Interrupt( Wake &wake )
{
    sigset_t signals;
    sigemptyset( &signals );
    sigaddset( &signals, SIGINT );
    sigaddset( &signals, SIGTERM );
    fd = pb::Fd( signalfd( -1, &signals, SFD_CLOEXEC | SFD_NONBLOCK ) );
    if ( !fd || !observer || !unixFdObserverSetFd( observer.get(), fd.get(), UNIX_FD_READABLE ) )
        fail( "signals cannot be taken: {}", strerrordesc_np( errno ) );
    if ( outputHasReader() )
        unixFdObserverSetFd( observer.get(), STDOUT_FILENO, UNIX_FD_ERROR );
    pthread_sigmask( SIG_BLOCK, &signals, &before );
    pbSignalAddSignalable( signal.get(), wake.signalable() );
    thread = std::thread( [this] { run(); } );
}

tool::Interrupt::~Interrupt()
{
    pbSignalAssert( end.get() );
    thread.join();
    pthread_sigmask( SIG_SETMASK, &before, nullptr );
}

void tool::Interrupt::run()
{
    while ( unixFdObserverWait( observer.get(), end.get() ) ) {
        if ( unixFdObserverFd( observer.get() ) == STDOUT_FILENO )
            endUnread();
        signalfd_siginfo taken;
        bool read = ::read( fd.get(), &taken, sizeof taken ) == sizeof taken;
        unixFdObserverUnblock( observer.get() );
        if ( read && came() )
            _exit( 128 + static_cast<int>( taken.ssi_signo ) );
        if ( read )
            pbSignalAssert( signal.get() );
    }
}
