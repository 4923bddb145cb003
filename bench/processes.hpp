/*
 * Measurements of which each is a process of its own, with a partner in another one, on loopback. Subjects take turns, round
 * by round, and medians count; ratios are to the first subject of the same run, which is the bare system calls.
 *
 * Here is what such programs share: clocks, the memory between the processes, pacing, a started library, the ways in which
 * a user of it waits, and the rounds.
 */
#ifndef BENCH_PROCESSES_HPP
#define BENCH_PROCESSES_HPP

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <in/in.h>
#include <malloc.h>
#include <net/if.h>
#include <pb/pb.hpp>
#include <poll.h>
#include <sched.h>
#include <span>
#include <string>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <vector>

namespace bench {

inline int64_t clockOf( clockid_t clock )
{
    timespec time;
    clock_gettime( clock, &time );
    return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

inline int64_t processorTime()
{
    return clockOf( CLOCK_PROCESS_CPUTIME_ID );
}

inline int64_t wallTime()
{
    return clockOf( CLOCK_MONOTONIC );
}

inline void check( bool ok, const char *what )
{
    if ( ok )
        return;
    std::perror( what );
    std::exit( 1 );
}

/** What the processes of a measurement share. */
struct Shared {
    std::atomic<int> port;   // of who opens first, 0 until it is open
    std::atomic<bool> ready; // to be loaded
    std::atomic<bool> done;
    std::atomic<int64_t> count; // results
    std::atomic<int64_t> wall;
    std::atomic<int64_t> cpu;
    double value;
    int channels;                // of many that are in use
    std::array<int, 3000> ports; // theirs
};

/** Counts what a receiver gets, once it has warmed up, for a while; then the measurement is done. */
class Meter {
public:
    explicit Meter( Shared &sharedMemory ) : shared( sharedMemory ) {}
    /** One message more; false when there are enough. */
    bool count()
    {
        if ( --warmUp == 0 )
            begin();
        // the clock is read now and then only
        return warmUp > 0 || ( ++received & 255 ) != 0 || wallTime() - wall < DURATION || end();
    }

private:
    static constexpr int64_t DURATION = 1'000'000'000;

    void begin()
    {
        wall = wallTime();
        cpu = processorTime();
    }
    bool end()
    {
        shared.count = received;
        shared.wall = wallTime() - wall;
        shared.cpu = processorTime() - cpu;
        shared.done = true;
        return false;
    }

    Shared &shared;
    int64_t warmUp = 20'000;
    int64_t received = 0;
    int64_t wall = 0;
    int64_t cpu = 0;
};

/** Adds the processor time of the process to a result, from here to the end of the scope. */
class ProcessorTime {
public:
    explicit ProcessorTime( std::atomic<int64_t> &itsResult ) : result( itsResult ) {}
    ~ProcessorTime() { result += processorTime() - start; }
    ProcessorTime( const ProcessorTime & ) = delete;
    ProcessorTime &operator=( const ProcessorTime & ) = delete;

private:
    std::atomic<int64_t> &result;
    int64_t start = processorTime();
};

/** Until the measurement is done: every `tick` ns as many sends as are due, one each `interval` ns. */
template <class Send>
void paced( const Shared &shared, int64_t interval, int64_t tick, Send send )
{
    for ( int64_t due = wallTime(); !shared.done; ) {
        for ( due += tick; wallTime() < due; )
            if ( tick >= 1'000'000 )
                usleep( 100 );
        for ( int64_t sent = 0; sent < tick / interval; ++sent )
            send();
    }
}

// ---- bare sockets

inline sockaddr_in loopback( int port )
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl( INADDR_LOOPBACK );
    address.sin_port = htons( static_cast<uint16_t>( port ) );
    return address;
}

/** A blocking socket of the type on loopback, and its port. */
inline int bareSocket( int type, int &port )
{
    int fd = socket( AF_INET, type | SOCK_CLOEXEC, 0 );
    sockaddr_in address = loopback( 0 );
    socklen_t length = sizeof address;
    check( fd >= 0 && bind( fd, reinterpret_cast<sockaddr *>( &address ), length ) == 0, "bind" );
    check( getsockname( fd, reinterpret_cast<sockaddr *>( &address ), &length ) == 0, "getsockname" );
    port = ntohs( address.sin_port );
    return fd;
}

/** Descriptors that are polled together. */
class EpollLoop {
public:
    void add( int fd, int number )
    {
        epoll_event event{ EPOLLIN, { .fd = number } };
        check( epoll_ctl( set, EPOLL_CTL_ADD, fd, &event ) == 0, "epoll_ctl" );
    }
    /** Calls the function with the numbers of those that are ready, until it gives false. */
    template <class Serve>
    void run( Serve serve )
    {
        std::array<epoll_event, 64> events;
        for ( ;; ) {
            int count = epoll_wait( set, events.data(), int( events.size() ), -1 );
            for ( int i = 0; i < count; ++i )
                if ( !serve( events[static_cast<std::size_t>( i )].data.fd ) )
                    return;
        }
    }

private:
    int set = epoll_create1( EPOLL_CLOEXEC );
};

// ---- in: a stack on loopback, and the ways to wait

struct Library {
    Library()
    {
        if ( !pbRuntimeTryStart( "in", -1 ) )
            std::exit( 1 );
        pb::Ref<IN_OPTIONS> options = pb::adopt( inOptionsCreate() );
        inOptionsSetFlags( options.handle(), IN_FLAG_LOOPBACK_ONLY );
        inOptionsSetAddressVersion( options.handle(), IN_ADDRESS_VERSION_4 );
        stack = pb::adopt( inStackCreate( options.get(), nullptr ) );
        while ( !inStackHasAddress( stack.get() ) )
            usleep( 1000 );
    }
    static pb::Ref<IN_ADDRESS> address() { return pb::adopt( inAddressTryCreateFromCstr( "127.0.0.1", -1 ) ); }
    pb::Ref<IN_STACK> stack;
};

/*
 * A way runs a step whenever an alert is set, until the step gives false. The step takes all that is there. `add` adds the
 * alertable to the alert.
 */
using Step = std::function<bool()>;
using AddAlertable = std::function<void( PB_ALERTABLE * )>;

/** As a user does who has a thread that waits. */
struct WaitingThread {
    static void run( const AddAlertable &add, const Step &step )
    {
        pb::Ref<PB_BARRIER> barrier = pb::adopt( pbBarrierCreate( 1 ) );
        add( pb::adopt( pbAlertableCreateBarrier( barrier.get() ) ).get() );
        while ( step() ) {
            pbBarrierPass( barrier.get() );
            pbBarrierBlock( barrier.get() );
        }
    }
};

/** As a user does who has a loop that polls descriptors. */
struct PolledDescriptor {
    static void run( const AddAlertable &add, const Step &step )
    {
        pb::Ref<PB_ALERTABLE> alertable = pb::adopt( pbAlertableTryCreateDescriptor() );
        check( bool( alertable ), "pbAlertableTryCreateDescriptor" );
        add( alertable.get() );
        pollfd polled{ pbAlertableDescriptor( alertable.get() ), POLLIN, 0 };
        while ( step() )
            check( poll( &polled, 1, -1 ) == 1, "poll" );
    }
};

/** As a user does who hands over a function, which is called on the engine's thread. One at a time in a process. */
class Handler {
public:
    using Handle = bool( PB_OBJ *object ); // false when that was the last call

