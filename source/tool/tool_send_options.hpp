/* What a command sends in numbered pieces, where to and how. */
#ifndef TOOL_SEND_OPTIONS_HPP
#define TOOL_SEND_OPTIONS_HPP

#include <tool/tool_session.hpp>
#include <tool/tool_target.hpp>

namespace tool {

struct SendOptions {
    Target target;
    double rate = 1;     // pieces a second
    int64_t size = 160;  // bytes each
    double patience = 1; // seconds to wait for the last echoes
    RunOptions run;

    /**
     * `addressName` is what the help calls the address, `piece` what is sent, of at most that size; `pings` adds what only
     * matters when echoes are awaited.
     */
    void addOptions(
        CLI::App &command, const char *addressName, const std::string &piece, int64_t sizeMax, bool pings );
};

} // namespace tool

#endif
