/* Which stacks a command works on: those of a configuration file, made live in the configuration store, or one of its own. */
#ifndef TOOL_STACK_CHOICE_HPP
#define TOOL_STACK_CHOICE_HPP

#include <in/in.h>
#include <tool/tool.hpp>

namespace tool {

struct NamedStack {
    std::string name;
    pb::Ref<IN_STACK> stack;
    Json ignored = Json::array(); // what its configuration holds in vain
};

/** The options, and what they come to. */
class StackChoice {
public:
    /** Adds the options to a command; the one that names a stack of the file is called `nameOption`. */
    void addOptions( CLI::App &command, const char *nameOption );
    /** All stacks that the options ask for, each after it has looked at the host. */
    std::vector<NamedStack> all() const;
    /**
     * The one stack, and it has an address. A stack that no file describes takes one of the version of the peer, if there
     * is one.
     */
    NamedStack only( IN_ADDRESS *optionalPeer = nullptr ) const;

private:
    std::vector<NamedStack> ofFile() const;
    NamedStack quick( IN_ADDRESS *optionalPeer ) const;
    std::string whyNoAddress( const NamedStack &stack ) const;

    std::string file;
    std::string name;
    std::string interface;
    std::string address;
    bool loopback = false;
};

} // namespace tool

#endif
