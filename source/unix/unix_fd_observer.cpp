/*
 * The descriptor observer: one epoll set, level-triggered, and a batch of its events that the waiting thread hands out
 * one by one. The waiting thread owns the batch; `monitor` guards the table of registrations and the open report.
 *
 * Every successful unixFdObserverSetFd gives the registration a new generation, which the kernel hands back with each
 * event. An event whose generation is no longer the registration's is dropped: since the set is level-triggered, what
 * is still true of the new registration comes again with the next batch, so nothing is lost by that.
 *
 * The kernel reports a hang-up whether it is asked for or not, and does so without end. If a registration asks for nothing
 * that a hang-up means, its event takes it out of the set. That happens under the monitor and after the look at the
 * generation, so it never hits a newer registration; and the next setter finds the descriptor not in the set and adds it.
 *
 * The abort signal wakes the wait through the descriptor of a signalable, which is a member of the set. The signal holds
 * the signalable, never the observer, so the two do not keep each other alive.
 */
#include <array>
#include <pb/pb.hpp>
#include <sys/epoll.h>
#include <unix/unix.h>
#include <vector>

namespace {

constexpr int BATCH_SIZE = 64;
constexpr uint64_t WAKER_KEY = UINT64_MAX;

struct Registration {
    uint32_t generation = 0;
    uint32_t conds = 0; // 0: not in the set
};

uint64_t eventKey( uint32_t generation, int fd )
{
    return uint64_t( generation ) << 32 | static_cast<uint32_t>( fd );
}

int descriptorOf( const epoll_event &event )
{
    return static_cast<int>( static_cast<uint32_t>( event.data.u64 ) );
}

/** What the kernel calls the conditions; errors and hang-ups it always reports. */
uint32_t epollEvents( uint32_t conds )
{
    return ( conds & UNIX_FD_READABLE ? uint32_t( EPOLLIN ) : 0 ) |
           ( conds & UNIX_FD_WRITABLE ? uint32_t( EPOLLOUT ) : 0 );
}

/**
 * The conditions that an event reports to an observer that asked for `asked`; 0 for a hang-up that it did not ask
 * about. A hang-up alone is the regular end of both directions: reading brings the bytes that are left and then the
 * end, and writing does not block.
 */
PB_INT conditions( uint32_t events, uint32_t asked )
{
    if ( ( events & EPOLLHUP ) && !( events & EPOLLERR ) )
        events |= epollEvents( asked );
    return ( events & EPOLLIN ? UNIX_FD_READABLE : 0 ) | ( events & EPOLLOUT ? UNIX_FD_WRITABLE : 0 ) |
           ( events & EPOLLERR ? UNIX_FD_ERROR : 0 );
}

} // namespace

struct UNIX_FD_OBSERVER : PB_OBJ {
    pb::Fd epoll;
    pb::Ref<PB_SIGNALABLE> signalable; // its descriptor ends epoll_wait

    // The waiting thread's own.
    pb::Ref<PB_SIGNAL> signal; // the one that holds the signalable
    std::array<epoll_event, BATCH_SIZE> batch;
    int batchCount = 0;
    int batchNext = 0;
    int reportFd = -1;
    PB_INT reportConds = 0;

    std::atomic<bool> failed = false;

    pb::Monitor monitor{ pb::Rank::observer };
    pb::Condition changed; // the report was closed, or a setter that waited for that is done
    std::vector<Registration> table PB_GUARDED_BY( monitor ); // by descriptor
    uint32_t lastGeneration PB_GUARDED_BY( monitor ) = 0;
    int openFd PB_GUARDED_BY( monitor ) = -1; // the descriptor of the open report
    pthread_t waiter PB_GUARDED_BY( monitor ){};
    bool waiting PB_GUARDED_BY( monitor ) = false;
    int setters PB_GUARDED_BY( monitor ) = 0; // that wait for the report, all of them of the same descriptor

    ~UNIX_FD_OBSERVER()
    {
        if ( signal )
            pbSignalDelSignalable( signal.get(), signalable.get() );
    }
};

PB_CLASS_DEFINE( UNIX_FD_OBSERVER, unixFdObserver, pb::destroy<UNIX_FD_OBSERVER>, nullptr, nullptr );

