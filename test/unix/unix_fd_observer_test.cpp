/*
 * The observer: what it reports for which descriptor, and what it must not report after a change, alone and under load.
 */
#include <netinet/in.h>
#include <support/stuck.hpp>
#include <sys/eventfd.h>
#include <unix/unix.h>

namespace {

constexpr PB_INT R = UNIX_FD_READABLE, W = UNIX_FD_WRITABLE, E = UNIX_FD_ERROR;

using test::Ends;

Ends pipePair()
{
    return test::pipeEnds( O_NONBLOCK );
}
Ends socketPair()
{
    return test::socketEnds( SOCK_NONBLOCK );
}
/** A TCP connection over loopback, the accepting end first. */
Ends tcpPair()
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl( INADDR_LOOPBACK );
    auto *generic = reinterpret_cast<sockaddr *>( &address );
    socklen_t length = sizeof address;
    pb::Fd listener( socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 ) );
    EXPECT_EQ( bind( listener.get(), generic, length ) | listen( listener.get(), 1 ), 0 );
    EXPECT_EQ( getsockname( listener.get(), generic, &length ), 0 );
    pb::Fd client( socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 ) );
    EXPECT_EQ( connect( client.get(), generic, length ), 0 );
    return { pb::Fd( accept4( listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK ) ), std::move( client ) };
}
pb::Fd counter( unsigned value )
{
    return pb::Fd( eventfd( value, EFD_CLOEXEC | EFD_NONBLOCK ) );
}
void put( int fd )
{
    uint64_t one = 1;
    EXPECT_EQ( write( fd, &one, sizeof one ), ssize_t( sizeof one ) );
}
void get( int fd )
{
    uint64_t value;
    EXPECT_EQ( read( fd, &value, sizeof value ), ssize_t( sizeof value ) );
}

struct Observer {
    pb::Ref<UNIX_FD_OBSERVER> held = pb::adopt( unixFdObserverCreate() );
    pb::Ref<PB_SIGNAL> abort = pb::adopt( pbSignalCreate() );

    bool set( int fd, PB_INT conds ) { return unixFdObserverSetFd( held.get(), fd, conds ); }
    bool wait() { return unixFdObserverWait( held.get(), abort.get() ); }
    int fd() { return unixFdObserverFd( held.get() ); }
    PB_INT conds() { return unixFdObserverConds( held.get() ); }
    void unblock() { unixFdObserverUnblock( held.get() ); }
    /** The next report's descriptor; closes the report. */
    int next()
    {
        int found = wait() ? fd() : -1;
        unblock();
        return found;
    }
};

/** The peer sends no more; both directions have ended; the peer throws away what was sent to it. */
Ends ended( Ends pair )
{
    EXPECT_EQ( shutdown( pair.write.get(), SHUT_WR ), 0 );
    return pair;
}
Ends over( Ends pair )
{
    EXPECT_EQ( shutdown( pair.read.get(), SHUT_WR ), 0 );
    return ended( std::move( pair ) );
}
Ends reset( Ends pair )
{
    linger none{ 1, 0 };
    EXPECT_EQ( setsockopt( pair.write.get(), SOL_SOCKET, SO_LINGER, &none, sizeof none ), 0 );
    pair.write.close();
    return pair;
}
Ends alone( Ends pair )
{
    pair.write.close();
    return pair;
}

