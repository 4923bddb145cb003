/*
 * Threads. What the new thread needs travels in a Start that it owns and destroys before it ends; the object is not
 * touched by the thread itself. `joining` is held for the whole wait in pbThreadJoin: whoever joins second waits for the
 * first.
 */
#include <csignal>
#include <memory>
#include <pb/pb.hpp>
#include <sys/resource.h>

struct PB_THREAD : PB_OBJ {
    ~PB_THREAD() { PB_ASSERT( !running ); }

    pb::Monitor joining{ pb::Rank::thread };
    pthread_t id PB_GUARDED_BY( joining ) = {};
    bool running PB_GUARDED_BY( joining ) = false; // until it is joined or detached
};

namespace {

constexpr std::size_t kernelNameMax = 15;

/** Changed in a forked child before anything else runs there. */
constinit std::atomic<PB_INT> forks = 0;
[[maybe_unused]] const int forksAreCounted = pthread_atfork( nullptr, nullptr, [] { ++forks; } );

struct Start {
    const PB_THREAD *thread;
    std::string name;
    PB_THREAD_FUNC *func;
    pb::Ref<PB_OBJ> argument;
    PB_INT option;
};

/** The running thread, so that a join of oneself is noticed; never dereferenced. */
constinit thread_local const PB_THREAD *ownThread = nullptr;

/**
 * Signals that a thread of the library takes like any other: those that it causes itself, which the host's crash reporter
 * handles, and the profiler's.
 */
constexpr int openSignals[] = { SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS, SIGPROF };

/** All other signals are blocked while this lives, for threads that are started meanwhile: they inherit it. */
class SignalsBlocked {
public:
    SignalsBlocked()
    {
        sigset_t blocked;
        sigfillset( &blocked );
        for ( int open : openSignals )
            sigdelset( &blocked, open );
        pthread_sigmask( SIG_SETMASK, &blocked, &before );
    }
    ~SignalsBlocked() { pthread_sigmask( SIG_SETMASK, &before, nullptr ); }
    SignalsBlocked( const SignalsBlocked & ) = delete;
    SignalsBlocked &operator=( const SignalsBlocked & ) = delete;

private:
    sigset_t before;
};

/**
 * On Linux the nice value belongs to the thread; 0 means the calling one. When the kernel refuses, the value stays as
 * it was. The steps upwards are small: a thread that hands over work should run soon, but one far above the threads
 * that it wakes interrupts them for every piece, and all get less done (bench_udp shows it).
 */
void applyOption( PB_INT option )
{
    constexpr int niceOf[] = { 10, 5, 0, -2, -5 };
    if ( niceOf[option] )
        setpriority( PRIO_PROCESS, 0, getpriority( PRIO_PROCESS, 0 ) + niceOf[option] );
}

/** The argument's reference goes with `start`, so before anybody's join returns. */
void *threadMain( void *owned ) noexcept
{
    std::unique_ptr<Start> start( static_cast<Start *>( owned ) );
    ownThread = start->thread;
    pthread_setname_np( pthread_self(), start->name.c_str() );
    applyOption( start->option );
    start->func( start->argument.get() );
    return nullptr;
}

bool trySpawn( PB_THREAD &thread, std::unique_ptr<Start> start )
{
    pb::Lock lock( thread.joining );
    SignalsBlocked blocked;
    thread.running = pthread_create( &thread.id, nullptr, threadMain, start.get() ) == 0;
    if ( thread.running )
        (void)start.release(); // the thread's now
    return thread.running;
}

} // namespace

PB_INT pbForkCount( void )
{
    return forks.load( std::memory_order_relaxed );
}

PB_CLASS_DEFINE( PB_THREAD, pbThread, pb::destroy<PB_THREAD>, nullptr, nullptr );

PB_THREAD *pbThreadTrySpawnCstr(
    const char *name, PB_INT length, PB_THREAD_FUNC *func, PB_OBJ *optionalArgument, PB_INT option )
{
    PB_ASSERT( name );
    PB_ASSERT( length >= -1 );
    PB_ASSERT( func );
    PB_ASSERT( PB_THREAD_OPTION_OK( option ) );
    std::string keptName( pb::view( name, length ).substr( 0, kernelNameMax ) );
    pb::Ref<PB_THREAD> thread = pb::adopt( pb::create<PB_THREAD>() );
    auto start =
        std::make_unique<Start>( Start{ thread.get(), keptName, func, pb::share( optionalArgument ), option } );
    return trySpawn( *thread, std::move( start ) ) ? thread.give() : nullptr;
}

void pbThreadJoin( PB_THREAD *thread )
{
    PB_ASSERT( thread );
    PB_ASSERT( thread != ownThread );
    pb::Lock lock( thread->joining );
    if ( !thread->running )
        return;
    thread->running = pthread_join( thread->id, nullptr ) != 0;
    PB_ASSERT( !thread->running );
}

void pbThreadDetach( PB_THREAD *thread )
{
    PB_ASSERT( thread );
    pb::Lock lock( thread->joining );
    if ( !thread->running )
        return;
    thread->running = pthread_detach( thread->id ) != 0;
    PB_ASSERT( !thread->running );
}
