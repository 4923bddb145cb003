/* Progress, the loop. */
#include <tool/tool_session.hpp>
#include <unistd.h>

void tool::RunOptions::addOptions( CLI::App &command, const char *counted )
{
    if ( counted )
        addNumber(
            command, "--count", count, "N", fmt::format( "Stop after this many {}", counted ).c_str(), 1, INT64_MAX );
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

tool::Progress::Progress( bool wanted ) : overwrites( false ), next( wanted ? later( start, 1 ) : Time::max() ) {}

tool::Progress::~Progress()
{
    if ( shown && overwrites )
        tell( "\r\033[K" );
}

void tool::Progress::show( Time now, const std::function<std::string()> &text )
{
    if ( now < next )
        return;
    while ( next <= now )
        next += std::chrono::seconds( 1 );
    if ( overwrites && tcgetpgrp( STDERR_FILENO ) != getpgrp() )
        return; // in the background the terminal is somebody else's
    tell( fmt::format( "{}{:.0f} s: {}{}", overwrites ? "\r\033[K" : "", secondsBetween( start, now ), text(),
        overwrites ? "" : "\n" ) );
    shown = true;
}

tool::Session::Session( Activity &itsActivity, const RunOptions &itsOptions )
    : activity( itsActivity ), options( itsOptions )
{
    end = options.duration > 0 ? later( start, options.duration ) : Time::max();
    activity.follow( wake );
}

/** Sends what is due, and takes what arrives meanwhile, so that it does not wait for the end of the burst. */
void tool::Session::sendDue()
{
    Time now = std::min( Clock::now(), end - Clock::duration( 1 ) ); // none is due at the very end
    for ( uint64_t left = pace->take( now ); left > 0 && !activity.complete(); --left ) {
        activity.sendNext();
        activity.proceed();
    }
}

/** Whether it is all done. Once no more is to be sent there is some time left for what is still on its way. */
bool tool::Session::over( Time now )
{
    if ( !ending && ( interrupt.came() || now >= end || activity.complete() ) ) {
        ending = true;
        if ( interrupt.came() && isatty( STDOUT_FILENO ) && isatty( STDIN_FILENO ) )
            write( "\n" ); // after the ^C that the terminal shows
        activity.finish();
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
        bool more = activity.proceed();
        if ( pace && !ending )
            sendDue();
        Time now = Clock::now();
        if ( over( now ) )
            return;
        progress.show( now, [this] { return activity.progress(); } );
        Time next = pace && !ending ? std::min( end, pace->nextTime() ) : end;
        if ( !more )
            wake.wait( std::min( next, progress.nextTime() ) );
    }
}
