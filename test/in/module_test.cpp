/* The module: its record and descriptor, start-up, the vocabularies of the base, shut-down. */
#include <cs/cs.h>
#include <in/base/in_address_version_private.h>
#include <in/base/in_flags_private.h>
#include <in/base/in_module_private.h>
#include <in/in.h>
#include <in/nw/in_nw_vocabulary_private.h>
#include <pr/pr.h>
#include <support/processes.hpp>
#include <tr/tr.h>

namespace {

const int modules = test::addModules( { trModule(), prModule(), csModule(), inModule() } );
const int threads = test::addThreads(); // the interface monitor would have them start at any time

// checked after the module was stopped
const int globals = test::addFixture( -1, { [] {},
                                              [] {
                                                  EXPECT_EQ( *( &in___AddressVersionEnum ), pb::released<PB_ENUM>() );
                                                  EXPECT_EQ( *( &in___FlagsFlagset ), pb::released<PB_FLAGSET>() );
                                                  EXPECT_EQ( *( &in___NwAddressTypeEnum ), pb::released<PB_ENUM>() );
                                              } } );

} // namespace

TEST( Module, Info )
{
    pb::Ref<PB_STORE> info = pb::adopt( csModuleInfo( inModule() ) );
    pb::Ref<PB_STORE> interfaces = pb::adopt( pbStoreStoreCstr( info.get(), "interfaces", -1 ) );
    auto all = test::takeAll<IN_NW_INTERFACE>( inNwInterfacesVector() );
    ASSERT_EQ( pbStoreLength( interfaces.get() ), PB_INT_FROM( all.size() ) );
    for ( PB_INT i = 0; i < pbStoreLength( interfaces.get() ); ++i ) {
        pb::Ref<PB_STORE> shown = pb::adopt( pbStoreStoreAt( interfaces.get(), i ) );
        EXPECT_EQ( test::take( pbStoreValueCstr( shown.get(), "identifier", -1 ) ),
            test::take( inNwInterfaceIdentifier( all[std::size_t( i )].get() ) ) );
        EXPECT_TRUE( pbStoreHasStoreCstr( shown.get(), "state", -1 ) );
    }
}

#define NAMED( context, NAME, value ) { #NAME, NAME },
#define VOCABULARY( prefix, ENUMERANTS )      \
    {                                         \
        prefix##ToString, prefix##FromString, \
        {                                     \
            ENUMERANTS( NAMED, )              \
        }                                     \
    }

/** Each name is of its value, and of no other; what is no name is no value. */
TEST( Vocabularies, Names )
{
    struct {
        PB_STRING *( *toText )( PB_INT );
        PB_INT ( *fromText )( PB_STRING * );
        std::vector<std::pair<std::string, PB_INT>> names;
    } const rows[] = {
        { inAddressVersionToString, inAddressVersionFromString,
            { { "IN_ADDRESS_VERSION_4", 0 }, { "IN_ADDRESS_VERSION_6", 1 } } },
        { inNwAddressTypeToString, inNwAddressTypeFromString, { { "IN_NW_ADDRESS_TYPE_MAC", 0 } } },
        { inNwInterfaceStatusToString, inNwInterfaceStatusFromString,
            { { "IN_NW_INTERFACE_STATUS_DOWN", 0 }, { "IN_NW_INTERFACE_STATUS_UP", 1 } } },
        VOCABULARY( inQosDefaults, IN_QOS_DEFAULTS_ENUMERANTS ),
        VOCABULARY( inQosLayer2Pcp, IN_QOS_LAYER2_PCP_ENUMERANTS ),
        VOCABULARY( inQosWindowsTrafficType, IN_QOS_WINDOWS_TRAFFIC_TYPE_ENUMERANTS ),
    };
    for ( const auto &row : rows ) {
        for ( const auto &[name, value] : row.names ) {
            EXPECT_EQ( test::take( row.toText( value ) ), name );
            EXPECT_EQ( row.fromText( test::str( name ).get() ), value );
        }
        EXPECT_LT( row.fromText( test::str( "IN_" ).get() ), 0 );
    }
    EXPECT_DEATH( inAddressVersionToString( 2 ), "in_address_version.cpp:.*: IN_ADDRESS_VERSION_OK\\( version \\)" );
}

TEST( Vocabularies, Flags )
{
    struct {
        PB_INT ( *normalize )( PB_INT );
        PB_STRING *( *toText )( PB_INT );
        PB_INT ( *fromText )( PB_STRING * );
        PB_INT kept; // of all bits
        const char *all;
    } const rows[] = {
        { inFlagsNormalize, inFlagsToString, inFlagsFromString, 1, "IN_FLAG_LOOPBACK_ONLY" },
        { inUdpFlagsNormalize, inUdpFlagsToString, inUdpFlagsFromString, 1, "IN_UDP_FLAG_NO_RECEIVE" },
        { inTcpFlagsNormalize, inTcpFlagsToString, inTcpFlagsFromString, 3,
            "IN_TCP_FLAG_NO_DELAY|IN_TCP_FLAG_KEEP_ALIVE" },
        { inNwInterfaceFlagsNormalize, inNwInterfaceFlagsToString, inNwInterfaceFlagsFromString, -1,
            "IN_NW_INTERFACE_FLAG_CANNOT_SET_STATUS|IN_NW_INTERFACE_FLAG_HIDE" },
    };
    for ( const auto &row : rows ) {
        EXPECT_EQ( row.normalize( -1 ), row.kept ) << row.all;
        EXPECT_EQ( test::take( row.toText( -1 ) ), row.all );
        EXPECT_EQ( row.fromText( test::str( std::string( "x|" ) + row.all ).get() ), row.kept & 3 ) << row.all;
    }
    EXPECT_EQ( inTcpFlagsFromString( test::str( "IN_TCP_FLAG_KEEP_ALIVE" ).get() ), 2 );
    EXPECT_EQ( inNwInterfaceFlagsFromString( test::str( "IN_NW_INTERFACE_FLAG_HIDE" ).get() ), 2 );
    EXPECT_DEATH( PB_FLAGSET_ADD( &in___FlagsFlagset, IN_FLAG_LOOPBACK_ONLY ),
        "!pbFlagsetHasFlagCstr\\( \\*\\(&in___FlagsFlagset\\), \"IN_FLAG_LOOPBACK_ONLY\", -1 \\)" );
}
