/*
 * Runs a command and collects its output. The calling thread does all of it; it may have every signal blocked, the
 * command starts with none blocked and none ignored. The command is told apart from all other children of the program:
 * nothing here waits for, or takes the status of, a process that somebody else has started.
 */
#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <pb/pb.hpp>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/auxv.h>
#include <sys/wait.h>
#include <unix/unix.h>
#include <vector>

extern "C" { // the header of glibc 2.36 forgets it
#include <sys/pidfd.h>
}

namespace {

constexpr PB_INT killedWait = 1000; // ms that a killed command has to be gone

/** What posix_spawn is told, let go at the end of the scope. */
struct SpawnSetup {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;

    SpawnSetup()
    {
        posix_spawn_file_actions_init( &actions );
        posix_spawnattr_init( &attributes );
    }
    SpawnSetup( const SpawnSetup & ) = delete;
    SpawnSetup &operator=( const SpawnSetup & ) = delete;
    ~SpawnSetup()
    {
        posix_spawn_file_actions_destroy( &actions );
        posix_spawnattr_destroy( &attributes );
    }

    /**
     * The output first: its descriptor may be one of 0..2 itself when the program runs with those closed. Descriptors of
     * the program that are not close-on-exec are no business of the command, so they are closed last.
     */
    bool redirect( int output )
    {
        return posix_spawn_file_actions_adddup2( &actions, output, STDOUT_FILENO ) == 0 &&
               posix_spawn_file_actions_addopen( &actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0 ) == 0 &&
               posix_spawn_file_actions_addopen( &actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0 ) == 0 &&
               posix_spawn_file_actions_addclosefrom_np( &actions, STDERR_FILENO + 1 ) == 0;
    }
    /** Default signals, and a process group of its own, by which all that the command starts can be killed. */
    void setAttributes()
    {
        sigset_t signals;
        sigemptyset( &signals );
        posix_spawnattr_setsigmask( &attributes, &signals );
        sigfillset( &signals );
        posix_spawnattr_setsigdefault( &attributes, &signals );
        posix_spawnattr_setpgroup( &attributes, 0 );
        posix_spawnattr_setflags( &attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP );
    }
};

/** Texts and the zero-terminated array of them that execve wants. */
struct TextArray {
    std::vector<std::string> texts;
    std::vector<char *> pointers;

    char **data()
    {
        pointers.clear();
        for ( std::string &text : texts )
            pointers.push_back( text.data() );
        pointers.push_back( nullptr );
        return pointers.data();
    }
};

/** False when an argument holds U+0000, which no command can be given. */
bool collectArguments( PB_VECTOR *arguments, TextArray &array )
{
    for ( PB_INT i = 0; i < pbVectorLength( arguments ); ++i ) {
        pb::Ref<PB_STRING> argument = pb::adoptAs<PB_STRING>( pbVectorObjAt( arguments, i ) );
        if ( pbStringFindChar( argument.get(), 0, 0 ) >= 0 )
            return false;
        array.texts.push_back( pb::text( argument.get() ) );
    }
    return true;
}

/** Whether this is a set-user-ID program or the like, whose environment is chosen by somebody with fewer rights. */
bool privileged()
{
    return getauxval( AT_SECURE ) != 0;
}

void collectEnvironment( TextArray &array )
{
    for ( char **variable = environ; variable && *variable && !privileged(); ++variable )
        if ( !std::string_view( *variable ).starts_with( "LC_ALL=" ) )
            array.texts.emplace_back( *variable );
    array.texts.emplace_back( "LC_ALL=C" );
}

/** What posix_spawnp is to run: in a privileged program only the system's own commands; empty when there is none. */
std::string findCommand( const std::string &name )
{
    if ( !privileged() || name.find( '/' ) != name.npos )
        return name;
    for ( const char *folder : { "/usr/sbin/", "/usr/bin/", "/sbin/", "/bin/" } )
        if ( std::string path = folder + name; access( path.c_str(), X_OK ) == 0 )
            return path;
    return {};
}

/** Milliseconds by the real clock: other programs go by it, also when a test moves the clock of our time limits. */
PB_INT realTime()
{
    timespec now;
    clock_gettime( CLOCK_MONOTONIC, &now );
    return PB_INT( now.tv_sec ) * 1000 + now.tv_nsec / 1'000'000;
}

/** Waits until there is something to read, or the time has come; whether there is. An interruption changes nothing. */
bool waitReadable( int fd, PB_INT until )
{
    for ( ;; ) {
        PB_INT left = std::min<PB_INT>( until - realTime(), INT_MAX );
        pollfd readable{ fd, POLLIN, 0 };
        if ( left <= 0 || poll( &readable, 1, static_cast<int>( left ) ) > 0 )
            return left > 0;
    }
}

/** Reads to the end and keeps the first bytes; false when the end has not come by that time. */
bool readAll( int fd, PB_INT until, PB_INT byteLimit, PB_BUFFER **output )
{
    std::array<PB_BYTE, 16384> bytes;
    while ( waitReadable( fd, until ) ) {
        ssize_t count = read( fd, bytes.data(), bytes.size() );
        if ( count < 0 && errno == EINTR )
            continue;
        if ( count <= 0 )
            return true;
        PB_INT space = byteLimit - pbBufferLength( *output );
        pbBufferAppendBytes( output, bytes.data(), std::min<PB_INT>( space, count ) );
    }
    return false;
}

/** The process of a command that was started. */
class Process {
public:
    explicit Process( pid_t started ) : pid( started ), fd( pidfd_open( started, 0 ) ) {}

