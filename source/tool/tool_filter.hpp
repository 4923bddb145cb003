/* The filter that a command's channels stand behind. */
#ifndef TOOL_FILTER_HPP
#define TOOL_FILTER_HPP

#include <in/in.h>
#include <tool/tool.hpp>

namespace tool {

/**
 * A filter that permits networks and addresses, or the one of that name in the configuration store. It is ready when this
 * returns; when it does not permit the peer, the command ends.
 */
pb::Ref<IN_FILTER> makeFilter( const std::vector<std::string> &texts, IN_ADDRESS *optionalPeer );

} // namespace tool

#endif
