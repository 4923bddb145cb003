/* Where a command sends to, or connects to. */
#ifndef TOOL_TARGET_HPP
#define TOOL_TARGET_HPP

#include <in/in.h>
#include <tool/tool.hpp>

namespace tool {

struct Target {
    std::string address;
    int port = 0;

    /** `addressName` is what the help calls the address; `verb` what is done there ("Send to", "Connect to"). */
    void addOptions( CLI::App &command, const char *addressName, const std::string &verb )
    {
        addText( command, addressName, address, "", ( verb + " this address" ).c_str() )->required();
        addNumber( command, "PORT", port, "", ( verb + " this port" ).c_str(), 1, 65535 )->required();
    }
    pb::Ref<IN_ADDRESS> parsed() const
    {
        return parse( address, inAddressTryCreateFromString, "an IP address; write one like 192.0.2.1 or 2001:db8::1" );
    }
};

} // namespace tool

#endif
