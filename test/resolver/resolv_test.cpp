/* The host's name servers: what counts in a text; and an /etc/resolv.conf of the test's own, on a file system over /etc. */
#include <filesystem>
#include <fstream>
#include <in/imp/in_imp_sockaddr_unix_private.h>
#include <in/in.h>
#include <support/namespace.hpp>
#include <sys/mount.h>

namespace {

std::string take( PB_VECTOR *owned )
{
    return test::textOf( pb::adopt( owned ).get() );
}

const std::string longText( 200'000, 'x' );

const std::pair<std::string, std::string> rows[] = { { "nameserver 10.0.0.1", "[10.0.0.1]" },
    // each once, in the order of addresses, not of the text
    { "nameserver ::1\nnameserver 9.9.9.9\nnameserver 0:0::1\nnameserver 127.0.0.53\n", "[9.9.9.9, 127.0.0.53, ::1]" },
    // more than a resolver library would take
    { "nameserver 1.1.1.1\nnameserver 1.1.1.2\nnameserver 1.1.1.3\nnameserver 1.1.1.4\n",
        "[1.1.1.1, 1.1.1.2, 1.1.1.3, 1.1.1.4]" },
    { "nameserver\t10.0.0.1\t\nnameserver   ::2\r\nnameserver10.0.0.3\n nameserver 10.0.0.4\n",
        "[10.0.0.1, 10.0.0.3, ::2]" },
    { "search example.org\noptions ndots:5\nsortlist 10.0.0.1\n#nameserver 10.0.0.1\nnameserver 10.0.0.9\n",
        "[10.0.0.9]" },
    { "Nameserver 10.0.0.1\nname server 10.0.0.3\nnameserves 10.0.0.4\nnameservers 10.0.0.5\n", "[]" },
    { "nameserver\nnameserver \nnameserver localhost\nnameserver 10.0.0\nnameserver 10.0.0.256\n", "[]" },
    { "nameserver 10.0.0.1 10.0.0.2\nnameserver 10.0.0.3 # first\nnameserver 10.0.0.4:53\n", "[]" },
    { "nameserver fe80::1%eth0\nnameserver [::1]\nnameserver fe80::2\n", "[FE80::2]" },
    // not text: only the line that it is on suffers
    { "# caf\xE9 \xFF\xFE\nnameserver 10.0.0.1\nnameserver 10.0.0.2\xFF\nnameserver \xC3\n", "[10.0.0.1]" },
    { std::string( "\0\0\nnameserver 10.0.0.1\0\nnameserver 10.0.0.2\n", 44 ), "[10.0.0.2]" },
    { "# " + longText + "\nnameserver 10.0.0.1\nnameserver " + longText + "\nnameserver 10.0.0.2",
        "[10.0.0.1, 10.0.0.2]" } };

} // namespace

TEST( Resolv, Texts )
{
    for ( const auto &[text, servers] : rows ) {
        auto lines = pb::adopt( pbLineSourceCreateFromBuffer( test::buffer( text ).get() ) );
        EXPECT_EQ( take( in___ImpReadDnsServers( lines.get() ) ), servers ) << text.substr( 0, 200 );
    }
}

TEST( Resolv, File )
{
    NEEDS_NAMESPACE();
    constexpr const char *path = "/etc/resolv.conf";
    ASSERT_EQ( mount( "tmpfs", "/etc", "tmpfs", 0, nullptr ), 0 );
    EXPECT_EQ( take( inDnsServersVector() ), "[]" ) << "no file";
    std::filesystem::create_directory( path );
    EXPECT_EQ( take( inDnsServersVector() ), "[]" ) << "a folder";
    std::filesystem::remove( path );
    std::filesystem::create_symlink( "stub", path );
    EXPECT_EQ( take( inDnsServersVector() ), "[]" ) << "a link to nothing";
    std::ofstream( "/etc/stub" ) << "nameserver 127.0.0.53\n";
    EXPECT_EQ( take( inDnsServersVector() ), "[127.0.0.53]" ) << "a link to a file";
    EXPECT_EQ( umount2( "/etc", MNT_DETACH ), 0 );
}
