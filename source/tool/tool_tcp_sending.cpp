/* Sending streams. */
#include <algorithm>
#include <cstring>
#include <tool/tool_tcp_sending.hpp>

namespace {

constexpr int BATCH = 16; // sends before the clock is looked at

/** At a low rate the pieces are small, so that some go every few milliseconds. */
uint64_t pieceOf( double bytesPerSecond, PB_INT most )
{
    return std::clamp<uint64_t>( static_cast<uint64_t>( bytesPerSecond / 200 ), 1, static_cast<uint64_t>( most ) );
}

} // namespace

void tool::TcpSendOptions::addOptions( CLI::App &command )
{
    target.addOptions( command, "ADDRESS", "Connect to" );
    addNumber( command, "--bytes", bytes, "N", "Stop after this many bytes", 1, INT64_MAX );
    addNumber( command, "--rate", rate, "MBIT", "So many megabits a second (default: as fast as it goes)", 0.001, 1e6 );
    addNumber( command, "--wait", patience, "SECONDS", "Wait this long for the peer to take all and close", 0, 3600 )
        ->capture_default_str();
    command.add_flag( "--sum", sum, "Tell a checksum of what was sent, as 'tcp listen --sum' does" );
    run.addOptions( command, nullptr );
}

tool::TcpSending::TcpSending( pb::Ref<IN_TCP_CHANNEL> connected, const TcpSendOptions &itsOptions )
    : channel( std::move( connected ) ), options( itsOptions ), limit( options.bytes ? options.bytes : UINT64_MAX )
{
    if ( options.rate > 0 )
        piece = pieceOf( options.rate * 1e6 / 8, BUFFER_SIZE );
    allowed = options.rate > 0 ? 0 : limit;
}

/** What is sent: numbers that do not repeat, as bytes that look random. */
void tool::TcpSending::fill()
{
    pbBufferClear( buffer.handle() );
    PB_BYTE *to = pbBufferRoom( buffer.handle(), BUFFER_SIZE );
    for ( PB_INT i = 0; i < BUFFER_SIZE; i += 8 ) {
        uint64_t mixed = ++word * 0x9e3779b97f4a7c15U;
        mixed ^= mixed >> 32;
        std::memcpy( to + i, &mixed, sizeof mixed );
    }
    pbBufferExtend( buffer.get(), BUFFER_SIZE );
    offset = 0;
}

/** Sends some of the buffer; whether more may go. */
bool tool::TcpSending::sendSome()
{
    uint64_t left = std::min( allowed, limit ) - sent.bytes();
    if ( left == 0 )
        return false;
    if ( offset == pbBufferLength( buffer.get() ) )
        fill();
    PB_INT count = std::min<PB_INT>(
        pbBufferLength( buffer.get() ) - offset, static_cast<PB_INT>( std::min<uint64_t>( left, BUFFER_SIZE ) ) );
    PB_INT taken = inTcpChannelSend( channel.get(), buffer.get(), offset, count );
    if ( options.sum )
        sum.add( { pbBufferBacking( buffer.get() ) + offset, static_cast<std::size_t>( taken ) } );
    offset += taken;
    if ( taken > 0 )
        sent.add( Clock::now(), taken );
    return taken > 0;
}

/**
 * What the peer says is not looked at. But left alone it would hold up a peer that answers, and hide its end. Whether there
 * may be more.
 */
bool tool::TcpSending::drain()
{
    PB_INT count = 1;
    for ( int left = BATCH; left > 0 && count > 0; --left ) {
        pbBufferClear( drained.handle() );
        count = inTcpChannelReceive( channel.get(), drained.handle(), -1 );
        received += static_cast<uint64_t>( count );
    }
    return count > 0;
}

bool tool::TcpSending::proceed()
{
    bool more = drain();
    if ( !ended && inTcpChannelEnd( channel.get() ) ) {
        ended = true;
        endedEarly = !finished;
        sent.add( Clock::now(), 0 ); // by now the peer has everything
    }
    for ( int left = BATCH; left > 0; --left )
        if ( ended || finished || !sendSome() )
            return more;
    return true;
}

void tool::TcpSending::finish()
{
    finished = true;
    inTcpChannelTerminate( channel.get() );
}

std::string tool::TcpSending::progress()
{
    Time now = Clock::now();
    double recent = 8 * double( sent.bytes() - shown ) / secondsBetween( shownAt, now );
    shown = sent.bytes();
    shownAt = now;
    return fmt::format( "sent {}, now {:.3f} Mbit/s", sent.text(), recent / 1e6 );
}

tool::Report tool::TcpSending::report( const std::string &target ) const
{
    Report report;
    bool closed = inTcpChannelEnd( channel.get() ) && !inTcpChannelError( channel.get() );
    report.json = { { "event", "summary" }, { "target", target }, { "seconds", sent.seconds() },
        { "sent", sent.bytes() }, { "bitsPerSecond", sent.bitsPerSecond() }, { "received", received },
        { "peerClosed", closed } };
    report.text = { { "target", target }, { "sent", fmt::format( "{} in {:.3f} s", sent.text(), sent.seconds() ) } };
    if ( received > 0 )
        report.text["received"] = fmt::format( "{} bytes", received );
    if ( options.sum )
        report.json["sum"] = report.text["sum"] = sum.text();
    if ( !closed )
        report.text["peer"] = "has not closed, so it may not have taken all";
    return report;
}

void tool::TcpSending::checkAllSent( const std::string &target )
{
    uint64_t count = sent.bytes();
    if ( inTcpChannelError( channel.get() ) )
        fail( "the connection to {} has failed after {} bytes: {}", target, count, whyFailed( channel ) );
    if ( endedEarly && count < limit )
        fail( "{} has closed the connection after {} bytes", target, count );
}

void tool::send( const Output &output, const TcpChoice &choice, const TcpSendOptions &options )
{
    Dialer dialer( choice, options.target );
    TcpSending sending( dialer.connect(), options );
    Session session( sending, options.run );
    session.run( options.rate > 0 ? sending.pieceRate() : 0, false );
    output.report( sending.report( dialer.remote() ) );
    sending.checkAllSent( dialer.remote() );
}
