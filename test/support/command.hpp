/* A stand-in for a host command. */
#ifndef TEST_COMMAND_HPP
#define TEST_COMMAND_HPP

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace test {

/** Stands a script in for `ip` or `ping`, for what no real neighbour does at will, to the end of the scope. */
class Command {
public:
    Command( const std::string &name, const std::string &script )
        : folder( std::filesystem::temp_directory_path() / ( name + "." + std::to_string( getpid() ) ) ),
          path( std::getenv( "PATH" ) )
    {
        std::filesystem::create_directory( folder );
        std::filesystem::path file = folder / name;
        std::ofstream( file ) << "#!/bin/sh\n" << script << "\n";
        std::filesystem::permissions( file, std::filesystem::perms::owner_all );
        setenv( "PATH", ( folder.string() + ":" + path ).c_str(), 1 );
    }
    ~Command()
    {
        setenv( "PATH", path.c_str(), 1 );
        std::filesystem::remove_all( folder );
    }
    Command( const Command & ) = delete;
    Command &operator=( const Command & ) = delete;
    std::string file( const char *name ) const { return ( folder / name ).string(); }

private:
    std::filesystem::path folder;
    std::string path;
};

} // namespace test

#endif
