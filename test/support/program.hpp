/* Running programs as a person at a terminal does: reading what they print, line by line, while they run. */
#ifndef TEST_PROGRAM_HPP
#define TEST_PROGRAM_HPP

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <support/namespace.hpp>

namespace test {

/** A program that runs, from a shell's command line; it is ended with the object. */
class Program {
public:
    explicit Program( const std::string &command )
    {
        int out[2];
        EXPECT_EQ( pipe2( out, O_CLOEXEC ), 0 );
        output = pb::Fd( out[0] );
        pb::Fd outputOfProgram( out[1] );
        error = pb::Fd( open( "/tmp", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600 ) );
        process = fork();
        if ( process > 0 )
            return;
        dup2( outputOfProgram.get(), STDOUT_FILENO );
        dup2( error.get(), STDERR_FILENO );
        execl( "/bin/sh", "sh", "-c", ( "exec " + command ).c_str(), nullptr );
        _exit( 127 );
    }
    Program( Program &&other ) noexcept
        : process( std::exchange( other.process, 0 ) ), output( std::move( other.output ) ),
          error( std::move( other.error ) ), unread( std::move( other.unread ) )
    {}
    ~Program()
    {
        if ( process <= 0 )
            return;
        kill( process, SIGKILL );
        waitpid( process, nullptr, 0 );
    }
    /** The next line with that text in it; empty when the output ends without one, or nothing comes for a long time. */
    std::string until( const std::string &text )
    {
        for ( ;; ) {
            std::size_t end = unread.find( '\n' );
            if ( end == unread.npos && !readMore() )
                return std::exchange( unread, {} ).find( text ) == unread.npos ? "" : text;
            if ( end == unread.npos )
                continue;
            std::string line = unread.substr( 0, end );
            unread.erase( 0, end + 1 );
            if ( line.find( text ) != line.npos )
                return line;
        }
    }
    /** Reads until each text has been seen, in any order; those that were not. */
    std::vector<std::string> untilAll( std::vector<std::string> texts )
    {
        while ( !texts.empty() ) {
            std::string line = until( "" );
            if ( line.empty() )
                break;
            std::erase_if( texts, [&]( const std::string &text ) { return line.find( text ) != line.npos; } );
        }
        return texts;
    }
    /** What is still to be read, up to the end of the output. */
    std::string rest()
    {
        while ( readMore() )
            ;
        return std::exchange( unread, {} );
    }
    /** What was written to standard error so far. */
    std::string errors() const
    {
        std::string text( 65536, '\0' );
        ssize_t length = pread( error.get(), text.data(), text.size(), 0 );
        text.resize( static_cast<std::size_t>( std::max<ssize_t>( length, 0 ) ) );
        return text;
    }
    void signal( int number ) { kill( process, number ); }
    /** Waits for the end: the exit code, or minus the signal that ended it. */
    int exitCode()
    {
        int status = 0;
        if ( waitpid( std::exchange( process, 0 ), &status, 0 ) < 0 )
            return -1000;
        return WIFEXITED( status ) ? WEXITSTATUS( status ) : -WTERMSIG( status );
    }

private:
    bool readMore()
    {
        pollfd ready{ output.get(), POLLIN, 0 };
        if ( poll( &ready, 1, 30'000 ) <= 0 )
            return false;
        char bytes[4096];
        ssize_t length = read( output.get(), bytes, sizeof bytes );
        unread.append( bytes, static_cast<std::size_t>( std::max<ssize_t>( length, 0 ) ) );
        return length > 0;
    }

    pid_t process = 0;
    pb::Fd output;
    pb::Fd error;
    std::string unread;
};

inline std::string lower( std::string text )
{
    std::ranges::transform( text, text.begin(), []( char ch ) { return ch >= 'A' && ch <= 'Z' ? ch + 32 : ch; } );
    return text;
}

} // namespace test

#endif
