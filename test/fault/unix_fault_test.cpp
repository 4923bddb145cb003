/* The ladder under the descriptor observer and commands. */
#include <fault/fault.h>
#include <support/stuck.hpp>
#include <support/test_support.h>
#include <unix/unix.h>

namespace {

/** One life of an observer: a pipe that is ready, reported, removed; then the end by the signal. */
const char *observe( const test::Ends &pipe )
{
    pb::Ref<UNIX_FD_OBSERVER> observer = pb::adopt( unixFdObserverCreate() );
    if ( !observer )
        return "null";
    pb::Ref<PB_SIGNAL> signal = pb::adopt( pbSignalCreate() );
    if ( !unixFdObserverSetFd( observer.get(), pipe.write.get(), UNIX_FD_WRITABLE ) )
        return "not set";
    if ( !unixFdObserverWait( observer.get(), signal.get() ) )
        return unixFdObserverError( observer.get() ) ? "error" : "lost";
    if ( unixFdObserverFd( observer.get() ) != pipe.write.get() )
        return "another descriptor";
    unixFdObserverUnblock( observer.get() );
    if ( !unixFdObserverSetFd( observer.get(), pipe.write.get(), 0 ) )
        return unixFdObserverError( observer.get() ) ? "error" : "not removed";
    pbSignalAssert( signal.get() );
    if ( unixFdObserverWait( observer.get(), signal.get() ) )
        return "reported after the end";
    return unixFdObserverError( observer.get() ) ? "error" : "served";
}

TEST( FaultObserver, ServesOrSaysThatItCannot )
{
    test::Ends pipe = test::pipeEnds( O_NONBLOCK );
    fault::ladder( { "served", "null", "not set", "error" }, [&] {
        fault::Armed armed;
        return observe( pipe );
    } );
}

std::string run( std::initializer_list<const char *> arguments, PB_INT milliseconds )
{
    pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
    for ( const char *argument : arguments )
        pbVectorAppend( vector.handle(), pb::obj( test::str( argument ).get() ) );
    fault::Armed armed;
    return test::takeBytes( unixCommandTryRun( vector.get(), 1000, milliseconds ) );
}

TEST( FaultCommand, GivesItsOutputOrNull )
{
    fault::ladder( { "hello\n", "", "(null)" }, [] { return run( { "echo", "hello" }, 60'000 ); } );
}

/** Where the command cannot be killed, it ends before the caller gives it up. */
TEST( FaultCommand, LeavesNoProcessBehindAtItsLimit )
{
    fault::ladder( { "", "(null)" }, [] { return run( { "sleep", "0.3" }, 30 ); } );
}

} // namespace