    explicit Handler( std::function<Handle> function )
    {
        handle = std::move( function );
        done = pb::adopt( pbBarrierCreate( 1 ) );
    }
    /** An alertable or a signalable that calls the function with the object. */
    static pb::Ref<PB_ALERTABLE> alertable( PB_OBJ *object ) { return pb::adopt( pbAlertableCreate( call, object ) ); }
    static pb::Ref<PB_SIGNALABLE> signalable( PB_OBJ *object )
    {
        return pb::adopt( pbSignalableCreate( call, object ) );
    }
    void pass() const { pbBarrierPass( done.get() ); }

private:
    static void call( PB_OBJ *object )
    {
        if ( finished || handle( object ) )
            return;
        finished = true;
        pbBarrierUnblock( done.get() );
    }
    static inline std::function<Handle> handle;
    static inline std::atomic<bool> finished;
    static inline pb::Ref<PB_BARRIER> done;
};

struct Function {
    static void run( const AddAlertable &add, const Step &step )
    {
        Handler handler( [&]( PB_OBJ * ) { return step(); } );
        add( Handler::alertable( nullptr ).get() );
        handler.pass();
    }
};

// ---- processes

/** The shared memory, cleared for the next measurement. */
inline Shared &freshShared()
{
    static void *memory = mmap( nullptr, sizeof( Shared ), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0 );
    return *new ( memory ) Shared{};
}

inline pid_t process( const std::function<void()> &body )
{
    pid_t child = fork();
    check( child >= 0, "fork" );
    if ( child == 0 ) {
        body();
        _exit( 0 );
    }
    return child;
}

inline void await( pid_t child )
{
    int status;
    check( waitpid( child, &status, 0 ) == child && status == 0, "a measuring process" );
}

/** Runs the body in a process of its own and hands back the value that it gives. */
inline double valueOf( const std::function<double()> &body )
{
    Shared &shared = freshShared();
    await( process( [&] { shared.value = body(); } ) );
    return shared.value;
}

/** Keeps the process, with the threads that it starts from now on, on one core. */
inline void pinTo( int core )
{
    cpu_set_t cores;
    CPU_ZERO( &cores );
    CPU_SET( static_cast<std::size_t>( core ), &cores );
    check( sched_setaffinity( 0, sizeof cores, &cores ) == 0, "sched_setaffinity" );
}

inline void awaitPort( const Shared &shared )
{
    while ( shared.port == 0 )
        usleep( 1000 );
}

/**
 * Moves the process into a network namespace of its own, where it may: what lingers of earlier connections then counts for
 * nothing.
 */
inline void moveToOwnNetwork()
{
    if ( unshare( CLONE_NEWNET ) != 0 )
        return;
    int fd = socket( AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0 );
    ifreq request{ .ifr_ifrn = { "lo" }, .ifr_ifru = {} };
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    check( fd >= 0 && ioctl( fd, SIOCSIFFLAGS, &request ) == 0, "SIOCSIFFLAGS" );
    close( fd );
}

/** Two processes; the first one opens a port and tells it, the second one begins then. */
struct Ends {
    const char *name;
    void ( *first )( Shared &shared );
    void ( *second )( Shared &shared );
};

/** Runs both to their end, each on its core, in a network of their own. */
inline void run( const Ends &ends, Shared &shared, int firstCore, int secondCore )
{
    await( process( [&] {
        moveToOwnNetwork();
        pid_t first = process( [&] {
            pinTo( firstCore );
            ends.first( shared );
        } );
        await( process( [&] {
            pinTo( secondCore );
            awaitPort( shared );
            ends.second( shared );
        } ) );
        await( first );
    } ) );
}

/** Bytes that the process has allocated. */
inline std::size_t heap()
{
    return mallinfo2().uordblks;
}

/** One process that hands back a value. */
struct Local {
    const char *name;
    double ( *measure )();
};

inline double measureLocal( const Local &subject )
{
    return valueOf( subject.measure );
}

// ---- rounds and medians

inline double medianOf( std::vector<double> values )
{
    std::sort( values.begin(), values.end() );
    return values.empty() ? 0 : values[values.size() / 2];
}

/** The only subject to measure, for a profile of it; null for all. */
inline const char *onlySubject = nullptr;

/** Runs the subjects in turn and prints the medians, with their ratios to the first one. */
template <class Subject>
void compare( const char *title, const char *aim, int rounds, std::vector<Subject> subjects,
    const std::function<double( const Subject & )> &measure )
{
    if ( onlySubject )
        std::erase_if( subjects, []( const Subject &subject ) { return std::string( onlySubject ) != subject.name; } );
    std::vector<std::vector<double>> values( subjects.size() );
    for ( int round = 0; round < rounds; ++round )
        for ( std::size_t i = 0; i < subjects.size(); ++i )
            values[i].push_back( measure( subjects[i] ) );
    std::printf( "\n%s; aim of in: %s\n", title, aim );
    double first = 0;
    for ( std::size_t i = 0; i < subjects.size(); ++i ) {
        double median = medianOf( values[i] );
        first = i == 0 ? median : first;
        std::printf( "  %-14s %14.1f   ratio %.2f\n", subjects[i].name, median, median / first );
    }
    std::fflush( stdout );
}

struct Measurement {
    std::string name;
    void ( *run )( int rounds );
};

inline void raiseDescriptorLimit()
{
    rlimit limit;
    getrlimit( RLIMIT_NOFILE, &limit );
    limit.rlim_cur = limit.rlim_max;
    setrlimit( RLIMIT_NOFILE, &limit );
}

/** The main function of such a program. Its arguments are the rounds, the only measurement, and its only subject. */
inline int runMeasurements( int argc, char **argv, std::span<const Measurement> measurements )
{
    int rounds = argc > 1 ? std::max( 1, std::atoi( argv[1] ) ) : 5;
    onlySubject = argc > 3 ? argv[3] : nullptr;
    raiseDescriptorLimit();
    for ( const Measurement &measurement : measurements )
        if ( argc < 3 || measurement.name == argv[2] )
            measurement.run( rounds );
    return 0;
}

} // namespace bench

#endif
