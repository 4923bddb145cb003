/* The UDP flag set: registered at start-up, freed at shut-down. */
#ifndef IN_UDP_FLAGS_PRIVATE_H
#define IN_UDP_FLAGS_PRIVATE_H

#include <in/kit/in_vocabulary_private.hpp>
#include <in/udp/in_udp_flags.h>

IN_VOCABULARY_DECLARE( PB_FLAGSET, in___UdpFlags, in___UdpFlagsFlagset );

#endif
