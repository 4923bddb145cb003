/* Enumerations, flag sets, integers as objects. */
#include <array>
#include <support/misuse.h>

namespace {

enum { COLOUR_RED = 7, COLOUR_BLUE = 0, FLAG_A = 1, FLAG_B = 2, FLAG_C = 4 };

pb::Ref<PB_ENUM> colours()
{
    pb::Ref<PB_ENUM> enm = pb::adopt( pbEnumCreate() );
    PB_ENUM_ADD( enm.handle(), COLOUR_RED );
    PB_ENUM_ADD( enm.handle(), COLOUR_BLUE );
    return enm;
}

pb::Ref<PB_FLAGSET> flags()
{
    pb::Ref<PB_FLAGSET> set = pb::adopt( pbFlagsetCreate() );
    PB_FLAGSET_ADD( set.handle(), FLAG_C );
    PB_FLAGSET_ADD( set.handle(), FLAG_A );
    PB_FLAGSET_ADD( set.handle(), FLAG_B );
    pbFlagsetAddFlagCstr( set.handle(), "FLAG_A_ALIAS", -1, FLAG_A );
    pbFlagsetAddFlagCstr( set.handle(), "FLAG_TOP", -1, PB_INT_MIN );
    return set;
}

struct Row {
    const char *text;
    PB_INT value;
};

} // namespace

TEST( Enum, ParseAndGenerate )
{
    pb::Ref<PB_ENUM> enm = colours();
    for ( Row row : std::array<Row, 7>{ { { "COLOUR_RED", 7 }, { "COLOUR_BLUE", 0 }, { "COLOUR_BLU", -1 },
              { "colour_red", -1 }, { " COLOUR_RED", -1 }, { "7", -1 }, { "", -1 } } } ) {
        EXPECT_EQ( pbEnumParse( enm.get(), test::str( row.text ).get() ), row.value ) << row.text;
        EXPECT_EQ( pbEnumHasCstr( enm.get(), row.text, -1 ), row.value >= 0 ) << row.text;
        if ( row.value >= 0 ) {
            EXPECT_EQ( test::take( pbEnumGenerate( enm.get(), row.value ) ), row.text );
        }
    }
}

TEST( Flagset, Parse )
{
    pb::Ref<PB_FLAGSET> set = flags();
    for ( Row row :
        std::array<Row, 11>{ { { "", 0 }, { "FLAG_B", 2 }, { "FLAG_C|FLAG_A", 5 }, { " FLAG_A |\tFLAG_B ", 3 },
            { "FLAG_A|FLAG_A", 1 }, { "FLAG_X|FLAG_B", 2 }, { "FLAG_X", 0 }, { "||FLAG_B|", 2 }, { "FLAG_A FLAG_B", 0 },
            { "flag_a", 0 }, { "FLAG_A_ALIAS|FLAG_TOP", PB_INT_MIN + 1 } } } )
        EXPECT_EQ( pbFlagsetParse( set.get(), test::str( row.text ).get() ), row.value ) << row.text;
}

TEST( Flagset, Generate )
{
    pb::Ref<PB_FLAGSET> set = flags();
    for ( Row row : std::array<Row, 6>{ { { "", 0 }, { "FLAG_A", 1 }, { "FLAG_A|FLAG_B|FLAG_C", 7 }, { "", 64 },
              { "FLAG_B", 66 }, { "FLAG_A|FLAG_B|FLAG_C|FLAG_TOP", -1 } } } )
        EXPECT_EQ( test::take( pbFlagsetGenerate( set.get(), row.value ) ), row.text );
}

TEST( Enum, CopyOnWrite )
{
    pb::Ref<PB_ENUM> enm = colours();
    pb::Ref<PB_ENUM> other = enm;
    pbEnumAddCstr( other.handle(), "COLOUR_GREEN", -1, 8 );
    EXPECT_FALSE( pbEnumHasCstr( enm.get(), "COLOUR_GREEN", -1 ) );
    EXPECT_TRUE( pbEnumHasCstr( other.get(), "COLOUR_GREEN", -1 ) );
    EXPECT_LT( pbEnumCompare( enm.get(), other.get() ), 0 );
    EXPECT_TRUE( pbEnumEquals( enm.get(), pb::adopt( pbEnumCreateFrom( enm.get() ) ).get() ) );

    pb::Ref<PB_FLAGSET> set = flags();
    pb::Ref<PB_FLAGSET> more = set;
    pbFlagsetAddFlagCstr( more.handle(), "FLAG_D", -1, 8 );
    EXPECT_FALSE( pbFlagsetHasFlagCstr( set.get(), "FLAG_D", -1 ) );
    EXPECT_TRUE( pbFlagsetHasFlagCstr( more.get(), "FLAG_D", -1 ) );
    EXPECT_NE( pbFlagsetCompare( set.get(), more.get() ), 0 );
    EXPECT_EQ( pbFlagsetCompare( set.get(), flags().get() ), 0 );
}

TEST( Enum, Misuse )
{
    static PB_FLAGSET *global;
    test::expectAborts( {
        { "!pbEnumHasCstr( *enm, name, length )", [] { pbEnumAddCstr( colours().handle(), "COLOUR_RED", -1, 9 ); } },
        { "!( *enm )->vocabulary.valued( value )", [] { pbEnumAddCstr( colours().handle(), "COLOUR", -1, 7 ); } },
        { "value >= 0", [] { pbEnumAddCstr( colours().handle(), "COLOUR", -1, -1 ); } },
        { "member", [] { pbEnumGenerate( colours().get(), 1 ); } },
        { "*enm", [] { pbEnumAddCstr( pb::Ref<PB_ENUM>().handle(), "COLOUR", -1, 1 ); } },
        { "text", [] { pbEnumParse( colours().get(), nullptr ); } },
        { "std::has_single_bit( static_cast<uint64_t>( value ) )",
            [] { pbFlagsetAddFlagCstr( flags().handle(), "FLAG", -1, 24 ); } },
        { "std::has_single_bit( static_cast<uint64_t>( value ) )",
            [] { pbFlagsetAddFlagCstr( flags().handle(), "FLAG", -1, 0 ); } },
        { "!pbFlagsetHasFlagCstr( *set, name, length )",
            [] { pbFlagsetAddFlagCstr( flags().handle(), "FLAG_A", -1, 8 ); } },
        { "!pbFlagsetHasFlagCstr( *(&global), \"FLAG_B\", -1 )",
            [] {
                global = flags().give();
                PB_FLAGSET_ADD( &global, FLAG_B );
            } },
    } );
}

TEST( BoxedInt, OrderAndText )
{
    const PB_INT values[] = { PB_INT_MIN, -1, 0, 1, PB_INT_MAX };
    for ( PB_INT a : values ) {
        pb::Ref<PB_BOXED_INT> boxed = pb::adopt( pbBoxedIntCreate( a ) );
        EXPECT_EQ( pbBoxedIntValue( boxed.get() ), a );
        EXPECT_EQ( test::textOf( boxed.get() ), std::to_string( a ) );
        for ( PB_INT b : values )
            EXPECT_EQ( pbBoxedIntCompare( boxed.get(), pb::adopt( pbBoxedIntCreate( b ) ).get() ), pb::order( a, b ) );
    }
}
