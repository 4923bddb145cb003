/* The flag set of filter entries. Written once at start-up, read by any thread after that. */
#include <in/filter/in_filter_entry_flags_private.h>

IN_FLAGS_DEFINE( inFilterEntryFlags, in___FilterEntryFlags, in___FilterEntryFlagsFlagset,
    IN_FILTER_ENTRY_FLAG_ADDRESS | IN_FILTER_ENTRY_FLAG_DNS_QUERY_ADDRESSES | IN_FILTER_ENTRY_FLAG_DNS_QUERY_SRV );

void in___FilterEntryFlagsStartup()
{
    in___FilterEntryFlagsFlagset.set( pbFlagsetCreate() );
    PB_FLAGSET_ADD( &in___FilterEntryFlagsFlagset, IN_FILTER_ENTRY_FLAG_ADDRESS );
    PB_FLAGSET_ADD( &in___FilterEntryFlagsFlagset, IN_FILTER_ENTRY_FLAG_DNS_QUERY_ADDRESSES );
    PB_FLAGSET_ADD( &in___FilterEntryFlagsFlagset, IN_FILTER_ENTRY_FLAG_DNS_QUERY_SRV );
}