TEST( UnixFdObserver, ReportsConditions )
{
    struct Row {
        const char *what;
        PB_INT wanted;
        PB_INT reported;
        std::function<Ends()> make; // observes the reading end
    };
    auto filled = []( Ends pair ) {
        put( pair.write.get() );
        return pair;
    };
    auto turned = []( Ends pair ) { return Ends{ std::move( pair.write ), std::move( pair.read ) }; };
    const Row rows[] = {
        { "bytes in a pipe", R, R, [=] { return filled( pipePair() ); } },
        { "room in a pipe", W, W, [=] { return turned( pipePair() ); } },
        { "bytes before the end of a pipe", R, R, [=] { return alone( filled( pipePair() ) ); } },
        { "pipe without a reader, only errors asked for", E, E, [=] { return alone( turned( pipePair() ) ); } },
        { "socket, both", R | W | E, R | W, [=] { return filled( socketPair() ); } },
        { "socket, one of two", W, W, [=] { return filled( socketPair() ); } },
        { "socket without a peer", R | W, R | W, [=] { return alone( socketPair() ); } },
        { "socket without a peer, only writing", W, W, [=] { return alone( socketPair() ); } },
        { "connection whose peer sends no more", R, R, [=] { return ended( tcpPair() ); } },
        { "connection that has ended, with bytes", R, R, [=] { return over( filled( tcpPair() ) ); } },
        { "connection that has ended, only writing", W, W, [=] { return over( tcpPair() ); } },
        { "connection that was reset", R, R | E, [=] { return reset( tcpPair() ); } },
        { "connection that was reset, only errors asked for", E, E, [=] { return reset( tcpPair() ); } },
    };
    for ( const Row &row : rows ) {
        SCOPED_TRACE( row.what );
        Observer observer;
        Ends pair = row.make();
        ASSERT_TRUE( observer.set( pair.read.get(), row.wanted ) );
        ASSERT_TRUE( observer.wait() );
        EXPECT_EQ( observer.fd(), pair.read.get() );
        EXPECT_EQ( observer.conds(), row.reported );
    }
}

/** Processor time of the calling thread, in ms. */
PB_INT threadTime()
{
    timespec used;
    clock_gettime( CLOCK_THREAD_CPUTIME_ID, &used );
    return PB_INT( used.tv_sec ) * 1000 + used.tv_nsec / 1'000'000;
}

/** The system tells of a hang-up whether it is asked to or not; while nobody reads or writes, it must cost nothing. */
TEST( UnixFdObserver, IsQuietAboutAHangUpThatNobodyAskedFor )
{
    struct Row {
        const char *what;
        std::function<Ends()> make;
    };
    const Row rows[] = { { "pipe without a writer", [] { return alone( pipePair() ); } },
        { "socket without a peer", [] { return alone( socketPair() ); } },
        { "connection that has ended", [] { return over( tcpPair() ); } },
        { "connection whose peer sends no more", [] { return ended( tcpPair() ); } } };
    for ( const Row &row : rows ) {
        SCOPED_TRACE( row.what );
        Observer observer;
        Ends pair = row.make();
        int fd = pair.read.get();
        ASSERT_TRUE( observer.set( fd, E ) );
        std::thread aborter( [&] {
            pbSleep( 100 );
            pbSignalAssert( observer.abort.get() );
        } );
        PB_INT before = threadTime();
        EXPECT_FALSE( observer.wait() ) << "reported: " << observer.conds();
        EXPECT_LT( threadTime() - before, 20 ) << "ms of processor time while nothing was to be done";
        aborter.join();

        observer.abort = pb::adopt( pbSignalCreate() );
        for ( PB_INT conds : { R, E, R } ) { // set anew it is reported, and paused it is quiet again
            pb::Fd other = counter( 1 );
            EXPECT_TRUE( observer.set( fd, conds ) && observer.set( other.get(), R ) );
            std::map<int, PB_INT> reports;
            for ( int i = 0; i < 4 && observer.wait(); ++i )
                reports[observer.fd()] = observer.conds();
            EXPECT_EQ( reports[fd], conds & R );
            EXPECT_EQ( reports[other.get()], R );
            observer.unblock();
            EXPECT_TRUE( observer.set( other.get(), 0 ) );
        }
        EXPECT_TRUE( observer.set( fd, E ) && observer.set( fd, 0 ) );
        EXPECT_FALSE( unixFdObserverError( observer.held.get() ) );
    }
}

