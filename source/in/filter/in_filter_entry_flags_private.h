/* The flag set of filter entries: registered at start-up, freed at shut-down. */
#ifndef IN_FILTER_ENTRY_FLAGS_PRIVATE_H
#define IN_FILTER_ENTRY_FLAGS_PRIVATE_H

#include <in/base/in_vocabulary_private.hpp>
#include <in/filter/in_filter_entry_flags.h>

IN_VOCABULARY_DECLARE( PB_FLAGSET, in___FilterEntryFlags, in___FilterEntryFlagsFlagset );

#endif
