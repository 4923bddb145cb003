/* Dictionaries. */
#include "container_support.h"
#include <map>

using test::boxed;

namespace {

using Model = std::map<PB_INT, PB_INT>;

pb::Ref<PB_DICT> dictOf( const Model &model )
{
    pb::Ref<PB_DICT> dict = pb::adopt( pbDictCreate() );
    for ( auto [key, value] : model )
        pbDictSet( dict.handle(), boxed( key ).get(), boxed( value ).get() );
    return dict;
}

} // namespace

TEST( Dict, BehavesAsItsModel )
{
    test::Dice dice;
    Model model;
    pb::Ref<PB_DICT> dict = pb::adopt( pbDictCreate() );
    test::Snapshot<PB_DICT> snapshot;
    for ( int round = 0; round < 20000; ++round ) {
        PB_INT key = dice( 0, 40 );
        PB_INT value = dice( 0, 999 );
        if ( dice( 0, 1 ) ) {
            pbDictSet( dict.handle(), boxed( key ).get(), boxed( value ).get() );
            model[key] = value;
        } else {
            pbDictDel( dict.handle(), boxed( key ).get() );
            model.erase( key );
        }
        if ( dice( 0, 400 ) == 0 ) {
            pbDictClear( dict.handle() );
            model.clear();
        }
        if ( dice( 0, 20 ) == 0 )
            snapshot.take( dict );
        key = dice( 0, 40 );
        ASSERT_EQ( pbDictLength( dict.get() ), PB_INT( model.size() ) );
        ASSERT_EQ( pbDictHas( dict.get(), boxed( key ).get() ), model.contains( key ) );
        ASSERT_EQ(
            test::unboxed( pbDictValue( dict.get(), boxed( key ).get() ) ), model.contains( key ) ? model[key] : -1 );
        if ( round % 64 == 0 ) {
            ASSERT_TRUE( pbDictEquals( dict.get(), dictOf( model ).get() ) );
        }
    }
}

TEST( Dict, KeepsKeysInOrder )
{
    pb::Ref<PB_DICT> dict = dictOf( { { 3, 30 }, { 1, 10 }, { 2, 20 } } );
    pbDictSet( dict.handle(), pb::obj( test::str( "x" ).get() ), boxed( 0 ).get() ); // a sort that comes later by name
    EXPECT_EQ( test::textOf( dict.get() ), "{1: 10, 2: 20, 3: 30, x: 0}" );
    EXPECT_EQ( test::textOf( pb::adopt( pbDictKeysVector( dict.get() ) ).get() ), "[1, 2, 3, x]" );
    EXPECT_EQ( test::textOf( pb::adopt( pbDictValuesVector( dict.get() ) ).get() ), "[10, 20, 30, 0]" );
    EXPECT_EQ( test::unboxed( pbDictKeyAt( dict.get(), 0 ) ), 1 );
    EXPECT_EQ( test::unboxed( pbDictValueAt( dict.get(), 2 ) ), 30 );
}

TEST( Dict, Order )
{
    test::expectAscending(
        pbDictCreateFrom, { dictOf( {} ), dictOf( { { 1, 1 } } ), dictOf( { { 1, 1 }, { 2, 0 } } ),
                              dictOf( { { 1, 1 }, { 2, 1 } } ), dictOf( { { 1, 2 } } ), dictOf( { { 2, 0 } } ) } );
}

TEST( Dict, AnEqualKeyStays )
{
    pb::Ref<PB_OBJ> first = boxed( 1 );
    pb::Ref<PB_DICT> dict = pb::adopt( pbDictCreate() );
    pbDictSet( dict.handle(), first.get(), boxed( 10 ).get() );
    pbDictSet( dict.handle(), boxed( 1 ).get(), boxed( 20 ).get() );
    EXPECT_EQ( pb::adopt( pbDictKeyAt( dict.get(), 0 ) ).get(), first.get() );
    EXPECT_EQ( test::textOf( dict.get() ), "{1: 20}" );
}

TEST( Dict, IsCopiedIntoItself )
{
    pb::Ref<PB_DICT> dict = dictOf( { { 1, 10 } } );
    pbDictSet( dict.handle(), boxed( 1 ).get(), pb::obj( dict.get() ) );
    EXPECT_EQ( test::textOf( dict.get() ), "{1: {1: 10}}" );
}

TEST( Dict, IsWholeWhenAnEntryIsFreed )
{
    using Call = void ( * )( PB_DICT ** );
    const std::vector<std::pair<Call, std::string>> rows = {
        { []( PB_DICT **dict ) { pbDictSet( dict, boxed( 1 ).get(), boxed( 9 ).get() ); }, "{0: 0, 1: 9, 2: 20}" },
        { []( PB_DICT **dict ) { pbDictDel( dict, boxed( 1 ).get() ); }, "{0: 0, 2: 20}" },
        { []( PB_DICT **dict ) { pbDictClear( dict ); }, "{}" },
    };
    for ( const auto &[call, expected] : rows ) {
        pb::Ref<PB_DICT> dict = dictOf( { { 0, 0 }, { 2, 20 } } );
        std::string seen;
        pbDictSet( dict.handle(), boxed( 1 ).get(), test::probe( [&] { seen = test::textOf( dict.get() ); } ).get() );
        call( dict.handle() );
        EXPECT_EQ( seen, expected );
    }
}

TEST( DictDeathTest, Misuse )
{
    PB_DICT *none = nullptr;
    pb::Ref<PB_DICT> dict = dictOf( { { 1, 10 } } );
    pb::Ref<PB_OBJ> obj = boxed( 1 );
    test::expectAborts( {
        { "dict", [&] { pbDictHas( nullptr, obj.get() ); } },
        { "key", [&] { pbDictValue( dict.get(), nullptr ); } },
        { "index < pbDictLength( dict )", [&] { pbDictKeyAt( dict.get(), 1 ); } },
        { "index >= 0", [&] { pbDictValueAt( dict.get(), -1 ); } },
        { "*dict", [&] { pbDictSet( &none, obj.get(), obj.get() ); } },
        { "key", [&] { pbDictSet( dict.handle(), nullptr, obj.get() ); } },
        { "value", [&] { pbDictSet( dict.handle(), obj.get(), nullptr ); } },
        { "dict", [&] { pbDictDel( nullptr, obj.get() ); } },
        { "*dict", [&] { pbDictClear( &none ); } },
    } );
}