UNIX_FD_OBSERVER *unixFdObserverCreate( void )
{
    pb::Fd epoll( epoll_create1( EPOLL_CLOEXEC ) );
    pb::Ref<PB_SIGNALABLE> signalable = pb::adopt( epoll ? pbSignalableTryCreateDescriptor() : nullptr );
    epoll_event event{ EPOLLIN, { .u64 = WAKER_KEY } };
    if ( !signalable ||
         epoll_ctl( epoll.get(), EPOLL_CTL_ADD, pbSignalableDescriptor( signalable.get() ), &event ) != 0 )
        return nullptr;

    pb::Ref<UNIX_FD_OBSERVER> observer = pb::adopt( pb::create<UNIX_FD_OBSERVER>() );
    observer->epoll = std::move( epoll );
    observer->signalable = std::move( signalable );
    return observer.give();
}

/** Puts the observer in error for good, and lets the waiting thread see it. */
static bool fail( UNIX_FD_OBSERVER &observer )
{
    observer.failed = true;
    pbSignalableSignal( observer.signalable.get() );
    return false;
}

static bool removeLocked( UNIX_FD_OBSERVER &observer, int fd ) PB_REQUIRES( observer.monitor )
{
    auto index = static_cast<std::size_t>( fd );
    if ( index >= observer.table.size() || observer.table[index].conds == 0 )
        return true;
    observer.table[index].conds = 0;
    // one that was closed already has left the set by itself
    if ( epoll_ctl( observer.epoll.get(), EPOLL_CTL_DEL, fd, nullptr ) == 0 || errno == ENOENT || errno == EBADF )
        return true;
    return fail( observer );
}

static bool setLocked( UNIX_FD_OBSERVER &observer, int fd, PB_INT conds ) PB_REQUIRES( observer.monitor )
{
    auto index = static_cast<std::size_t>( fd );
    bool known = index < observer.table.size() && observer.table[index].conds != 0;
    uint32_t generation = ++observer.lastGeneration;
    epoll_event event{ epollEvents( static_cast<uint32_t>( conds ) ), { .u64 = eventKey( generation, fd ) } };
    int result = epoll_ctl( observer.epoll.get(), known ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, fd, &event );
    if ( result != 0 && known && errno == ENOENT ) { // closed without being removed, and the number given out again
        observer.table[index].conds = 0;
        result = epoll_ctl( observer.epoll.get(), EPOLL_CTL_ADD, fd, &event );
    }
    if ( result != 0 )
        return false;
    if ( index >= observer.table.size() )
        observer.table.resize( std::max( index + 1, 2 * observer.table.size() ) );
    observer.table[index] = { generation, static_cast<uint32_t>( conds ) };
    return true;
}

/**
 * Waits until no report of the descriptor is open. The waiting thread makes no new report while somebody waits here:
 * otherwise a descriptor that is always ready could be reported again each time before its setter gets the monitor.
 */
static void passReportLocked( UNIX_FD_OBSERVER &observer, int fd ) PB_REQUIRES( observer.monitor )
{
    if ( observer.openFd != fd )
        return;
    PB_ASSERT( !pthread_equal( observer.waiter, pthread_self() ) );
    ++observer.setters;
    while ( observer.openFd == fd )
        observer.changed.wait( observer.monitor );
    if ( --observer.setters == 0 )
        observer.changed.wakeAll();
}

PB_BOOL unixFdObserverSetFd( UNIX_FD_OBSERVER *observer, int fd, PB_INT conds )
{
    PB_ASSERT( observer );
    PB_ASSERT( UNIX_FD_OK( fd ) );
    PB_ASSERT( !( conds & ~( UNIX_FD_READABLE | UNIX_FD_WRITABLE | UNIX_FD_ERROR ) ) );
    pb::Lock lock( observer->monitor );
    passReportLocked( *observer, fd );
    return conds ? setLocked( *observer, fd, conds ) : removeLocked( *observer, fd );
}

static void closeReportLocked( UNIX_FD_OBSERVER &observer ) PB_REQUIRES( observer.monitor )
{
    observer.openFd = -1;
    if ( observer.setters > 0 )
        observer.changed.wakeAll();
}

/** The registration with the signalable is kept from wait to wait, while it is the same signal that comes in. */
static void followSignal( UNIX_FD_OBSERVER &observer, PB_SIGNAL *optionalAbortSignal )
{
    if ( observer.signal.get() == optionalAbortSignal )
        return;
    if ( observer.signal )
        pbSignalDelSignalable( observer.signal.get(), observer.signalable.get() );
    observer.signal = pb::share( optionalAbortSignal );
    if ( optionalAbortSignal )
        pbSignalAddSignalable( optionalAbortSignal, observer.signalable.get() );
}

