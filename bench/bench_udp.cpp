/*
 * UDP channels beside the bare system calls and what users would take instead. Each measurement is a process of its own,
 * with a sender or a partner in another one, on loopback with 160-byte datagrams. Subjects take turns, round by round, and
 * medians count; ratios are to the bare calls of the same run.
 *
 *   bench_udp [rounds [capacity|processor|many|roundtrip|sending|opening]]
 */
#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <asio.hpp>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <in/in.h>
#include <malloc.h>
#include <map>
#include <netinet/udp.h>
#include <pb/pb.hpp>
#include <poll.h>
#include <sched.h>
#include <string>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <uv.h>
#include <vector>

namespace {

constexpr std::size_t DATAGRAM = 160;
constexpr int SEGMENTS = 40; // datagrams a call of the overloading sender

int64_t clockOf( clockid_t clock )
{
    timespec time;
    clock_gettime( clock, &time );
    return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

int64_t processorTime()
{
    return clockOf( CLOCK_PROCESS_CPUTIME_ID );
}

int64_t wallTime()
{
    return clockOf( CLOCK_MONOTONIC );
}

void check( bool ok, const char *what )
{
    if ( ok )
        return;
    std::perror( what );
    std::exit( 1 );
}

/** What the processes of a measurement share. */
struct Shared {
    std::atomic<int> port; // of who receives, 0 until it is open
    std::atomic<bool> done;
    std::atomic<int64_t> count; // results
    std::atomic<int64_t> wall;
    std::atomic<int64_t> cpu;
    double value;
};

/** Counts what a receiver gets, once it has warmed up, for a while; then the measurement is done. */
class Meter {
public:
    explicit Meter( Shared &sharedMemory ) : shared( sharedMemory ) {}
    /** One datagram more; false when there are enough. */
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

/** Adds the processor time of the process to the result, from here to the end of the scope. */
class ProcessorTime {
public:
    explicit ProcessorTime( Shared &sharedMemory ) : shared( sharedMemory ) {}
    ~ProcessorTime() { shared.cpu += processorTime() - start; }
    ProcessorTime( const ProcessorTime & ) = delete;
    ProcessorTime &operator=( const ProcessorTime & ) = delete;

private:
    Shared &shared;
    int64_t start = processorTime();
};

sockaddr_in loopback( int port )
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl( INADDR_LOOPBACK );
    address.sin_port = htons( static_cast<uint16_t>( port ) );
    return address;
}

/** A blocking socket on loopback, and its port. */
int bareSocket( int &port )
{
    int fd = socket( AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0 );
    sockaddr_in address = loopback( 0 );
    socklen_t length = sizeof address;
    check( fd >= 0 && bind( fd, reinterpret_cast<sockaddr *>( &address ), length ) == 0, "bind" );
    check( getsockname( fd, reinterpret_cast<sockaddr *>( &address ), &length ) == 0, "getsockname" );
    port = ntohs( address.sin_port );
    return fd;
}

// ---- in: a stack on loopback, and channels

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
    pb::Ref<IN_UDP_CHANNEL> channel()
    {
        auto chan = pb::adopt( inUdpChannelTryCreate( stack.get(), nullptr, nullptr, nullptr, -1, 0, nullptr ) );
        check( bool( chan ), "inUdpChannelTryCreate" );
        return chan;
    }
    static int portOf( IN_UDP_CHANNEL *chan )
    {
        return int( inUdpAddressPort( pb::adopt( inUdpChannelLocalAddress( chan ) ).get() ) );
    }
    static pb::Ref<IN_UDP_ADDRESS> peer( int port )
    {
        return pb::adopt(
            inUdpAddressCreate( pb::adopt( inAddressTryCreateFromCstr( "127.0.0.1", -1 ) ).get(), port ) );
    }
    pb::Ref<IN_STACK> stack;
};

/** Receives as a user with a thread of its own does: takes what is there, then waits on the alert. */
class Receiver {
public:
    explicit Receiver( IN_UDP_CHANNEL *channel ) : chan( channel )
    {
        inUdpChannelReceiveAddAlertable( chan, alertable.get() );
    }
    pb::Ref<IN_UDP_PACKET> next()
    {
        for ( ;; ) {
            if ( auto pkt = pb::adopt( inUdpChannelReceive( chan ) ) )
                return pkt;
            pbBarrierPass( barrier.get() );
            pbBarrierBlock( barrier.get() );
        }
    }

private:
    IN_UDP_CHANNEL *chan;
    pb::Ref<PB_BARRIER> barrier = pb::adopt( pbBarrierCreate( 1 ) );
    pb::Ref<PB_ALERTABLE> alertable = pb::adopt( pbAlertableCreateBarrier( barrier.get() ) );
};

/** Receives as a user with a loop of his own does: takes what is there, then polls the descriptor of an alertable. */
class Poller {
public:
    explicit Poller( IN_UDP_CHANNEL *channel ) : chan( channel )
    {
        check( bool( alertable ), "pbAlertableTryCreateDescriptor" );
        polled = { pbAlertableDescriptor( alertable.get() ), POLLIN, 0 };
        inUdpChannelReceiveAddAlertable( chan, alertable.get() );
    }
    pb::Ref<IN_UDP_PACKET> next()
    {
        for ( ;; ) {
            if ( auto pkt = pb::adopt( inUdpChannelReceive( chan ) ) )
                return pkt;
            check( poll( &polled, 1, -1 ) == 1, "poll" );
        }
    }

private:
    IN_UDP_CHANNEL *chan;
    pb::Ref<PB_ALERTABLE> alertable = pb::adopt( pbAlertableTryCreateDescriptor() );
    pollfd polled{};
};

void receiveIn( Shared &shared, int otherChannels )
{
    Library library;
    std::vector<pb::Ref<IN_UDP_CHANNEL>> others;
    for ( int i = 0; i < otherChannels; ++i )
        others.push_back( library.channel() );
    pb::Ref<IN_UDP_CHANNEL> chan = library.channel();
    Receiver receiver( chan.get() );
    Meter meter( shared );
    shared.port = Library::portOf( chan.get() );
    do
        (void)receiver.next();
    while ( meter.count() );
}

/** Receives as a user does who hands over a function: it is called on the engine's thread when datagrams begin to wait. */
class Handler {
public:
    using Handle = bool( IN_UDP_CHANNEL *chan, IN_UDP_PACKET *pkt ); // false when that was the last one

