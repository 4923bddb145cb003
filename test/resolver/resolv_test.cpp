/* The host's name servers, from an /etc/resolv.conf of the test's own: a file system of its own lies over /etc. */
#include <filesystem>
#include <fstream>
#include <in/imp/in_imp_sockaddr_unix_private.h>
#include <in/in.h>
#include <support/namespace.hpp>
#include <sys/mount.h>

namespace {

class Resolv : public testing::Test {
protected:
    void SetUp() override
    {
        NEEDS_NAMESPACE();
        ASSERT_EQ( mount( "tmpfs", "/etc", "tmpfs", 0, nullptr ), 0 );
        mounted = true;
    }
    void TearDown() override
    {
        if ( mounted ) {
            EXPECT_EQ( umount2( "/etc", MNT_DETACH ), 0 );
        }
    }
    static void write( const std::string &text ) { std::ofstream( path, std::ios::binary ) << text; }

    static constexpr const char *path = "/etc/resolv.conf";

private:
    bool mounted = false;
};

/** The addresses of a vector, joined by blanks. */
std::string listed( PB_VECTOR *owned )
{
    pb::Ref<PB_VECTOR> servers = pb::adopt( owned );
    std::string text;
    for ( PB_INT i = 0; i < pbVectorLength( servers.get() ); ++i ) {
        pb::Ref<IN_ADDRESS> ina = pb::adoptAs<IN_ADDRESS>( pbVectorObjAt( servers.get(), i ) );
        text += ( i ? " " : "" ) + test::textOf( ina.get() );
    }
    return text;
}

const std::string longText( 200'000, 'x' );

const struct {
    std::string file, servers;
} rows[] = {
    { "", "" },
    { "nameserver 10.0.0.1", "10.0.0.1" },
    // each once, in the order of addresses, not of the file
    { "nameserver 10.0.0.2\nnameserver 10.0.0.1\nnameserver 10.0.0.2\n", "10.0.0.1 10.0.0.2" },
    { "nameserver ::1\nnameserver 9.9.9.9\nnameserver 0:0::1\nnameserver 127.0.0.53\n", "9.9.9.9 127.0.0.53 ::1" },
    // more than a resolver library would take
    { "nameserver 1.1.1.1\nnameserver 1.1.1.2\nnameserver 1.1.1.3\nnameserver 1.1.1.4\n",
        "1.1.1.1 1.1.1.2 1.1.1.3 1.1.1.4" },
    // white space
    { "nameserver\t10.0.0.1\t\n", "10.0.0.1" },
    { "nameserver 10.0.0.1\r\nnameserver ::2\r\n", "10.0.0.1 ::2" },
    { "nameserver10.0.0.1\n", "10.0.0.1" },
    { " nameserver 10.0.0.1\n\tnameserver 10.0.0.2\n", "" },
    // what does not count
    { "search example.org\ndomain example.org\noptions ndots:5\nsortlist 10.0.0.1\nnameserver 10.0.0.9\n", "10.0.0.9" },
    { "Nameserver 10.0.0.1\nNAMESERVER 10.0.0.2\nname server 10.0.0.3\nnameserves 10.0.0.4\nnameservers 10.0.0.5\n",
        "" },
    { "nameserver\nnameserver \nnameserver localhost\nnameserver 10.0.0\nnameserver 10.0.0.256\n", "" },
    { "nameserver 10.0.0.1 10.0.0.2\nnameserver 10.0.0.3 # first\nnameserver 10.0.0.4:53\n", "" },
    { "nameserver fe80::1%eth0\nnameserver [::1]\nnameserver fe80::2\n", "FE80::2" },
    // not text: only the line that it is on suffers
    { "# caf\xE9 \xFF\xFE\nnameserver 10.0.0.1\nnameserver 10.0.0.2\xFF\nnameserver \xC3\n", "10.0.0.1" },
    { std::string( "\0\0\nnameserver 10.0.0.1\0\nnameserver 10.0.0.2\n", 44 ), "10.0.0.2" },
    // long lines, also across the blocks that the file is read in
    { "# " + longText + "\nnameserver 10.0.0.1\nnameserver " + longText + "\nnameserver 10.0.0.2",
        "10.0.0.1 10.0.0.2" },
    { "nameserver " + std::string( 100'000, ' ' ) + "10.0.0.1\n", "10.0.0.1" },
};

} // namespace

TEST_F( Resolv, Texts )
{
    for ( const auto &row : rows ) {
        write( row.file );
        EXPECT_EQ( listed( in___ImpSystemEnumerateDnsServers() ), row.servers ) << row.file.substr( 0, 200 );
        EXPECT_EQ( listed( inDnsServersVector() ), row.servers );
    }
}

TEST_F( Resolv, WhatCannotBeRead )
{
    EXPECT_EQ( listed( in___ImpSystemEnumerateDnsServers() ), "" ) << "no file";
    std::filesystem::create_directory( path );
    EXPECT_EQ( listed( in___ImpSystemEnumerateDnsServers() ), "" ) << "a folder";
    std::filesystem::remove( path );
    std::filesystem::create_symlink( "run/stub", path );
    EXPECT_EQ( listed( in___ImpSystemEnumerateDnsServers() ), "" ) << "a link to nothing";
    std::filesystem::create_directory( "/etc/run" );
    std::ofstream( "/etc/run/stub" ) << "nameserver 127.0.0.53\n";
    EXPECT_EQ( listed( in___ImpSystemEnumerateDnsServers() ), "127.0.0.53" ) << "a link to a file";
}