    /** Waits for its end until that time; false at once when the system cannot tell. */
    bool endsBefore( PB_INT until ) const { return fd && waitReadable( fd.get(), until ); }

    /**
     * Kills the command and all that it has started. The group has the number of the command, which nobody else gets
     * before somebody has waited for the command. When the program ignores SIGCHLD the system does that at once, and
     * when a handler of the program waits for all children, that does: then the number may be somebody else's, but not
     * while there is still somebody in the group.
     */
    void killGroup() const
    {
        bool ours = wait( WNOHANG | WNOWAIT );
        if ( ours || getpgid( pid ) < 0 )
            kill( -pid, SIGKILL );
    }

    /**
     * Takes the status, so that no zombie is left. Only what cannot be killed is left behind: it has become another
     * user's, or the kernel is stuck in a call of it.
     */
    void reap() const
    {
        bool canTell = bool( fd );
        if ( canTell )
            endsBefore( realTime() + killedWait );
        wait( canTell ? WNOHANG : 0 );
    }

private:
    /** False when there is nobody to wait for. */
    bool wait( int options ) const
    {
        siginfo_t ignored;
        int result;
        do
            result = fd ? waitid( P_PIDFD, static_cast<id_t>( fd.get() ), &ignored, WEXITED | options )
                        : waitid( P_PID, static_cast<id_t>( pid ), &ignored, WEXITED | options );
        while ( result != 0 && errno == EINTR );
        return result == 0;
    }

    pid_t pid;
    pb::Fd fd; // none when the system has no descriptors of processes
};

/** Starts the command with its output to that descriptor; 0 or the error. */
int start( TextArray &arguments, int output, pid_t &process )
{
    SpawnSetup setup;
    if ( !setup.redirect( output ) )
        return ENOMEM;
    setup.setAttributes();
    TextArray environment;
    collectEnvironment( environment );
    std::string command = findCommand( arguments.texts.front() );
    return posix_spawnp(
        &process, command.c_str(), &setup.actions, &setup.attributes, arguments.data(), environment.data() );
}

/** Whether it was the host that could not start a process, rather than the command that cannot be run. */
bool outOfResources( int error )
{
    return error == EAGAIN || error == ENOMEM || error == EMFILE || error == ENFILE;
}

} // namespace

PB_BUFFER *unixCommandTryRun( PB_VECTOR *arguments, PB_INT byteLimit, PB_INT milliseconds )
{
    PB_ASSERT( arguments );
    PB_ASSERT( pbVectorLength( arguments ) > 0 );
    PB_ASSERT( pbVectorContainsOnly( arguments, pbStringSort() ) );
    PB_ASSERT( byteLimit >= 0 );
    PB_ASSERT( milliseconds > 0 );
    PB_INT until = realTime() + std::min<PB_INT>( milliseconds, INT_MAX );
    TextArray argumentTexts;
    if ( !collectArguments( arguments, argumentTexts ) )
        return nullptr;
    std::array<int, 2> ends;
    if ( pipe2( ends.data(), O_CLOEXEC ) != 0 )
        return nullptr;
    pb::Fd readEnd( ends[0] );
    pb::Fd writeEnd( ends[1] );
    pid_t started;
    if ( int error = start( argumentTexts, writeEnd.get(), started ) )
        return outOfResources( error ) ? nullptr : pbBufferCreate();
    writeEnd.close(); // or the end of the output would never come
    Process process( started );
    pb::Ref<PB_BUFFER> output = pb::adopt( pbBufferCreate() );
    bool whole = readAll( readEnd.get(), until, byteLimit, output.handle() );
    if ( !whole || !process.endsBefore( until ) )
        process.killGroup();
    process.reap();
    return output.give();
}