TEST( UnixFdObserver, AbortsBeforeAndDuringTheWait )
{
    Observer observer;
    pb::Fd ready = counter( 1 );
    ASSERT_TRUE( observer.set( ready.get(), R ) );
    EXPECT_EQ( observer.next(), ready.get() );
    pbSignalAssert( observer.abort.get() );
    EXPECT_FALSE( observer.wait() ); // although there is something to report
    EXPECT_FALSE( observer.wait() );

    observer.abort = pb::adopt( pbSignalCreate() ); // the old signal's wake must not end a wait for the new one
    EXPECT_EQ( observer.next(), ready.get() );
    EXPECT_TRUE( unixFdObserverWait( observer.held.get(), nullptr ) );
    get( ready.get() );
    for ( int i = 0; i < 50; ++i ) {
        observer.abort = pb::adopt( pbSignalCreate() );
        std::thread aborter( [&] { pbSignalAssert( observer.abort.get() ); } );
        EXPECT_FALSE( observer.wait() );
        aborter.join();
    }
    EXPECT_FALSE( unixFdObserverError( observer.held.get() ) );
}

/** Two descriptors are ready and so in one batch; the one that is not reported first is changed before its turn. */
TEST( UnixFdObserver, DropsWhatChangedBeforeItsTurn )
{
    struct Row {
        const char *what;
        PB_INT reported; // for the changed descriptor, 0: not at all
        std::function<void( Observer &, pb::Fd & )> change;
    };
    auto reuse = []( Observer &o, pb::Fd &fd ) {
        EXPECT_EQ( dup3( counter( 0 ).get(), fd.get(), O_CLOEXEC ), fd.get() );
        EXPECT_TRUE( o.set( fd.get(), R ) );
    };
    const Row rows[] = {
        { "removed", 0, []( Observer &o, pb::Fd &fd ) { EXPECT_TRUE( o.set( fd.get(), 0 ) ); } },
        { "narrowed", 0, []( Observer &o, pb::Fd &fd ) { EXPECT_TRUE( o.set( fd.get(), E ) ); } },
        { "number reused", 0, [=]( Observer &o, pb::Fd &fd ) { EXPECT_TRUE( o.set( fd.get(), 0 ) ), reuse( o, fd ); } },
        { "number reused without a removal", 0, reuse },
        { "set anew", R, []( Observer &o, pb::Fd &fd ) { EXPECT_TRUE( o.set( fd.get(), R ) ); } },
        { "widened", R | W, []( Observer &o, pb::Fd &fd ) { EXPECT_TRUE( o.set( fd.get(), R | W ) ); } },
    };
    for ( const Row &row : rows ) {
        SCOPED_TRACE( row.what );
        Observer observer;
        pb::Fd one = counter( 1 ), two = counter( 1 ), later = counter( 0 );
        for ( int fd : { one.get(), two.get(), later.get() } )
            ASSERT_TRUE( observer.set( fd, R ) );
        int first = observer.next();
        pb::Fd &changed = first == one.get() ? two : one;
        EXPECT_TRUE( observer.set( first, 0 ) );
        row.change( observer, changed );
        put( later.get() );
        std::map<int, PB_INT> reports;
        for ( int i = 0; i < 4 && observer.wait(); ++i )
            reports[observer.fd()] = observer.conds();
        EXPECT_EQ( reports.count( first ), 0U );
        EXPECT_EQ( reports[later.get()], R );
        EXPECT_EQ( reports[changed.get()], row.reported );
    }
}

