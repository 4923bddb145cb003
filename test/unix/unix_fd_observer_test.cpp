/*
 * The observer: what it reports for which descriptor, and what it must not report after a change, alone and under load.
 */
#include <array>
#include <atomic>
#include <fcntl.h>
#include <functional>
#include <map>
#include <mutex>
#include <support/test_support.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <thread>
#include <unix/unix.h>
#include <vector>

namespace {

constexpr PB_INT R = UNIX_FD_READABLE, W = UNIX_FD_WRITABLE, E = UNIX_FD_ERROR;

struct Pair {
    pb::Fd a;
    pb::Fd b;
};

Pair pipePair()
{
    std::array<int, 2> fds{ -1, -1 };
    EXPECT_EQ( pipe2( fds.data(), O_CLOEXEC | O_NONBLOCK ), 0 );
    return { pb::Fd( fds[0] ), pb::Fd( fds[1] ) };
}
Pair socketPair()
{
    std::array<int, 2> fds{ -1, -1 };
    EXPECT_EQ( socketpair( AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, fds.data() ), 0 );
    return { pb::Fd( fds[0] ), pb::Fd( fds[1] ) };
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

TEST( UnixFdObserver, ReportsConditions )
{
    struct Row {
        const char *what;
        PB_INT wanted;
        PB_INT reported;
        std::function<Pair()> make; // observes a
    };
    auto filled = []( Pair pair ) {
        put( pair.b.get() );
        return pair;
    };
    auto alone = []( Pair pair ) {
        pair.b.close();
        return pair;
    };
    auto turned = []( Pair pair ) { return Pair{ std::move( pair.b ), std::move( pair.a ) }; };
    const Row rows[] = {
        { "bytes in a pipe", R, R, [=] { return filled( pipePair() ); } },
        { "room in a pipe", W, W, [=] { return turned( pipePair() ); } },
        { "bytes before the end of a pipe", R, R | E, [=] { return alone( filled( pipePair() ) ); } },
        { "pipe without a reader, only errors asked for", E, E, [=] { return alone( turned( pipePair() ) ); } },
        { "socket, both", R | W | E, R | W, [=] { return filled( socketPair() ); } },
        { "socket, one of two", W, W, [=] { return filled( socketPair() ); } },
        { "socket without a peer", R, R | E, [=] { return alone( socketPair() ); } },
    };
    for ( const Row &row : rows ) {
        SCOPED_TRACE( row.what );
        Observer observer;
        Pair pair = row.make();
        ASSERT_TRUE( observer.set( pair.a.get(), row.wanted ) );
        ASSERT_TRUE( observer.wait() );
        EXPECT_EQ( observer.fd(), pair.a.get() );
        EXPECT_EQ( observer.conds(), row.reported );
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
struct Slots {
    std::mutex mutex;
    std::map<int, Slot *> byFd;
};

void serve( Observer &observer, Slots &slots )
{
    while ( observer.wait() ) {
        Slot *slot = nullptr;
        {
            std::lock_guard lock( slots.mutex );
            auto found = slots.byFd.find( observer.fd() );
            slot = found == slots.byFd.end() ? nullptr : found->second;
        }
        if ( !slot || !slot->observed ) {
            ADD_FAILURE() << "a report of a descriptor that was removed";
            return;
        }
        get( observer.fd() );
        EXPECT_TRUE( slot->observed ); // still: removing waits
        pbBarrierUnblock( slot->served.get() );
        observer.unblock();
    }
}

void registerAndRemove( Observer &observer, Slots &slots, int rounds )
{
    for ( int i = 0; i < rounds; ++i ) {
        Slot slot;
        pb::Fd fd = counter( 0 );
        {
            std::lock_guard lock( slots.mutex );
            slots.byFd[fd.get()] = &slot;
        }
        slot.observed = true;
        EXPECT_TRUE( observer.set( fd.get(), i % 2 ? E : R ) );
        put( fd.get() );
        EXPECT_TRUE( observer.set( fd.get(), R ) ); // must neither lose the event nor report it twice
        EXPECT_TRUE( pbBarrierPassTimed( slot.served.get(), 60'000 ) ) << "an event was lost";
        if ( i % 3 == 0 )
            put( fd.get() ); // is about to be reported when it goes
        EXPECT_TRUE( observer.set( fd.get(), 0 ) );
        slot.observed = false;
        std::lock_guard lock( slots.mutex );
        slots.byFd.erase( fd.get() );
    }
}

TEST( UnixFdObserver, EightThreadsRegisterAndRemove )
{
    Observer observer;
    Slots slots;
    std::thread server( serve, std::ref( observer ), std::ref( slots ) );
    std::vector<std::thread> threads;
    for ( int i = 0; i < 8; ++i )
        threads.emplace_back( registerAndRemove, std::ref( observer ), std::ref( slots ), 400 );
    for ( std::thread &thread : threads )
        thread.join();
    pbSignalAssert( observer.abort.get() );
    server.join();
}

} // namespace