/** What an event says of the registration that it was made for, 0 for nothing. */
static PB_INT conditionsLocked( UNIX_FD_OBSERVER &observer, const epoll_event &event ) PB_REQUIRES( observer.monitor )
{
    uint64_t key = event.data.u64;
    if ( key == WAKER_KEY )
        return 0;
    const Registration &registration = observer.table[static_cast<uint32_t>( key )];
    if ( registration.conds == 0 || registration.generation != key >> 32 )
        return 0;
    PB_INT conds = conditions( event.events, registration.conds );
    if ( !conds )
        removeLocked( observer, descriptorOf( event ) );
    return conds;
}

/** Opens a report of the next event in the batch that still holds. */
static bool openReportLocked( UNIX_FD_OBSERVER &observer ) PB_REQUIRES( observer.monitor )
{
    while ( observer.setters > 0 )
        observer.changed.wait( observer.monitor );
    while ( observer.batchNext < observer.batchCount ) {
        const epoll_event &event = observer.batch[static_cast<std::size_t>( observer.batchNext++ )];
        PB_INT conds = conditionsLocked( observer, event );
        if ( !conds )
            continue;
        observer.openFd = observer.reportFd = descriptorOf( event );
        observer.reportConds = conds;
        return true;
    }
    return false;
}

/** Takes the wakes off the counter when there is one among the events; the caller looks at the signal afterwards. */
static void clearWakes( UNIX_FD_OBSERVER &observer )
{
    for ( int i = 0; i < observer.batchCount; ++i ) {
        if ( observer.batch[static_cast<std::size_t>( i )].data.u64 != WAKER_KEY )
            continue;
        uint64_t wakes;
        [[maybe_unused]] ssize_t count =
            read( pbSignalableDescriptor( observer.signalable.get() ), &wakes, sizeof wakes );
    }
}

static void fetchBatch( UNIX_FD_OBSERVER &observer )
{
    observer.batchNext = 0;
    observer.batchCount = epoll_wait( observer.epoll.get(), observer.batch.data(), BATCH_SIZE, -1 );
    if ( observer.batchCount >= 0 ) {
        clearWakes( observer );
        return;
    }
    observer.batchCount = 0;
    if ( errno != EINTR )
        observer.failed = true;
}

static bool stopped( UNIX_FD_OBSERVER &observer, PB_SIGNAL *optionalAbortSignal )
{
    return observer.failed || ( optionalAbortSignal && pbSignalAsserted( optionalAbortSignal ) );
}

/** Closes what is open and lets the thread in as the one that waits; whether there is a report in the batch already. */
static bool beginWait( UNIX_FD_OBSERVER &observer, bool mayReport )
{
    pb::Lock lock( observer.monitor );
    PB_ASSERT( !observer.waiting );
    closeReportLocked( observer );
    observer.waiter = pthread_self();
    if ( mayReport && openReportLocked( observer ) )
        return true;
    observer.waiting = mayReport;
    return false;
}

/** Whether the wait is over: with a report, or because there may be none any more. */
static bool endWait( UNIX_FD_OBSERVER &observer, bool mayReport )
{
    pb::Lock lock( observer.monitor );
    if ( mayReport && !openReportLocked( observer ) )
        return false;
    observer.waiting = false;
    return true;
}

PB_BOOL unixFdObserverWait( UNIX_FD_OBSERVER *observer, PB_SIGNAL *optionalAbortSignal )
{
    PB_ASSERT( observer );
    followSignal( *observer, optionalAbortSignal );
    bool end = stopped( *observer, optionalAbortSignal );
    bool report = beginWait( *observer, !end );
    while ( !report && !end ) {
        fetchBatch( *observer );
        end = stopped( *observer, optionalAbortSignal );
        report = endWait( *observer, !end ) && !end;
    }
    if ( end )
        observer->batchCount = 0; // a wait that comes later asks the kernel anew
    return report;
}

int unixFdObserverFd( UNIX_FD_OBSERVER *observer )
{
    PB_ASSERT( observer );
    return observer->reportFd;
}

PB_INT unixFdObserverConds( UNIX_FD_OBSERVER *observer )
{
    PB_ASSERT( observer );
    return observer->reportConds;
}

void unixFdObserverUnblock( UNIX_FD_OBSERVER *observer )
{
    PB_ASSERT( observer );
    pb::Lock lock( observer->monitor );
    closeReportLocked( *observer );
}

PB_BOOL unixFdObserverError( UNIX_FD_OBSERVER *observer )
{
    PB_ASSERT( observer );
    return observer->failed;
}
