/* The library flag set: registered at start-up, freed at shut-down. */
#ifndef IN_FLAGS_PRIVATE_H
#define IN_FLAGS_PRIVATE_H

#include <in/base/in_flags.h>
#include <in/kit/in_vocabulary_private.hpp>

IN_VOCABULARY_DECLARE( PB_FLAGSET, in___Flags, in___FlagsFlagset );

#endif
