/*
 * The one socket over which the host is asked about its interfaces, and told to change them: a thousand interfaces take no
 * more descriptors than one. Any thread.
 */
#ifndef IN_NW_SOCKET_PRIVATE_HPP
#define IN_NW_SOCKET_PRIVATE_HPP

#include <pb/pb.hpp>

/** Immutable. Orders by identity. Closed when nobody uses it any more. */
PB_CLASS( IN___NW_SOCKET, in___NwSocket )

struct IN___NW_SOCKET : PB_OBJ {
    explicit IN___NW_SOCKET( pb::Fd opened ) : fd( std::move( opened ) ) {}

    const pb::Fd fd;
};

namespace in {

/** The socket, opened when nobody has wanted it before or it was not to be had. Null when it still is not (errno). */
pb::Ref<IN___NW_SOCKET> hostSocket();
/** At the end of the module: lets it go. */
void hostSocketShutdown();

} // namespace in

#endif
