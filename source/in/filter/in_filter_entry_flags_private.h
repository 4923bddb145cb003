/* The flag set of filter entries: registered at start-up, freed at shut-down. */
#ifndef IN_FILTER_ENTRY_FLAGS_PRIVATE_H
#define IN_FILTER_ENTRY_FLAGS_PRIVATE_H

#include <in/filter/in_filter_entry_flags.h>
#include <in/kit/in_vocabulary_private.hpp>

IN_VOCABULARY_DECLARE( PB_FLAGSET, in___FilterEntryFlags, in___FilterEntryFlagsFlagset );

#endif
