/* A stand-in for a host command. */
#ifndef TEST_COMMAND_HPP
#define TEST_COMMAND_HPP

#include <cstdlib>
#include <support/folder.hpp>

namespace test {

/** Stands a script in for `ip` or `ping`, for what no real neighbour does at will, to the end of the scope. */
class Command : public Folder {
public:
    Command( const std::string &name, const std::string &script )
    {
        std::string program = write( name, "#!/bin/sh\n" + script + "\n" );
        std::filesystem::permissions( program, std::filesystem::perms::owner_all );
        setenv( "PATH", ( path.string() + ":" + before ).c_str(), 1 );
    }
    ~Command() { setenv( "PATH", before.c_str(), 1 ); }

private:
    std::string before = std::getenv( "PATH" );
};

} // namespace test

#endif
