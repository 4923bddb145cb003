/* A folder of a test's own, gone at the end of the scope and all that is in it. */
#ifndef TEST_FOLDER_HPP
#define TEST_FOLDER_HPP

#include <filesystem>
#include <fstream>
#include <set>
#include <support/test_support.h>

namespace test {

class Folder : Pinned {
public:
    Folder()
    {
        std::string name = ( std::filesystem::temp_directory_path() / "quelvaris-test-XXXXXX" ).string();
        path = mkdtemp( name.data() );
    }
    ~Folder() { std::filesystem::remove_all( path ); }

    std::string file( const std::string &name ) const { return ( path / name ).string(); }
    /** Writes a file; its path. */
    std::string write( const std::string &name, std::string_view content ) const
    {
        std::ofstream( path / name, std::ios::binary ) << content;
        return file( name );
    }
    std::string read( const std::string &name ) const
    {
        std::ifstream stream( path / name, std::ios::binary );
        return { std::istreambuf_iterator<char>( stream ), {} };
    }
    /** What stands in it, sorted, with a blank behind each. */
    std::string names() const
    {
        std::set<std::string> sorted;
        for ( const auto &entry : std::filesystem::directory_iterator( path ) )
            sorted.insert( entry.path().filename().string() + " " );
        std::string joined;
        for ( const std::string &name : sorted )
            joined += name;
        return joined;
    }

    std::filesystem::path path;
};

} // namespace test

#endif
