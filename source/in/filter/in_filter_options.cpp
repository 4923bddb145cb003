/* Filter options. No state. */
#include <in/base/in_address.h>
#include <in/filter/in_filter_options.h>
#include <in/kit/in_settings_private.hpp>

struct IN_FILTER_OPTIONS : PB_OBJ {
    pb::Ref<PB_VECTOR> entries;
    pb::Ref<PB_STRING> stackName;
    in::Setting<bool> stackAddressPermitted;
    in::Setting<PB_INT> rebuildInterval;
    pb::Ref<IN_STACK> stack;

    /** Whether an entry has a name to look up, for which a stack is needed. */
    static bool asks( IN_FILTER_ENTRY *entry )
    {
        constexpr PB_INT queries = IN_FILTER_ENTRY_FLAG_DNS_QUERY_ADDRESSES | IN_FILTER_ENTRY_FLAG_DNS_QUERY_SRV;
        pb::Ref<PB_STRING> host = pb::adopt( inFilterEntryHost( entry ) );
        return ( inFilterEntryFlags( entry ) & queries ) && !pb::adopt( inAddressTryCreateFromString( host.get() ) );
    }
    /** A program may give the stack itself, a file can only name it. */
    void checkWhole( in::Report &report ) const
    {
        for ( PB_INT i = 0; report.file && !stackName && i < pbVectorLength( entries.get() ); ++i )
            if ( asks( pb::adoptAs<IN_FILTER_ENTRY>( pbVectorObjAt( entries.get(), i ) ).get() ) )
                return report.add( "stackName", "missing, though entries have names to look up" );
    }

    static constexpr auto options()
    {
        return std::tuple{
            in::VectorRow<IN_FILTER_OPTIONS, in::StoreItem<IN_FILTER_ENTRY>>{ "entries", &IN_FILTER_OPTIONS::entries,
                { inFilterEntryStore, inFilterEntryTryRestore, inFilterEntryCheck } },
            in::ObjectNameRow<IN_FILTER_OPTIONS>{ "stackName", &IN_FILTER_OPTIONS::stackName, inStackSort },
            in::ValueRow<IN_FILTER_OPTIONS, bool>{
                "stackAddressPermitted", &IN_FILTER_OPTIONS::stackAddressPermitted, true },
            in::ValueRow<IN_FILTER_OPTIONS, PB_INT>{
                "rebuildInterval", &IN_FILTER_OPTIONS::rebuildInterval, 600'000, 1 },
            in::UnstoredRow<IN_FILTER_OPTIONS, IN_STACK>{ &IN_FILTER_OPTIONS::stack },
        };
    }
};

IN_OPTIONS_DEFINE( IN_FILTER_OPTIONS, inFilterOptions, in___FilterOptions );

IN_ITEMS_DEFINE( IN_FILTER_OPTIONS, inFilterOptions, Entry, Entries, entries, IN_FILTER_ENTRY, opt, entry, true );
IN_OPTIONAL_CHECKED_DEFINE( IN_FILTER_OPTIONS, inFilterOptions, StackName, stackName, PB_STRING, opt, stackName,
    csObjectRecordNameOk( stackName ) );
IN_SETTING_DEFINE(
    IN_FILTER_OPTIONS, inFilterOptions, StackAddressPermitted, stackAddressPermitted, PB_BOOL, permitted, true );
IN_SETTING_DEFINE(
    IN_FILTER_OPTIONS, inFilterOptions, RebuildInterval, rebuildInterval, PB_INT, interval, interval > 0 );
IN_OPTIONAL_DEFINE( IN_FILTER_OPTIONS, inFilterOptions, Stack, stack, IN_STACK, opt, stack );