    static void run(
        IN_UDP_CHANNEL *channel, const std::function<Handle> &function, const std::function<void()> &ready )
    {
        chan = channel;
        handle = &function;
        pb::Ref<PB_BARRIER> done = pb::adopt( pbBarrierCreate( 1 ) );
        pb::Ref<PB_ALERTABLE> alertable = pb::adopt( pbAlertableCreate( take, pb::obj( done.get() ) ) );
        inUdpChannelReceiveAddAlertable( chan, alertable.get() );
        ready();
        pbBarrierPass( done.get() );
        inUdpChannelReceiveDelAlertable( chan, alertable.get() );
    }

private:
    static void take( PB_OBJ *done )
    {
        while ( auto pkt = pb::adopt( inUdpChannelReceive( chan ) ) )
            if ( !( *handle )( chan, pkt.get() ) )
                return pbBarrierUnblock( pbBarrierFrom( done ) );
    }
    static inline IN_UDP_CHANNEL *chan;
    static inline const std::function<Handle> *handle;
};

void receiveInFunction( Shared &shared, int )
{
    Library library;
    pb::Ref<IN_UDP_CHANNEL> chan = library.channel();
    Meter meter( shared );
    Handler::run(
        chan.get(), [&]( IN_UDP_CHANNEL *, IN_UDP_PACKET * ) { return meter.count(); },
        [&] { shared.port = Library::portOf( chan.get() ); } );
}

// ---- the others

void receiveBare( Shared &shared, int )
{
    int port;
    int fd = bareSocket( port );
    Meter meter( shared );
    shared.port = port;
    std::array<char, 65535> buffer;
    sockaddr_in6 from;
    socklen_t length;
    do {
        length = sizeof from;
        check( recvfrom( fd, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr *>( &from ), &length ) >= 0,
            "recvfrom" );
    } while ( meter.count() );
}

void receiveAsio( Shared &shared, int )
{
    asio::io_context context( 1 );
    asio::ip::udp::socket socket( context, { asio::ip::make_address( "127.0.0.1" ), 0 } );
    Meter meter( shared );
    shared.port = socket.local_endpoint().port();
    std::array<char, 65535> buffer;
    asio::ip::udp::endpoint from;
    std::function<void()> receive = [&] {
        socket.async_receive_from( asio::buffer( buffer ), from, [&]( const std::error_code &, std::size_t ) {
            if ( meter.count() )
                receive();
        } );
    };
    receive();
    context.run();
}

template <unsigned Flags>
void receiveUv( Shared &shared, int )
{
    uv_loop_t loop;
    uv_udp_t handle;
    uv_loop_init( &loop );
    uv_udp_init_ex( &loop, &handle, AF_INET | Flags );
    sockaddr_in address = loopback( 0 );
    uv_udp_bind( &handle, reinterpret_cast<sockaddr *>( &address ), 0 );
    int length = sizeof address;
    uv_udp_getsockname( &handle, reinterpret_cast<sockaddr *>( &address ), &length );
    Meter meter( shared );
    handle.data = &meter;
    shared.port = ntohs( address.sin_port );
    auto allocate = []( uv_handle_t *, std::size_t, uv_buf_t *buffer ) {
        static std::array<char, 20 * 65536> memory; // 20 is what the library takes at once
        *buffer = uv_buf_init( memory.data(), memory.size() );
    };
    uv_udp_recv_start(
        &handle, allocate, []( uv_udp_t *udp, ssize_t count, const uv_buf_t *, const sockaddr *from, unsigned ) {
            if ( count > 0 && from && !static_cast<Meter *>( udp->data )->count() )
                uv_stop( udp->loop );
        } );
    uv_run( &loop, UV_RUN_DEFAULT );
}

// ---- loads

/** Segmentation offload: 40 datagrams a call, as fast as it goes. */
void overload( Shared &shared, int fd, const sockaddr_in &to )
{
    int segment = DATAGRAM;
    check( setsockopt( fd, SOL_UDP, UDP_SEGMENT, &segment, sizeof segment ) == 0, "UDP_SEGMENT" );
    std::array<char, DATAGRAM * SEGMENTS> bytes{};
    while ( !shared.done )
        (void)sendto( fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>( &to ), sizeof to );
}

/** 100,000 a second: every `tick` ns as many as are due. */
void paced( Shared &shared, int fd, const sockaddr_in &to, int64_t tick )
{
    std::array<char, DATAGRAM> bytes{};
    int64_t due = wallTime();
    while ( !shared.done ) {
        for ( due += tick; wallTime() < due; )
            if ( tick >= 1'000'000 )
                usleep( 100 );
        for ( int64_t sent = 0; sent < tick / 10'000; ++sent )
            (void)sendto( fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>( &to ), sizeof to );
    }
}

enum class Load { overload, ticks, smooth };

void sendLoad( Shared &shared, Load load )
{
    while ( shared.port == 0 )
        usleep( 1000 );
    int port;
    int fd = bareSocket( port );
    sockaddr_in to = loopback( shared.port );
    if ( load == Load::overload )
        overload( shared, fd, to );
    else
        paced( shared, fd, to, load == Load::ticks ? 1'000'000 : 10'000 );
}

// ---- processes

/** The shared memory, cleared for the next measurement. */
Shared &freshShared()
{
    static void *memory = mmap( nullptr, sizeof( Shared ), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0 );
    return *new ( memory ) Shared{};
}

pid_t process( const std::function<void()> &body )
{
    pid_t child = fork();
    check( child >= 0, "fork" );
    if ( child == 0 ) {
        body();
        _exit( 0 );
    }
    return child;
}

void await( pid_t child )
{
    int status;
    check( waitpid( child, &status, 0 ) == child && status == 0, "a measuring process" );
}

/** Runs the body in a process of its own and hands back the value that it gives. */
double valueOf( const std::function<double()> &body )
{
    Shared &shared = freshShared();
    await( process( [&] { shared.value = body(); } ) );
    return shared.value;
}

struct Receive {
    const char *name;
    void ( *receive )( Shared &shared, int otherChannels );
    int otherChannels = 0;
};

const std::vector<Receive> receives{ { "bare", receiveBare }, { "in", receiveIn },
    { "in, function", receiveInFunction }, { "asio", receiveAsio }, { "libuv", receiveUv<0> },
    { "libuv, multi", receiveUv<UV_UDP_RECVMMSG> } };

/** What the subject gets under the load: datagrams a second, or the processor time of each in ns. */
double measureReceive( const Receive &subject, Load load, bool perSecond )
{
    Shared &shared = freshShared();
    pid_t sender = process( [&] { sendLoad( shared, load ); } );
    await( process( [&] { subject.receive( shared, subject.otherChannels ); } ) );
    await( sender );
    return perSecond ? double( shared.count ) * 1e9 / double( shared.wall )
                     : double( shared.cpu ) / double( shared.count );
}

// ---- round trips: who asks and who answers are two processes on one core

constexpr int TRIPS = 50'000;

void pinToOneCore()
{
    cpu_set_t cores;
    CPU_ZERO( &cores );
    CPU_SET( 0, &cores );
    check( sched_setaffinity( 0, sizeof cores, &cores ) == 0, "sched_setaffinity" );
}

void answerBare( Shared &shared )
{
    int port;
    int fd = bareSocket( port );
    shared.port = port;
    std::array<char, DATAGRAM> bytes;
    sockaddr_in from;
    ProcessorTime time( shared );
    for ( int i = 0; i < TRIPS; ++i ) {
        socklen_t length = sizeof from;
        ssize_t count = recvfrom( fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>( &from ), &length );
        (void)sendto( fd, bytes.data(), std::size_t( count ), 0, reinterpret_cast<sockaddr *>( &from ), length );
    }
}

void askBare( Shared &shared )
{
    int own;
    int fd = bareSocket( own );
    sockaddr_in to = loopback( shared.port );
    std::array<char, DATAGRAM> bytes{};
    ProcessorTime time( shared );
    for ( int i = 0; i < TRIPS; ++i ) {
        (void)sendto( fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>( &to ), sizeof to );
        check( recv( fd, bytes.data(), bytes.size(), 0 ) > 0, "recv" );
    }
}

template <class From>
void answerIn( Shared &shared )
{
    Library library;
    auto chan = library.channel();
    From receiver( chan.get() );
    shared.port = Library::portOf( chan.get() );
    ProcessorTime time( shared );
    for ( int i = 0; i < TRIPS; ++i )
        inUdpChannelSend( chan.get(), receiver.next().get() );
}

template <class From>
void askIn( Shared &shared )
{
    Library library;
    auto chan = library.channel();
    From receiver( chan.get() );
    auto to = Library::peer( shared.port );
    std::array<char, DATAGRAM> bytes{};
    ProcessorTime time( shared );
    for ( int i = 0; i < TRIPS; ++i ) {
        inUdpChannelSendBytes( chan.get(), to.get(), bytes.data(), bytes.size() );
        (void)receiver.next();
    }
}

void answerInFunction( Shared &shared )
{
    Library library;
    auto chan = library.channel();
    int left = TRIPS;
    ProcessorTime time( shared );
    Handler::run(
        chan.get(),
        [&]( IN_UDP_CHANNEL *channel, IN_UDP_PACKET *pkt ) {
            inUdpChannelSend( channel, pkt );
            return --left > 0;
        },
        [&] { shared.port = Library::portOf( chan.get() ); } );
}

void askInFunction( Shared &shared )
{
    Library library;
    auto chan = library.channel();
    auto to = Library::peer( shared.port );
    std::array<char, DATAGRAM> bytes{};
    auto ask = [&] { inUdpChannelSendBytes( chan.get(), to.get(), bytes.data(), bytes.size() ); };
    int left = TRIPS;
    ProcessorTime time( shared );
    Handler::run(
        chan.get(),
        [&]( IN_UDP_CHANNEL *, IN_UDP_PACKET * ) {
            if ( --left > 0 )
                ask();
            return left > 0;
        },
        ask );
}

struct Partners {
    const char *name;
    void ( *answer )( Shared &shared );
    void ( *ask )( Shared &shared );
};

const std::vector<Partners> partners{ { "bare", answerBare, askBare }, { "in", answerIn<Receiver>, askIn<Receiver> },
    { "in, function", answerInFunction, askInFunction }, { "in, descriptor", answerIn<Poller>, askIn<Poller> } };

double roundTripTime( const Partners &subject )
{
    Shared &shared = freshShared();
    pid_t answering = process( [&] {
        pinToOneCore();
        subject.answer( shared );
    } );
    await( process( [&] {
        pinToOneCore();
        while ( shared.port == 0 )
            usleep( 1000 );
        subject.ask( shared );
    } ) );
    await( answering );
    return double( shared.cpu ) / TRIPS;
}

// ---- sending, to a socket that nobody reads

constexpr int SENDS = 300'000;

template <class Send>
double sendRate( Send send )
{
    int64_t start = processorTime();
    for ( int i = 0; i < SENDS; ++i )
        send();
    return double( SENDS ) * 1e9 / double( processorTime() - start );
}

double sendBare()
{
    int port;
    int own;
    bareSocket( port );
    int fd = bareSocket( own );
    sockaddr_in to = loopback( port );
    std::array<char, DATAGRAM> bytes{};
    return sendRate(
        [&] { (void)sendto( fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>( &to ), sizeof to ); } );
}

double sendIn()
{
    int port;
    bareSocket( port );
    Library library;
    auto chan = library.channel();
    auto to = Library::peer( port );
    std::array<char, DATAGRAM> bytes{};
    return sendRate( [&] { inUdpChannelSendBytes( chan.get(), to.get(), bytes.data(), bytes.size() ); } );
}

double sendAsio()
{
    int port;
    bareSocket( port );
    asio::io_context context( 1 );
    asio::ip::udp::socket socket( context, { asio::ip::make_address( "127.0.0.1" ), 0 } );
    asio::ip::udp::endpoint to( asio::ip::make_address( "127.0.0.1" ), static_cast<uint16_t>( port ) );
    std::array<char, DATAGRAM> bytes{};
    return sendRate( [&] { socket.send_to( asio::buffer( bytes ), to ); } );
}

// ---- opening many

constexpr int CHANNELS = 16'000;

/** Bare; with options, all that a channel's socket is opened with. */
template <bool Options>
double openBare()
{
    int64_t start = processorTime();
    int set = epoll_create1( EPOLL_CLOEXEC );
    for ( int i = 0; i < CHANNELS; ++i ) {
        int fd = socket( AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0 );
        sockaddr_in address = loopback( 0 );
        socklen_t length = sizeof address;
        int on = 1;
        int off = 0;
        if ( Options )
            check( setsockopt( fd, SOL_SOCKET, SO_BROADCAST, &on, sizeof on ) == 0 &&
                       setsockopt( fd, SOL_SOCKET, SO_REUSEADDR, &off, sizeof off ) == 0,
                "setsockopt" );
        check( fd >= 0 && bind( fd, reinterpret_cast<sockaddr *>( &address ), length ) == 0, "bind" );
        if ( Options )
            check( getsockname( fd, reinterpret_cast<sockaddr *>( &address ), &length ) == 0, "getsockname" );
        epoll_event event{ EPOLLIN, { .fd = fd } };
        check( epoll_ctl( set, EPOLL_CTL_ADD, fd, &event ) == 0, "epoll_ctl" );
    }
    return double( processorTime() - start ) / CHANNELS;
}

double openIn()
{
    Library library;
    std::vector<pb::Ref<IN_UDP_CHANNEL>> channels;
    channels.reserve( CHANNELS );
    int64_t start = processorTime();
    for ( int i = 0; i < CHANNELS; ++i )
        channels.push_back( library.channel() );
    return double( processorTime() - start ) / CHANNELS;
}

double heapPerChannel()
{
    Library library;
    std::vector<pb::Ref<IN_UDP_CHANNEL>> channels;
    channels.reserve( 16'384 );
    std::size_t before = mallinfo2().uordblks;
    for ( int i = 0; i < 16'384; ++i )
        channels.push_back( library.channel() );
    return double( mallinfo2().uordblks - before ) / 16'384;
}

struct Local {
    const char *name;
    double ( *measure )();
};

const std::vector<Local> senders{ { "bare", sendBare }, { "in", sendIn }, { "asio", sendAsio } };
const std::vector<Local> openers{ { "bare", openBare<false> }, { "bare, options", openBare<true> }, { "in", openIn } };

double measureLocal( const Local &subject )
{
    return valueOf( subject.measure );
}

// ---- rounds and medians

/** Runs the subjects in turn and prints the medians, with their ratios to the first one. */
template <class Subject>
void compare( const char *title, const char *aim, int rounds, const std::vector<Subject> &subjects,
    const std::function<double( const Subject & )> &measure )
{
    std::vector<std::vector<double>> values( subjects.size() );
    for ( int round = 0; round < rounds; ++round )
        for ( std::size_t i = 0; i < subjects.size(); ++i )
            values[i].push_back( measure( subjects[i] ) );
    std::printf( "\n%s; aim of in: %s\n", title, aim );
    double first = 0;
    for ( std::size_t i = 0; i < subjects.size(); ++i ) {
        std::sort( values[i].begin(), values[i].end() );
        double median = values[i][values[i].size() / 2];
        first = i == 0 ? median : first;
        std::printf( "  %-14s %14.1f   ratio %.2f\n", subjects[i].name, median, median / first );
    }
    std::fflush( stdout );
}

void capacity( int rounds )
{
    compare<Receive>( "capacity, datagrams a second that the consumer gets", "at least 1.1, reach for 1.25", rounds,
        receives, []( const Receive &subject ) { return measureReceive( subject, Load::overload, true ); } );
}

void processorTimes( int rounds )
{
    compare<Receive>( "processor time, ns a datagram, 100,000 a second in ticks of 1 ms", "at most 2.0", rounds,
        receives, []( const Receive &subject ) { return measureReceive( subject, Load::ticks, false ); } );
    compare<Receive>( "processor time, ns a datagram, one every 10 us", "none", rounds, receives,
        []( const Receive &subject ) { return measureReceive( subject, Load::smooth, false ); } );
}

void manyOpen( int rounds )
{
    const std::vector<Receive> subjects{ { "1 open", receiveIn, 0 }, { "16,384 open", receiveIn, 16'383 } };
    compare<Receive>( "processor time, ns a datagram, one channel of many in use", "at most 1.1", rounds, subjects,
        []( const Receive &subject ) { return measureReceive( subject, Load::ticks, false ); } );
}

void roundTrip( int rounds )
{
    compare<Partners>(
        "round trip, ns of processor time, both ends on one core", "at most 1.6", rounds, partners, roundTripTime );
}

void sending( int rounds )
{
    compare<Local>( "sending, datagrams a second of processor time", "at least 0.95", rounds, senders, measureLocal );
}

void opening( int rounds )
{
    compare<Local>(
        "opening, ns of processor time a channel, 16,000 of them", "at most 1.5", rounds, openers, measureLocal );
    std::printf( "heap a channel with 16,384 open, bytes: %.0f; aim: at most 1536\n", valueOf( heapPerChannel ) );
}

struct Measurement {
    std::string name;
    void ( *run )( int rounds );
};

const Measurement measurements[] = { { "capacity", capacity }, { "processor", processorTimes }, { "many", manyOpen },
    { "roundtrip", roundTrip }, { "sending", sending }, { "opening", opening } };

void raiseDescriptorLimit()
{
    rlimit limit;
    getrlimit( RLIMIT_NOFILE, &limit );
    limit.rlim_cur = limit.rlim_max;
    setrlimit( RLIMIT_NOFILE, &limit );
}

} // namespace

int main( int argc, char **argv )
{
    int rounds = argc > 1 ? std::max( 1, std::atoi( argv[1] ) ) : 5;
    raiseDescriptorLimit();
    for ( const Measurement &measurement : measurements )
        if ( argc < 3 || measurement.name == argv[2] )
            measurement.run( rounds );
}
