/* The options of what is sent. */
#include <tool/tool_datagram.hpp>
#include <tool/tool_send_options.hpp>

void tool::SendOptions::addOptions(
    CLI::App &command, const char *addressName, const std::string &piece, int64_t sizeMax, bool pings )
{
    target.addOptions( command, addressName, "Send to" );
    addNumber( command, "--rate", rate, "PER_SECOND",
        fmt::format( "So many {}s a second, up to 1000000", piece ).c_str(), 0.001, 1e6 )
        ->capture_default_str();
    addNumber( command, "--size", size, "BYTES",
        fmt::format( "Size of each {}, {} to {} bytes", piece, Stamp::SIZE, sizeMax ).c_str(), Stamp::SIZE, sizeMax )
        ->capture_default_str();
    run.addOptions( command, ( piece + "s" ).c_str() );
    if ( !pings )
        return;
    addNumber( command, "--wait", patience, "SECONDS", "Wait this long for the last echoes", 0, 3600 )
        ->capture_default_str();
    run.addQuiet( command );
}
