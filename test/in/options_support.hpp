/* Options as text: JSON to a store and back, what restoring makes of it, what a check says of it. */
#ifndef TEST_IN_OPTIONS_SUPPORT_HPP
#define TEST_IN_OPTIONS_SUPPORT_HPP

#include <cs/cs.h>
#include <support/addresses.hpp>

namespace test {

using Store = pb::Ref<PB_STORE>;

/** The configuration file with one object "o" of that configuration. */
inline pb::Ref<CS_CONFIG> fileOf( const std::string &sort, const std::string &json )
{
    std::string file = R"({"objects":{"o":{"sort":")" + sort + R"(","config":)" + json + "}}}";
    pb::Ref<PB_STRING> error;
    pb::Ref<CS_CONFIG> config = pb::adopt( csConfigTryDecode( buffer( file ).get(), error.handle() ) );
    EXPECT_TRUE( config ) << json << pb::text( error.get() );
    return config;
}

inline Store storeOf( const std::string &json )
{
    return pb::adopt( csConfigObjectConfig( fileOf( "SORT", json ).get(), str( "o" ).get() ) );
}
/** Through the text of a configuration file and back. */
inline Store throughFile( PB_STORE *store )
{
    return storeOf( textOf( store ) );
}

/** What a check says, a line each: the path of a key and what there is to say. */
inline std::string linesOf( PB_STORE *report )
{
    Store held = pb::adopt( report );
    std::string lines;
    for ( PB_INT i = 0; i < pbStoreLength( held.get() ); ++i )
        lines +=
            ( i ? "\n" : "" ) + take( pbStoreKeyAt( held.get(), i ) ) + ": " + take( pbStoreValueAt( held.get(), i ) );
    return lines;
}

/** Leaves the live store empty, as it was: the first configuration brings the versions of the modules, which stay. */
class LiveStore : public testing::Test {
protected:
    static void SetUpTestSuite() { empty(); }
    void TearDown() override { empty(); }
    static void empty()
    {
        pb::Ref<PB_STRING> error;
        EXPECT_TRUE( csStoreTrySetConfig( pb::adopt( csConfigCreate() ).get(), error.handle() ) );
    }
    static void set( const char *name, const char *sort, const std::string &json )
    {
        EXPECT_TRUE( csStoreTrySetObject( str( name ).get(), str( sort ).get(), storeOf( json ).get() ) );
    }
};

} // namespace test

#endif
