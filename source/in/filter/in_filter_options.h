/* The configuration of a filter: what it permits, the stack that it resolves names on, how often it does. */
#ifndef IN_FILTER_OPTIONS_H
#define IN_FILTER_OPTIONS_H

#include <in/base/in_stack.h>
#include <in/filter/in_filter_entry.h>

IN_OPTIONS_CLASS( IN_FILTER_OPTIONS, inFilterOptions );
/* Names: inFilterOptionsSort, inFilterOptionsObj, inFilterOptionsFrom, inFilterOptionsRetain, inFilterOptionsRelease,
   inFilterOptionsToString, inFilterOptionsCompare, inFilterOptionsEquals, inFilterOptionsCreate,
   inFilterOptionsCreateFrom, inFilterOptionsRestore, inFilterOptionsCheck */

/** What is permitted, at first nothing. Key "entries", an array; an entry that cannot be restored is left out. */
IN_ITEMS( IN_FILTER_OPTIONS, inFilterOptions, Entry, Entries, IN_FILTER_ENTRY );
/* Names: inFilterOptionsEntriesLength, inFilterOptionsEntriesVector, inFilterOptionsEntryAt,
   inFilterOptionsSetEntryAt, inFilterOptionsDelEntryAt, inFilterOptionsAppendEntry, inFilterOptionsPrependEntry,
   inFilterOptionsInsertEntry, inFilterOptionsClearEntries, inFilterOptionsSetEntriesVector */
/** The name of a stack in the configuration store; aborts unless csObjectRecordNameOk. Key "stackName". */
IN_OPTIONAL( IN_FILTER_OPTIONS, inFilterOptions, StackName, PB_STRING );
/* Names: inFilterOptionsStackName, inFilterOptionsHasStackName, inFilterOptionsSetStackName,
   inFilterOptionsDelStackName */
/** Permits the stack's own address too. Key "stackAddressPermitted", default true. */
IN_SETTING( IN_FILTER_OPTIONS, inFilterOptions, StackAddressPermitted, PB_BOOL );
/* Names: inFilterOptionsStackAddressPermitted, inFilterOptionsSetStackAddressPermitted,
   inFilterOptionsStackAddressPermittedDefault, inFilterOptionsSetStackAddressPermittedDefault */
/** From the end of one rebuild to the next, in milliseconds; aborts below 1. Key "rebuildInterval", default 600000. */
IN_SETTING( IN_FILTER_OPTIONS, inFilterOptions, RebuildInterval, PB_INT );
/* Names: inFilterOptionsRebuildInterval, inFilterOptionsSetRebuildInterval, inFilterOptionsRebuildIntervalDefault,
   inFilterOptionsSetRebuildIntervalDefault */
/** The stack itself, which goes before the name. It is not stored. */
IN_OPTIONAL( IN_FILTER_OPTIONS, inFilterOptions, Stack, IN_STACK );
/* Names: inFilterOptionsStack, inFilterOptionsHasStack, inFilterOptionsSetStack, inFilterOptionsDelStack */

/** A new store: what was chosen, or with `full` everything but an absent name. */
PB_API PB_STORE *inFilterOptionsStore( IN_FILTER_OPTIONS *opt, PB_BOOL full );

#endif
