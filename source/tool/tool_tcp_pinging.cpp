/* Round trips over TCP. */
#include <tool/tool_percentiles.hpp>
#include <tool/tool_tcp_pinging.hpp>

namespace {

constexpr PB_INT READ_SIZE = 65'536;

} // namespace

void tool::TcpTrips::came( uint64_t number, int64_t nanoseconds )
{
    times.add( nanoseconds );
    if ( !printsEach() )
        return;
    double milliseconds = double( nanoseconds ) / 1e6;
    output.line( { { "event", "echo" }, { "time", timeInFull() }, { "from", target }, { "number", number },
                     { "milliseconds", milliseconds } },
        fmt::format( "{} {}  #{}  {:.3f} ms", timeOfDay(), target, number, milliseconds ) );
}

std::string tool::TcpTrips::progress()
{
    return fmt::format( "{} tried, {} back, p50 {:.3f} ms, p99 {:.3f} ms", tried, times.count(),
        times.percentile( 0.5 ), times.percentile( 0.99 ) );
}

tool::Report tool::TcpTrips::report( double seconds ) const
{
    Report report;
    report.json = { { "event", "summary" }, { "target", target }, { "seconds", seconds }, { "sent", tried },
        { "received", times.count() }, { "lost", missing() }, { "roundTripMilliseconds", percentiles( times ) } };
    report.text = { { "target", target }, { "sent", std::to_string( tried ) },
        { "received", std::to_string( times.count() ) }, { "round trip", percentilesText( times ) } };
    return report;
}

tool::TcpPinging::TcpPinging( const Output &printsTo, const Dialer &dialer, const SendOptions &itsOptions )
    : TcpTrips( printsTo, dialer.remote(), itsOptions ), channel( dialer.connect() ),
      stream( static_cast<uint32_t>( pbRandomNonNegativeIntRange( 0, UINT32_MAX ) ) ),
      message( static_cast<std::size_t>( itsOptions.size ) )
{}

void tool::TcpPinging::sendNext()
{
    if ( pbBufferLength( unsent.get() ) + options.size > UNSENT_MAX )
        return;
    Stamp{ stream, tried++, nanosecondsOf( Clock::now() ) }.write( message );
    pbBufferAppendBytes( unsent.handle(), message.data(), options.size );
}

bool tool::TcpPinging::isNext( const std::optional<Stamp> &stamp ) const
{
    return stamp && stamp->stream == stream && stamp->number == back && back < tried;
}

void tool::TcpPinging::takeMessages()
{
    Time now = Clock::now();
    while ( pbBufferLength( unread.get() ) >= options.size ) {
        std::optional<Stamp> stamp = Stamp::read( unread.get() );
        if ( !isNext( stamp ) )
            fail( "what came back is not what was sent; ping an echo, such as 'tcp listen --echo'" );
        came( back++, nanosecondsSince( stamp->sentAt, now ) );
        pbBufferDelLeading( unread.handle(), options.size );
    }
}

bool tool::TcpPinging::proceed()
{
    while ( PB_INT count = inTcpChannelSend( channel.get(), unsent.get(), 0, pbBufferLength( unsent.get() ) ) )
        pbBufferDelLeading( unsent.handle(), count );
    pbBufferReserve( unread.handle(), READ_SIZE );
    PB_INT count = inTcpChannelReceive( channel.get(), unread.handle(), READ_SIZE );
    takeMessages();
    endedEarly = endedEarly || ( !finished && inTcpChannelEnd( channel.get() ) );
    return count > 0;
}

void tool::TcpPinging::checkAllBack()
{
    if ( inTcpChannelError( channel.get() ) )
        fail( "the connection has failed, {} of {} messages came back: {}", tried - missing(), tried,
            whyFailed( channel ) );
    if ( endedEarly )
        fail( "the peer has closed the connection, {} of {} messages came back", tried - missing(), tried );
    if ( missing() > 0 )
        fail( "{} of {} messages did not come back; ping an echo, such as 'tcp listen --echo'", missing(), tried );
}

void tool::TcpConnecting::sendNext()
{
    if ( tries.size() >= TRIES_MAX )
        return;
    Time began = Clock::now();
    tries.push_back( { tried++, began, dialer.dial() } );
    inTcpChannelActiveAddSignalable( tries.back().channel.get(), wake->signalable() );
}

bool tool::TcpConnecting::proceed()
{
    for ( auto one = tries.begin(); one != tries.end(); ) {
        if ( !inTcpChannelActive( one->channel.get() ) ) {
            ++one;
            continue;
        }
        if ( inTcpChannelError( one->channel.get() ) ) {
            ++failed;
            reason = whyFailed( one->channel );
        } else {
            came( one->number, std::chrono::nanoseconds( Clock::now() - one->began ).count() );
        }
        one = tries.erase( one );
    }
    return false;
}

void tool::TcpConnecting::checkAllConnected()
{
    if ( missing() > 0 )
        fail( "{} of {} connections could not be made: {}", missing(), tried,
            failed > 0 ? reason : "no answer in time; give more with --wait" );
}

void tool::ping( const Output &output, const TcpChoice &choice, const SendOptions &options, bool connects )
{
    Dialer dialer( choice, options.target );
    auto run = [&]( auto pinging ) {
        Session session( pinging, options.run );
        session.run( options.rate, pinging.printsEach() );
        output.report( pinging.report( session.seconds() ) );
        return pinging;
    };
    if ( connects )
        run( TcpConnecting( output, dialer, options ) ).checkAllConnected();
    else
        run( TcpPinging( output, dialer, options ) ).checkAllBack();
}
