/* What the commands that open sockets have in common: on which stack and ports, with which marks, behind which filter. */
#ifndef TOOL_SOCKET_CHOICE_HPP
#define TOOL_SOCKET_CHOICE_HPP

#include <optional>
#include <tool/tool_stack_choice.hpp>

namespace tool {

class SocketChoice {
public:
    /** Adds the options that all of them need. */
    void addOptions( CLI::App &command );
    /** Adds those that only matter where a peer answers, and where there may be a pair. */
    void addFilterOption( CLI::App &command );
    void addPairOption( CLI::App &command, const char *description );
    bool isPair() const { return rtp; }

protected:
    struct Ports {
        PB_INT first;
        PB_INT count;
    };
    /** The local ports to choose from: those asked for, or, since a pair is always chosen, the two from the port on. */
    std::optional<Ports> ports() const;
    PB_INT optionalPort() const { return port > 0 ? port : -1; }
    NamedStack stack( IN_ADDRESS *optionalPeer ) const { return stacks.only( optionalPeer ); }
    pb::Ref<IN_QOS_STACK> qosStack() const;
    /** Ready when this returns; null without filters. It has to permit the peer, if there is one. */
    pb::Ref<IN_FILTER> filter( IN_ADDRESS *optionalPeer ) const;
    /** Ends the command. */
    [[noreturn]] void failToOpen( const char *what, IN_STACK *stack, const std::string &reason ) const;

private:
    StackChoice stacks;
    int port = 0;
    std::string portRange;
    std::string qos;
    std::vector<std::string> filters;
    bool rtp = false;
};

} // namespace tool

#endif