/** Removing from another thread returns only after the report is closed, by Unblock or by the next wait. */
TEST( UnixFdObserver, RemovingWaitsForTheOpenReport )
{
    for ( bool byUnblock : { true, false } ) {
        Observer observer;
        pb::Fd ready = counter( 1 ), other = counter( 0 );
        ASSERT_TRUE( observer.set( ready.get(), R ) );
        ASSERT_TRUE( observer.wait() );
        std::atomic<bool> begun = false, removed = false;
        std::thread remover( [&] {
            EXPECT_TRUE( observer.set( other.get(), R ) ); // another descriptor is not held up
            begun = true;
            EXPECT_TRUE( observer.set( ready.get(), 0 ) );
            removed = true;
        } );
        while ( !begun )
            std::this_thread::yield();
        pbSleep( 20 ); // time for a removal that does not wait to show itself
        EXPECT_FALSE( removed );
        put( other.get() );
        if ( byUnblock )
            observer.unblock();
        // the first descriptor is still readable, but its setter goes before its next report
        ASSERT_TRUE( observer.wait() );
        EXPECT_EQ( observer.fd(), other.get() );
        remover.join();
    }
}

TEST( UnixFdObserverDeathTest, WhoHasTheOpenReportMustCloseItFirst )
{
    Observer observer;
    pb::Fd ready = counter( 1 );
    observer.set( ready.get(), R );
    EXPECT_DEATH( ( observer.wait(), observer.set( ready.get(), 0 ) ), "pthread_self" );
}

/** One descriptor of a thread that registers and removes; `observed` is what the observer may count on. */
struct Slot {
    std::atomic<bool> observed = false;
    pb::Ref<PB_BARRIER> served = pb::adopt( pbBarrierCreate( 1 ) );
};
using Slots = std::array<std::atomic<Slot *>, 1024>; // by descriptor

void serve( Observer &observer, Slots &slots )
{
    while ( observer.wait() ) {
        Slot *slot = slots.at( std::size_t( observer.fd() ) );
        if ( !slot || !slot->observed ) {
            ADD_FAILURE() << "a report of a descriptor that was removed";
            return;
        }
        uint64_t value;
        EXPECT_GE( read( observer.fd(), &value, sizeof value ), 0 ); // reported once for each put, or the end
        EXPECT_TRUE( slot->observed );                               // still: removing waits
        pbBarrierUnblock( slot->served.get() );
        observer.unblock();
    }
}

void passServed( Slot &slot )
{
    EXPECT_TRUE( pbBarrierPassTimed( slot.served.get(), 60'000 ) ) << "an event was lost";
}

/** Registers a descriptor, gets it served, and removes it. */
void live( Observer &observer, Slots &slots, int fd, const std::function<void( Slot & )> &getServed )
{
    Slot slot;
    slots.at( std::size_t( fd ) ) = &slot;
    slot.observed = true;
    getServed( slot );
    EXPECT_TRUE( observer.set( fd, 0 ) );
    slot.observed = false;
    slots.at( std::size_t( fd ) ) = nullptr;
}

void registerAndRemove( Observer &observer, Slots &slots, int rounds )
{
    for ( int i = 0; i < rounds; ++i ) {
        pb::Fd fd = counter( 0 );
        live( observer, slots, fd.get(), [&]( Slot &slot ) {
            EXPECT_TRUE( observer.set( fd.get(), i % 2 ? E : R ) );
            put( fd.get() );
            EXPECT_TRUE( observer.set( fd.get(), R ) ); // must neither lose the event nor report it twice
            passServed( slot );
            if ( i % 3 == 0 )
                put( fd.get() ); // is about to be reported when it goes
        } );
        Ends pair = socketPair();
        live( observer, slots, pair.read.get(), [&]( Slot &slot ) {
            EXPECT_TRUE( observer.set( pair.read.get(), E ) );
            pair.write.close(); // leaves the set by itself, now or not yet
            EXPECT_TRUE( observer.set( pair.read.get(), R ) );
            passServed( slot );
        } );
    }
}

TEST( UnixFdObserver, EightThreadsRegisterAndRemove )
{
    Observer observer;
    Slots slots{};
    std::thread server( serve, std::ref( observer ), std::ref( slots ) );
    test::onThreads( 8, [&]( int ) { registerAndRemove( observer, slots, 400 ); } );
    pbSignalAssert( observer.abort.get() );
    server.join();
}

} // namespace
