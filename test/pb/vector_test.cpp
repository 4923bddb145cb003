/* Vectors. */
#include "container_support.h"

using test::boxed;

namespace {

pb::Ref<PB_VECTOR> vectorOf( std::vector<PB_INT> values )
{
    pb::Ref<PB_VECTOR> vec = pb::adopt( pbVectorCreate() );
    for ( PB_INT value : values )
        pbVectorAppend( vec.handle(), boxed( value ).get() );
    return vec;
}

void step( test::Dice &dice, PB_VECTOR **vec, std::vector<PB_INT> &model )
{
    PB_INT length = PB_INT( model.size() );
    PB_INT value = dice( 0, 999 );
    PB_INT place = dice( 0, length );
    pb::Ref<PB_OBJ> obj = boxed( value );
    switch ( dice( 0, place < length ? 9 : 4 ) ) {
    case 0:
        pbVectorPrepend( vec, obj.get() );
        model.insert( model.begin(), value );
        break;
    case 1:
    case 2:
        pbVectorInsert( vec, place, obj.get() );
        model.insert( model.begin() + place, value );
        break;
    case 3:
    case 4:
        pbVectorAppend( vec, obj.get() );
        model.push_back( value );
        break;
    case 5:
        pbVectorSetObjAt( vec, place, obj.get() );
        model[std::size_t( place )] = value;
        break;
    case 6:
    case 7:
        pbVectorDelAt( vec, place );
        model.erase( model.begin() + place );
        break;
    default:
        pbVectorDelAt( vec, 0 );
        model.erase( model.begin() );
    }
    if ( dice( 0, 500 ) == 0 ) {
        pbVectorClear( vec );
        model.clear();
    }
}

} // namespace

TEST( Vector, BehavesAsItsModel )
{
    test::Dice dice;
    std::vector<PB_INT> model;
    pb::Ref<PB_VECTOR> vec = vectorOf( {} );
    test::Snapshot<PB_VECTOR> snapshot;
    for ( int round = 0; round < 20000; ++round ) {
        step( dice, vec.handle(), model );
        if ( dice( 0, 20 ) == 0 )
            snapshot.take( vec );
        ASSERT_EQ( pbVectorLength( vec.get() ), PB_INT( model.size() ) );
        if ( !model.empty() ) {
            PB_INT place = dice( 0, PB_INT( model.size() ) - 1 );
            ASSERT_EQ( test::unboxed( pbVectorObjAt( vec.get(), place ) ), model[std::size_t( place )] );
        }
        if ( round % 64 == 0 ) {
            ASSERT_TRUE( pbVectorEquals( vec.get(), vectorOf( model ).get() ) );
        }
    }
}

// Would take hours if each removal moved what is left.
TEST( Vector, ServesAsAQueue )
{
    constexpr PB_INT count = 1000000;
    pb::Ref<PB_OBJ> obj = boxed( 1 );
    pb::Ref<PB_VECTOR> vec = vectorOf( {} );
    for ( PB_INT i = 0; i < count; ++i )
        pbVectorAppend( vec.handle(), obj.get() );
    for ( PB_INT i = 0; i < count; ++i )
        pbVectorDelAt( vec.handle(), 0 );
    EXPECT_EQ( pbVectorLength( vec.get() ), 0 );
}

TEST( Vector, OrderAndText )
{
    test::expectAscending( pbVectorCreateFrom, { vectorOf( {} ), vectorOf( { 1 } ), vectorOf( { 1, 2 } ),
                                                   vectorOf( { 1, 2, 3 } ), vectorOf( { 1, 3 } ), vectorOf( { 2 } ) } );
    EXPECT_EQ( test::textOf( vectorOf( {} ).get() ), "[]" );
    EXPECT_EQ( test::textOf( vectorOf( { 1, 2 } ).get() ), "[1, 2]" );
}

TEST( Vector, ContainsOnly )
{
    pb::Ref<PB_VECTOR> vec = vectorOf( {} );
    EXPECT_TRUE( pbVectorContainsOnly( vec.get(), pbStringSort() ) );
    vec = vectorOf( { 1, 2 } );
    EXPECT_TRUE( pbVectorContainsOnly( vec.get(), pbBoxedIntSort() ) );
    pbVectorAppend( vec.handle(), pb::obj( test::str( "x" ).get() ) );
    EXPECT_FALSE( pbVectorContainsOnly( vec.get(), pbBoxedIntSort() ) );
}

TEST( Vector, IsCopiedIntoItself )
{
    pb::Ref<PB_VECTOR> vec = vectorOf( { 1 } );
    pbVectorAppend( vec.handle(), pb::obj( vec.get() ) );
    pbVectorSetObjAt( vec.handle(), 0, pb::obj( vec.get() ) );
    EXPECT_EQ( test::textOf( vec.get() ), "[[1, [1]], [1]]" );
}

TEST( Vector, IsWholeWhenAnEntryIsFreed )
{
    using Call = void ( * )( PB_VECTOR ** );
    const std::vector<std::pair<Call, std::string>> rows = {
        { []( PB_VECTOR **vec ) { pbVectorSetObjAt( vec, 0, boxed( 9 ).get() ); }, "[9, 1, 2]" },
        { []( PB_VECTOR **vec ) { pbVectorDelAt( vec, 0 ); }, "[1, 2]" },
        { []( PB_VECTOR **vec ) { pbVectorPrepend( vec, boxed( 8 ).get() ), pbVectorDelAt( vec, 1 ); }, "[8, 1, 2]" },
        { []( PB_VECTOR **vec ) { pbVectorClear( vec ); }, "[]" },
    };
    for ( const auto &[call, expected] : rows ) {
        pb::Ref<PB_VECTOR> vec = vectorOf( { 1, 2 } );
        std::string seen;
        pbVectorPrepend( vec.handle(), test::probe( [&] { seen = test::textOf( vec.get() ); } ).get() );
        call( vec.handle() );
        EXPECT_EQ( seen, expected );
    }
}

TEST( VectorDeathTest, Misuse )
{
    PB_VECTOR *none = nullptr;
    pb::Ref<PB_VECTOR> vec = vectorOf( { 1 } );
    pb::Ref<PB_OBJ> obj = boxed( 2 );
    test::expectAborts( {
        { "vec", [&] { pbVectorLength( nullptr ); } },
        { "vec", [&] { pbVectorAppend( nullptr, obj.get() ); } },
        { "*vec", [&] { pbVectorAppend( &none, obj.get() ); } },
        { "obj", [&] { pbVectorAppend( vec.handle(), nullptr ); } },
        { "index < pbVectorLength( vec )", [&] { pbVectorObjAt( vec.get(), 1 ); } },
        { "index >= 0", [&] { pbVectorDelAt( vec.handle(), -1 ); } },
        { "index < pbVectorLength( *vec )", [&] { pbVectorDelAt( vec.handle(), 1 ); } },
        { "index < pbVectorLength( *vec )", [&] { pbVectorSetObjAt( vec.handle(), 1, obj.get() ); } },
        { "index <= pbVectorLength( *vec )", [&] { pbVectorInsert( vec.handle(), 2, obj.get() ); } },
    } );
}
