/* For the tests of containers: integers as objects, and an object that runs a function when it is freed. */
#ifndef TEST_PB_CONTAINER_SUPPORT_H
#define TEST_PB_CONTAINER_SUPPORT_H

#include <support/test_support.h>

struct TEST_PROBE : PB_OBJ {
    std::function<void()> onFree;
};

namespace test {

inline void freeProbe( PB_OBJ *obj )
{
    std::function<void()> onFree = std::move( static_cast<TEST_PROBE *>( obj )->onFree );
    pb::destroy<TEST_PROBE>( obj );
    onFree();
}
inline const PB_SORT probeSort = { "TEST_PROBE", freeProbe, nullptr, nullptr };

} // namespace test

template <>
struct pb::Class<TEST_PROBE> {
    static const PB_SORT *sort() { return &test::probeSort; }
};

namespace test {

inline pb::Ref<PB_OBJ> probe( std::function<void()> onFree )
{
    return pb::adopt<PB_OBJ>( pb::create<TEST_PROBE>( std::move( onFree ) ) );
}

inline pb::Ref<PB_OBJ> boxed( PB_INT value )
{
    return pb::adopt( pbBoxedIntObj( pbBoxedIntCreate( value ) ) );
}

/** The integer of a returned object, which is released; -1 for null. */
inline PB_INT unboxed( PB_OBJ *owned )
{
    pb::Ref<PB_BOXED_INT> held = pb::adoptAs<PB_BOXED_INT>( owned );
    return held ? pbBoxedIntValue( held.get() ) : -1;
}

/** Repeatable numbers for tests against a model. */
class Dice {
public:
    PB_INT operator()( PB_INT low, PB_INT high )
    {
        return std::uniform_int_distribution<PB_INT>( low, high )( engine );
    }

private:
    std::mt19937_64 engine{ 20260228 };
};

/** Makes a copy of an object now and then, so that the next setters meet a shared one, and checks that it stays as it was. */
template <class T>
class Snapshot {
public:
    void take( const pb::Ref<T> &object )
    {
        EXPECT_EQ( held ? textOf( held.get() ) : text, text );
        held = object;
        text = textOf( held.get() );
    }

private:
    pb::Ref<T> held;
    std::string text;
};

/** Compares each with a copy of each: the rows stand in ascending order, and no two are equal. */
template <class T>
void expectAscending( T *( *createFrom )( T *source ), const std::vector<pb::Ref<T>> &rows )
{
    for ( std::size_t a = 0; a < rows.size(); ++a )
        for ( std::size_t b = 0; b < rows.size(); ++b ) {
            pb::Ref<T> copy = pb::adopt( createFrom( rows[b].get() ) );
            PB_INT order = pbObjCompare( pb::obj( rows[a].get() ), pb::obj( copy.get() ) );
            EXPECT_EQ( pb::order( order, PB_INT( 0 ) ), pb::order( a, b ) )
                << textOf( rows[a].get() ) << " " << textOf( copy.get() );
        }
}

} // namespace test

#endif
