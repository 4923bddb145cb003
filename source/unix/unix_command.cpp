/*
 * Runs a command and collects its output. The calling thread does all of it; it may have every signal blocked, the
 * command starts with none blocked and none ignored.
 */
#include <array>
#include <csignal>
#include <fcntl.h>
#include <pb/pb.hpp>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unix/unix.h>
#include <vector>

namespace {

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

    /** The output first: its descriptor may be one of 0..2 itself when the program runs with those closed. */
    bool redirect( int output )
    {
        return posix_spawn_file_actions_adddup2( &actions, output, STDOUT_FILENO ) == 0 &&
               posix_spawn_file_actions_addopen( &actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0 ) == 0 &&
               posix_spawn_file_actions_addopen( &actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0 ) == 0;
    }
    void defaultSignals()
    {
        sigset_t signals;
        sigemptyset( &signals );
        posix_spawnattr_setsigmask( &attributes, &signals );
        sigfillset( &signals );
        posix_spawnattr_setsigdefault( &attributes, &signals );
        posix_spawnattr_setflags( &attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF );
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

void collectEnvironment( TextArray &array )
{
    for ( char **variable = environ; variable && *variable; ++variable )
        if ( !std::string_view( *variable ).starts_with( "LC_ALL=" ) )
            array.texts.emplace_back( *variable );
    array.texts.emplace_back( "LC_ALL=C" );
}

/** Reads to the end, keeps the first bytes. */
pb::Ref<PB_BUFFER> readAll( int fd, PB_INT byteLimit )
{
    pb::Ref<PB_BUFFER> output = pb::adopt( pbBufferCreate() );
    std::array<PB_BYTE, 16384> bytes;
    for ( ;; ) {
        ssize_t count = read( fd, bytes.data(), bytes.size() );
        if ( count < 0 && errno == EINTR )
            continue;
        if ( count <= 0 )
            return output;
        PB_INT space = byteLimit - pbBufferLength( output.get() );
        pbBufferAppendBytes( output.handle(), bytes.data(), std::min<PB_INT>( space, count ) );
    }
}

/** When the program ignores SIGCHLD nobody is left to wait for, and waitpid tells so once the command has ended. */
void waitForEnd( pid_t process )
{
    while ( waitpid( process, nullptr, 0 ) < 0 && errno == EINTR ) {
    }
}

/** Whether it was the host that could not start a process, rather than the command that cannot be run. */
bool outOfResources( int error )
{
    return error == EAGAIN || error == ENOMEM || error == EMFILE || error == ENFILE;
}

} // namespace

PB_BUFFER *unixCommandTryRun( PB_VECTOR *arguments, PB_INT byteLimit )
{
    PB_ASSERT( arguments );
    PB_ASSERT( pbVectorLength( arguments ) > 0 );
    PB_ASSERT( pbVectorContainsOnly( arguments, pbStringSort() ) );
    PB_ASSERT( byteLimit >= 0 );
    TextArray argumentTexts;
    if ( !collectArguments( arguments, argumentTexts ) )
        return nullptr;
    TextArray environmentTexts;
    collectEnvironment( environmentTexts );
    std::array<int, 2> ends;
    if ( pipe2( ends.data(), O_CLOEXEC ) != 0 )
        return nullptr;
    pb::Fd readEnd( ends[0] );
    pb::Fd writeEnd( ends[1] );
    SpawnSetup setup;
    if ( !setup.redirect( writeEnd.get() ) )
        return nullptr;
    setup.defaultSignals();

    pid_t process;
    char **argv = argumentTexts.data();
    int error = posix_spawnp( &process, argv[0], &setup.actions, &setup.attributes, argv, environmentTexts.data() );
    writeEnd.close(); // or the end of the output would never come
    if ( error )
        return outOfResources( error ) ? nullptr : pbBufferCreate();
    pb::Ref<PB_BUFFER> output = readAll( readEnd.get(), byteLimit );
    waitForEnd( process );
    return output.give();
}
