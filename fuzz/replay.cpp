/* Runs every file of the folders and files that it is given through the fuzz target, once, as a test. */
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size );

static int replay( const std::filesystem::path &path )
{
    std::ifstream file( path, std::ios::binary );
    std::vector<char> bytes( std::istreambuf_iterator<char>( file ), {} );
    LLVMFuzzerTestOneInput( reinterpret_cast<const uint8_t *>( bytes.data() ), bytes.size() );
    return 1;
}

int main( int argc, char **argv )
{
    int count = 0;
    for ( int i = 1; i < argc; ++i ) {
        if ( std::filesystem::is_regular_file( argv[i] ) )
            count += replay( argv[i] );
        else
            for ( const auto &entry : std::filesystem::directory_iterator( argv[i] ) )
                count += replay( entry.path() );
    }
    std::printf( "%d inputs\n", count );
    return count > 0 ? 0 : 1;
}
