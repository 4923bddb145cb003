/* Relaying. */
#include <climits>
#include <cstring>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <tool/tool_relay.hpp>
#include <tool/tool_tcp_choice.hpp>
#include <unistd.h>

namespace {

/** Waits until the descriptor is ready, or may be, or the other one is readable. */
void waitFor( int fd, short condition, const tool::Stop &stop )
{
    pollfd fds[] = { { fd, condition, 0 }, { stop.fd(), POLLIN, 0 } };
    while ( poll( fds, 2, -1 ) < 0 && errno == EINTR )
        ;
}

bool isFor( int error )
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

/**
 * Writes what goes without blocking, after poll(2) has said that something does. A pipe has room for PIPE_BUF bytes then; a
 * file takes everything.
 */
ssize_t writeSome( const PB_BYTE *bytes, std::size_t count )
{
    static const mode_t kind = [] {
        struct stat status;
        return fstat( STDOUT_FILENO, &status ) == 0 ? status.st_mode & S_IFMT : 0;
    }();
    if ( kind == S_IFSOCK )
        return send( STDOUT_FILENO, bytes, count, MSG_DONTWAIT );
    return write( STDOUT_FILENO, bytes, kind == S_IFREG ? count : std::min<std::size_t>( count, PIPE_BUF ) );
}

/** Whether there is more input, where that is not what somebody types. */
bool inputIsLeft()
{
    int count = 0;
    return !isatty( STDIN_FILENO ) && ioctl( STDIN_FILENO, FIONREAD, &count ) == 0 && count > 0;
}

} // namespace

tool::Stop::Stop()
{
    if ( !raised )
        fail( "no event descriptor: {}", strerrordesc_np( errno ) );
}

bool tool::Stop::came() const
{
    pollfd stopped{ fd(), POLLIN, 0 };
    return poll( &stopped, 1, 0 ) > 0;
}

tool::Relay::Relay( pb::Ref<IN_TCP_CHANNEL> connected ) : channel( std::move( connected ) )
{
    IN_TCP_CHANNEL *chan = channel.get();
    inTcpChannelSendAddAlertable( chan, room.alertable() );
    inTcpChannelEndAddSignalable( chan, room.signalable() );
    inTcpChannelReceiveAddAlertable( chan, wake.alertable() );
    inTcpChannelEndAddSignalable( chan, wake.signalable() );
}

tool::Relay::~Relay()
{
    joinInput();
}

void tool::Relay::joinInput()
{
    stopInput.now();
    pbAlertableAlert( room.alertable() );
    if ( inputThread.joinable() )
        inputThread.join();
}

/** Reads into the buffer: how many bytes, 0 at the end of the input, or -1 when it was stopped. */
PB_INT tool::Relay::readInput()
{
    pbBufferClear( input.handle() );
    for ( ;; ) {
        waitFor( STDIN_FILENO, POLLIN, stopInput );
        if ( stopInput.came() )
            return -1;
        ssize_t count = read( STDIN_FILENO, pbBufferRoom( input.handle(), BUFFER_SIZE ), BUFFER_SIZE );
        if ( count >= 0 ) {
            pbBufferExtend( input.get(), count );
            return count;
        }
        if ( errno == EBADF )
            return 0; // it is closed: there is no input
        if ( !isFor( errno ) )
            fail( "standard input: {}", strerrordesc_np( errno ) );
    }
}

/** Sends the buffer; false when the connection has ended before, or it was stopped. */
bool tool::Relay::sendAll()
{
    PB_INT length = pbBufferLength( input.get() );
    for ( unsent = length; unsent > 0; ) {
        PB_INT count = inTcpChannelSend( channel.get(), input.get(), length - unsent, unsent );
        unsent -= count;
        sent += static_cast<uint64_t>( count );
        if ( count > 0 )
            continue;
        if ( stopInput.came() || inTcpChannelEnd( channel.get() ) )
            return false;
        room.wait();
    }
    return true;
}

/** The thread of the input. */
void tool::Relay::sendInput()
{
    try {
        PB_INT count;
        do
            count = readInput();
        while ( count > 0 && sendAll() );
        if ( count == 0 )
            inTcpChannelTerminate( channel.get() );
    } catch ( const Failure & ) {
        inputFailure = std::current_exception();
        inputFailed = true;
        pbAlertableAlert( wake.alertable() );
    }
}

/** Writes what was received, or returns when the stop came. */
void tool::Relay::writeAll()
{
    const PB_BYTE *bytes = pbBufferBacking( output.get() );
    auto left = static_cast<std::size_t>( pbBufferLength( output.get() ) );
    while ( left > 0 ) {
        waitFor( STDOUT_FILENO, POLLOUT, stopOutput );
        if ( stopOutput.came() )
            return;
        ssize_t count = writeSome( bytes, left );
        if ( count < 0 && !isFor( errno ) )
            fail( "standard output: {}", strerrordesc_np( errno ) );
        bytes += std::max<ssize_t>( count, 0 );
        left -= static_cast<std::size_t>( std::max<ssize_t>( count, 0 ) );
    }
}

std::string tool::Relay::progressText() const
{
    return fmt::format( "sent {} bytes, received {}", sent.load(), received.text() );
}

void tool::Relay::receive( Interrupt &interrupt, Progress &progress )
{
    while ( !inputFailed && !( interrupted = interrupt.came() ) ) {
        pbBufferClear( output.handle() );
        bool ended = inTcpChannelEnd( channel.get() ); // looked at first: after that nothing comes
        PB_INT count = inTcpChannelReceive( channel.get(), output.handle(), -1 );
        if ( count == 0 && ended )
            return;
        progress.show( Clock::now(), [this] { return progressText(); } );
        if ( count == 0 ) {
            wake.wait( progress.nextTime() );
            continue;
        }
        received.add( Clock::now(), count );
        writeAll();
    }
}

void tool::Relay::run( bool wantsProgress )
{
    Interrupt interrupt( wake );
    interrupt.addSignalable( stopOutput.signalable() );
    Progress progress( wantsProgress );
    inputThread = std::thread( [this] { sendInput(); } ); // after the interrupt, whose signals it is not to get
    receive( interrupt, progress );
    joinInput();
}

tool::Report tool::Relay::report( const std::string &target ) const
{
    return { { { "event", "summary" }, { "target", target }, { "seconds", received.seconds() }, { "sent", sent.load() },
                 { "received", received.bytes() }, { "unsent", unsent } },
        {} };
}

void tool::Relay::check( const std::string &target )
{
    if ( inputFailure )
        std::rethrow_exception( inputFailure );
    std::string so = fmt::format( "{} bytes were sent, {} received", sent.load(), received.bytes() );
    if ( interrupted )
        fail( "interrupted; {}", so );
    if ( inTcpChannelError( channel.get() ) )
        fail( "the connection to {} has failed: {}; {}", target, whyFailed( channel ), so );
    if ( unsent > 0 || inputIsLeft() )
        fail( "{} has closed the connection before all of the input was sent; {}", target, so );
}
