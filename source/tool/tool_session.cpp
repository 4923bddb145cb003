/* Lanes, progress, the loop. */
#include <tool/tool_session.hpp>
#include <unistd.h>

namespace {

constexpr int BATCH = 64; // datagrams of a lane before the next lane, and the clock, are looked at

} // namespace

std::string tool::Lane::localAddress() const
{
    return take( pbObjToString( pb::obj( pb::adopt(
        channel ? inUdpChannelLocalAddress( channel.get() ) : inUdpMulticastReceiverLocalAddress( receiver.get() ) )
                                             .get() ) ) );
}

void tool::Lane::wakes( const Wake &wake ) const
{
    if ( channel ) {
        inUdpChannelReceiveAddAlertable( channel.get(), wake.alertable() );
        inUdpChannelErrorAddSignalable( channel.get(), wake.signalable() );
    } else {
        inUdpMulticastReceiverReceiveAddAlertable( receiver.get(), wake.alertable() );
        inUdpMulticastReceiverErrorAddSignalable( receiver.get(), wake.signalable() );
    }
}

bool tool::Lane::failed() const
{
    return channel ? inUdpChannelError( channel.get() ) : inUdpMulticastReceiverError( receiver.get() );
}

pb::Ref<IN_UDP_PACKET> tool::Lane::receive() const
{
    return pb::adopt(
        channel ? inUdpChannelReceive( channel.get() ) : inUdpMulticastReceiverReceive( receiver.get() ) );
}

void tool::RunOptions::addOptions( CLI::App &command )
{
    addNumber( command, "--count", count, "N", "Stop after this many datagrams", 1, INT64_MAX );
    addNumber(
        command, "--duration", duration, "SECONDS", "Stop after this time (default: when interrupted)", 0.001, 1e9 );
    command.add_flag( "--progress", progress, "Print the progress even if standard error is not a terminal" );
}

void tool::RunOptions::addQuiet( CLI::App &command )
{
    command.add_flag( "--quiet", quiet, "Print the summary only" );
}

tool::Progress::Progress( bool wanted, bool linesArePrinted )
    : overwrites( isatty( STDERR_FILENO ) && !( linesArePrinted && isatty( STDOUT_FILENO ) ) )
{
    next = wanted || overwrites ? later( start, 1 ) : Time::max();
}

tool::Progress::~Progress()
{
    if ( shown && overwrites )
        tell( "\r\033[K" );
}

void tool::Progress::show( Time now, const Activity &activity )
{
    if ( now < next )
        return;
    while ( next <= now )
        next += std::chrono::seconds( 1 );
    if ( overwrites && tcgetpgrp( STDERR_FILENO ) != getpgrp() )
        return; // in the background the terminal is somebody else's
    tell( fmt::format( "{}{:.0f} s: {}{}", overwrites ? "\r\033[K" : "", secondsBetween( start, now ),
        activity.progress(), overwrites ? "" : "\n" ) );
    shown = true;
}

tool::Session::Session( const Lanes &openLanes, Activity &itsActivity, const RunOptions &itsOptions )
    : lanes( openLanes ), activity( itsActivity ), options( itsOptions )
{
    end = options.duration > 0 ? later( start, options.duration ) : Time::max();
    for ( const Lane &lane : lanes )
        lane.wakes( wake );
}

/** Takes what has arrived, a batch from each lane; whether there may be more. */
bool tool::Session::takeArrived()
{
    bool more = false;
    for ( std::size_t i = 0; i < lanes.size(); ++i ) {
        int left = BATCH;
        for ( ; left > 0 && !( activity.complete() && activity.allThere() ); --left ) {
            pb::Ref<IN_UDP_PACKET> pkt = lanes[i].receive();
            if ( !pkt )
                break;
            activity.arrived( i, pkt.get() );
        }
        more = more || left == 0;
        if ( lanes[i].failed() )
            fail( "the socket on {} has failed; start again", lanes[i].localAddress() );
    }
    return more;
}

/** Sends what is due, and takes what arrives meanwhile, so that it does not wait for the end of the burst. */
void tool::Session::sendDue()
{
    Time now = std::min( Clock::now(), end - Clock::duration( 1 ) ); // none is due at the very end
    for ( uint64_t left = pace->take( now ); left > 0 && !activity.complete(); --left ) {
        activity.sendNext();
        takeArrived();
    }
}

/** Whether it is all done. Once no more is to be sent there is some time left for what is still on its way. */
bool tool::Session::over( Time now )
{
    if ( !ending && ( interrupt.came() || now >= end || activity.complete() ) ) {
        ending = true;
        if ( interrupt.came() && isatty( STDOUT_FILENO ) && isatty( STDIN_FILENO ) )
            write( "\n" ); // after the ^C that the terminal shows
        end = later( now, activity.patience() );
    }
    return ending && ( now >= end || activity.allThere() );
}

void tool::Session::run( double rate, bool linesArePrinted )
{
    Progress progress( options.progress, linesArePrinted );
    if ( rate > 0 )
        pace.emplace( rate, start );
    for ( ;; ) {
        bool more = takeArrived();
        if ( pace && !ending )
            sendDue();
        Time now = Clock::now();
        if ( over( now ) )
            return;
        progress.show( now, activity );
        Time next = pace && !ending ? std::min( end, pace->nextTime() ) : end;
        if ( !more )
            wake.wait( std::min( next, progress.nextTime() ) );
    }
}
