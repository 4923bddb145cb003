/* Enumerations and flag sets. */
#include <support/test_support.h>

namespace {

pb::Ref<PB_ENUM> colours()
{
    pb::Ref<PB_ENUM> enm = pb::adopt( pbEnumCreate() );
    pbEnumAddCstr( enm.handle(), "COLOUR_RED", -1, 7 );
    pbEnumAddCstr( enm.handle(), "COLOUR_BLUE", -1, 0 );
    return enm;
}

pb::Ref<PB_FLAGSET> flags()
{
    pb::Ref<PB_FLAGSET> set = pb::adopt( pbFlagsetCreate() );
    for ( auto [name, value] : std::initializer_list<std::pair<const char *, PB_INT>>{
              { "FLAG_C", 4 }, { "FLAG_A", 1 }, { "FLAG_B", 2 }, { "FLAG_A_ALIAS", 1 }, { "FLAG_TOP", PB_INT_MIN } } )
        pbFlagsetAddFlagCstr( set.handle(), name, -1, value );
    return set;
}

using Row = std::pair<const char *, PB_INT>;

} // namespace

TEST( Enum, ParseAndGenerate )
{
    pb::Ref<PB_ENUM> enm = colours();
    for ( auto [text, value] : { Row{ "COLOUR_RED", 7 }, Row{ "COLOUR_BLUE", 0 }, Row{ "COLOUR_BLU", -1 },
              Row{ "colour_red", -1 }, Row{ " COLOUR_RED", -1 }, Row{ "7", -1 }, Row{ "", -1 } } ) {
        EXPECT_EQ( pbEnumParse( enm.get(), test::str( text ).get() ), value ) << text;
        EXPECT_EQ( pbEnumHasCstr( enm.get(), text, -1 ), value >= 0 ) << text;
        EXPECT_TRUE( value < 0 || test::take( pbEnumGenerate( enm.get(), value ) ) == text );
    }
}

TEST( Flagset, ParseAndGenerate )
{
    pb::Ref<PB_FLAGSET> set = flags();
    for ( auto [text, value] : { Row{ "", 0 }, Row{ "FLAG_C|FLAG_A", 5 }, Row{ " FLAG_A |\tFLAG_B ", 3 },
              Row{ "FLAG_A|FLAG_A", 1 }, Row{ "FLAG_X|FLAG_B", 2 }, Row{ "||FLAG_B|", 2 }, Row{ "FLAG_A FLAG_B", 0 },
              Row{ "flag_a", 0 }, Row{ "FLAG_A_ALIAS|FLAG_TOP", PB_INT_MIN + 1 } } )
        EXPECT_EQ( pbFlagsetParse( set.get(), test::str( text ).get() ), value ) << text;
    for ( auto [text, value] : { Row{ "", 64 }, Row{ "FLAG_B", 66 }, Row{ "FLAG_A|FLAG_B|FLAG_C|FLAG_TOP", -1 } } )
        EXPECT_EQ( test::take( pbFlagsetGenerate( set.get(), value ) ), text );
}

TEST( Enum, CopyOnWrite )
{
    pb::Ref<PB_ENUM> enm = colours(), other = enm;
    pbEnumAddCstr( other.handle(), "COLOUR_GREEN", -1, 8 );
    EXPECT_FALSE( pbEnumHasCstr( enm.get(), "COLOUR_GREEN", -1 ) );
    pb::Ref<PB_FLAGSET> set = flags(), more = set;
    pbFlagsetAddFlagCstr( more.handle(), "FLAG_D", -1, 8 );
    EXPECT_FALSE( pbFlagsetHasFlagCstr( set.get(), "FLAG_D", -1 ) );
}
