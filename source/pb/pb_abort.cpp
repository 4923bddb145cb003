/*
 * The end of the process when a precondition is broken. Any thread, in a signal handler too, whatever locks are held:
 * nothing here takes a lock or memory, and writing the text cannot keep the process from ending.
 */
#include <algorithm>
#include <array>
#include <charconv>
#include <csignal>
#include <ctime>
#include <pb/pb.hpp>
#include <poll.h>

#ifndef sigev_notify_thread_id // the C library has the member, but not always the name
#define sigev_notify_thread_id _sigev_un._tid
#endif

namespace {

constexpr int writeLimit = 1; // seconds

/** A line of text; what is too long loses its end. */
class Line {
public:
    void put( std::string_view text )
    {
        std::size_t count = std::min( text.size(), bytes.size() - 1 - length );
        std::copy_n( text.data(), count, bytes.data() + length );
        length += count;
    }
    void put( PB_INT number )
    {
        std::array<char, 24> digits;
        char *end = std::to_chars( digits.data(), digits.data() + digits.size(), number ).ptr;
        put( std::string_view( digits.data(), static_cast<std::size_t>( end - digits.data() ) ) );
    }
    std::string_view finish()
    {
        bytes[length++] = '\n'; // there is always room for it
        return { bytes.data(), length };
    }

private:
    std::array<char, 2048> bytes;
    std::size_t length = 0;
};

void blockSignal( int how, int number )
{
    sigset_t signals;
    sigemptyset( &signals );
    sigaddset( &signals, number );
    pthread_sigmask( how, &signals, nullptr );
}

/**
 * While this lives, the calling thread gets the signal of the trap after a second. So a write that does not return ends the
 * process in the same way as the trap that comes after it.
 */
class TimedTrap {
public:
    TimedTrap()
    {
        blockSignal( SIG_UNBLOCK, SIGILL );
        sigevent event{};
        event.sigev_notify = SIGEV_THREAD_ID;
        event.sigev_signo = SIGILL;
        event.sigev_notify_thread_id = gettid();
        set = timer_create( CLOCK_MONOTONIC, &event, &timer ) == 0;
        const itimerspec limit{ {}, { writeLimit, 0 } };
        set = set && timer_settime( timer, 0, &limit, nullptr ) == 0;
    }
    ~TimedTrap()
    {
        if ( set )
            timer_delete( timer );
    }
    TimedTrap( const TimedTrap & ) = delete;
    TimedTrap &operator=( const TimedTrap & ) = delete;

    bool set; // false when the system has no timer left

private:
    timer_t timer;
};

bool hasRoom()
{
    pollfd room{ STDERR_FILENO, POLLOUT, 0 };
    return poll( &room, 1, writeLimit * 1000 ) > 0;
}

void writeAll( std::string_view text )
{
    while ( !text.empty() ) {
        ssize_t count = write( STDERR_FILENO, text.data(), text.size() );
        if ( count > 0 )
            text.remove_prefix( static_cast<std::size_t>( count ) );
        else if ( errno != EINTR && !( errno == EAGAIN && hasRoom() ) )
            return;
    }
}

/** A pipe without a reader must not end the process by another signal. */
void tell( std::string_view text )
{
    blockSignal( SIG_BLOCK, SIGPIPE );
    TimedTrap trap;
    if ( trap.set || hasRoom() )
        writeAll( text );
}

} // namespace

void pb___Abort( const char *context, const char *path, PB_INT line, const char *expression )
{
    Line text;
    text.put( path );
    text.put( ":" );
    text.put( line );
    text.put( ": " );
    text.put( context ? context : "" );
    text.put( context && expression ? ": " : "" );
    text.put( expression ? expression : "" );
    tell( text.finish() );
    __builtin_trap();
}
