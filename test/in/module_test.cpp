/* The module: its record and descriptor, start-up, the vocabularies of the base, shut-down. */
#include <cs/cs.h>
#include <in/base/in_address_version_private.h>
#include <in/base/in_flags_private.h>
#include <in/base/in_module_private.h>
#include <in/in.h>
#include <in/nw/in_nw_vocabulary_private.h>
#include <pr/pr.h>
#include <support/processes.hpp>
#include <support/test_support.h>
#include <tr/tr.h>

namespace {

const int modules = test::addModules( { trModule(), prModule(), csModule(), inModule() } );

// the interface monitor has the threads of processes start at any time
const int threads = test::addFixture(
    1, { [] { ASSERT_TRUE( test::startAllThreads( nullptr, std::max( 2U, std::thread::hardware_concurrency() ) ) ); },
           [] {} } );

// checked after the module was stopped
const int globals = test::addFixture( -1, { [] {},
                                              [] {
                                                  EXPECT_EQ( *( &in___AddressVersionEnum ), pb::released<PB_ENUM>() );
                                                  EXPECT_EQ( *( &in___FlagsFlagset ), pb::released<PB_FLAGSET>() );
                                                  EXPECT_EQ( *( &in___NwAddressTypeEnum ), pb::released<PB_ENUM>() );
                                              } } );

} // namespace

TEST( Module, Record )
{
    const PB_MODULE_RECORD *record = pbModuleRecord( inModule() );
    EXPECT_EQ( record->layout, 2 );
    EXPECT_STREQ( record->product, "quelvaris" );
    EXPECT_STREQ( record->productFullName, "quelvar frontend" );
    EXPECT_STREQ( record->name, "in" );
    EXPECT_STREQ( record->title, "Internetworking" );
    EXPECT_STREQ( record->version, "17.1" );
    EXPECT_STREQ( record->required, "cs iri pb pr rfc tr unix" );
    EXPECT_STREQ( record->reserved, "" );
}

TEST( Module, Info )
{
    pb::Ref<PB_STORE> info = pb::adopt( csModuleInfo( inModule() ) );
    ASSERT_TRUE( info );
    pb::Ref<PB_STORE> interfaces = pb::adopt( pbStoreStoreCstr( info.get(), "interfaces", -1 ) );
    ASSERT_TRUE( interfaces );
    ASSERT_TRUE( pbStoreIsArray( interfaces.get() ) );
    pb::Ref<PB_VECTOR> all = pb::adopt( inNwInterfacesVector() );
    ASSERT_EQ( pbStoreLength( interfaces.get() ), pbVectorLength( all.get() ) );
    for ( PB_INT i = 0; i < pbVectorLength( all.get() ); ++i ) {
        pb::Ref<IN_NW_INTERFACE> iface = pb::adoptAs<IN_NW_INTERFACE>( pbVectorObjAt( all.get(), i ) );
        pb::Ref<PB_STORE> shown = pb::adopt( pbStoreStoreAt( interfaces.get(), i ) );
        EXPECT_EQ( test::take( pbStoreValueCstr( shown.get(), "identifier", -1 ) ),
            test::take( inNwInterfaceIdentifier( iface.get() ) ) );
        EXPECT_TRUE( pbStoreHasStoreCstr( shown.get(), "state", -1 ) );
    }
}

TEST( Vocabularies, Texts )
{
    EXPECT_EQ( test::take( inAddressVersionToString( IN_ADDRESS_VERSION_4 ) ), "IN_ADDRESS_VERSION_4" );
    EXPECT_EQ( inAddressVersionFromString( test::str( "IN_ADDRESS_VERSION_6" ).get() ), IN_ADDRESS_VERSION_6 );
    EXPECT_FALSE( IN_ADDRESS_VERSION_OK( inAddressVersionFromString( test::str( "in_address_version_4" ).get() ) ) );
    EXPECT_DEATH( inAddressVersionToString( 2 ), "in_address_version.cpp:.*: IN_ADDRESS_VERSION_OK\\( version \\)" );
    EXPECT_EQ( inFlagsNormalize( -2 ), 0 );
    EXPECT_EQ( inUdpFlagsNormalize( -1 ), 1 );
    EXPECT_EQ( test::take( inUdpFlagsToString( -1 ) ), "IN_UDP_FLAG_NO_RECEIVE" );
    EXPECT_EQ( test::take( inTcpFlagsToString( -1 ) ), "IN_TCP_FLAG_NO_DELAY|IN_TCP_FLAG_KEEP_ALIVE" );
    EXPECT_EQ( inTcpFlagsFromString( test::str( "IN_TCP_FLAG_KEEP_ALIVE|x" ).get() ), 2 );
    EXPECT_EQ( test::take( inFlagsToString( 0xff ) ), "IN_FLAG_LOOPBACK_ONLY" );
    EXPECT_EQ( inFlagsFromString( test::str( "IN_FLAG_OTHER|IN_FLAG_LOOPBACK_ONLY" ).get() ), 1 );
    EXPECT_DEATH( PB_FLAGSET_ADD( &in___FlagsFlagset, IN_FLAG_LOOPBACK_ONLY ),
        "!pbFlagsetHasFlagCstr\\( \\*\\(&in___FlagsFlagset\\), \"IN_FLAG_LOOPBACK_ONLY\", -1 \\)" );
}
