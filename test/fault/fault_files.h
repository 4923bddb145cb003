/* A folder of its own for each test, for the scenarios that read and write files. */
#ifndef FAULT_FILES_H
#define FAULT_FILES_H

#include <filesystem>
#include <fstream>
#include <support/test_support.h>

namespace fault {

class Files : public testing::Test {
protected:
    void SetUp() override
    {
        std::string name = ( std::filesystem::temp_directory_path() / "quelvaris-fault-XXXXXX" ).string();
        ASSERT_TRUE( mkdtemp( name.data() ) );
        folder = name;
    }
    void TearDown() override { std::filesystem::remove_all( folder ); }

    std::string path( const char *name ) const { return ( folder / name ).string(); }
    static void put( const std::string &file, std::string_view content )
    {
        std::ofstream( file, std::ios::binary ) << content;
    }
    static std::string content( const std::string &file )
    {
        std::ifstream stream( file, std::ios::binary );
        return { std::istreambuf_iterator<char>( stream ), {} };
    }
    /** What lies in the folder that was not there before. */
    std::ptrdiff_t entries() const
    {
        return std::distance( std::filesystem::directory_iterator( folder ), std::filesystem::directory_iterator() );
    }
    std::filesystem::path folder;
};

} // namespace fault

#endif
