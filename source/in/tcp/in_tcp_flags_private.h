/* The TCP flag set: registered at start-up, freed at shut-down. */
#ifndef IN_TCP_FLAGS_PRIVATE_H
#define IN_TCP_FLAGS_PRIVATE_H

#include <in/kit/in_vocabulary_private.hpp>
#include <in/tcp/in_tcp_flags.h>

IN_VOCABULARY_DECLARE( PB_FLAGSET, in___TcpFlags, in___TcpFlagsFlagset );

#endif
