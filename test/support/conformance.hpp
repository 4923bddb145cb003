/*
 * What every class must do, as one test body. A library lists its classes in <library>_classes.inc and gives samples<T>()
 * for each: distinct objects in ascending order. A class without samples does not compile.
 */
#ifndef TEST_CONFORMANCE_HPP
#define TEST_CONFORMANCE_HPP

#include <support/test_support.h>

namespace test {

/** The eight functions of a class, as its prefix names them. */
template <class T>
struct Functions {
    const PB_SORT *( *sort )();
    PB_OBJ *( *obj )( T * );
    T *( *from )( PB_OBJ * );
    T *( *retain )( T * );
    void ( *release )( T * );
    PB_STRING *( *toString )( T * );
    PB_INT ( *compare )( T *, T * );
    PB_BOOL ( *equals )( T *, T * );
};

template <class T>
using Samples = std::vector<pb::Ref<T>>;

inline int64_t references( PB_OBJ *obj )
{
    return obj->refs.value();
}

template <class T>
void checkOrder( const Functions<T> &functions, const Samples<T> &samples )
{
    for ( std::size_t a = 0; a < samples.size(); ++a ) {
        for ( std::size_t b = 0; b < samples.size(); ++b ) {
            PB_INT order = functions.compare( samples[a].get(), samples[b].get() );
            EXPECT_EQ( pb::order( order, PB_INT( 0 ) ), pb::order( a, b ) ) << a << " against " << b;
            EXPECT_EQ( functions.equals( samples[a].get(), samples[b].get() ), a == b );
        }
    }
}

template <class T>
void checkStandardFunctions( const char *name, const Functions<T> &functions, const Samples<T> &samples )
{
    ASSERT_GE( samples.size(), 2U );
    T *object = samples[0].get();
    EXPECT_STREQ( pbSortName( functions.sort() ), name );
    EXPECT_EQ( pbObjSort( functions.obj( object ) ), functions.sort() );

    EXPECT_EQ( functions.from( nullptr ), nullptr );
    EXPECT_EQ( functions.from( functions.obj( object ) ), object );

    int64_t before = references( pb::obj( object ) );
    EXPECT_EQ( functions.retain( object ), object );
    EXPECT_EQ( references( pb::obj( object ) ), before + 1 );
    functions.release( object );
    EXPECT_EQ( references( pb::obj( object ) ), before );
    EXPECT_NE( take( functions.toString( object ) ), "" );
    checkOrder( functions, samples );
}

/** What misuse says; one class speaks for all, since one macro defines them. */
template <class T>
void checkMisuse( const Functions<T> &functions, T *object )
{
    EXPECT_DEATH(
        functions.from( pb::obj( str( "other" ).get() ) ), "stdfunc from: !obj \\|\\| pbObjSort\\(obj\\)==&" );
    EXPECT_DEATH( functions.retain( nullptr ), "stdfunc retain: obj" );
    EXPECT_DEATH( functions.release( nullptr ), "stdfunc release: obj" );
    EXPECT_DEATH( functions.toString( nullptr ), "stdfunc tostring: obj" );
    EXPECT_DEATH( functions.compare( nullptr, object ), "stdfunc compare a: objA" );
    EXPECT_DEATH( functions.compare( object, nullptr ), "stdfunc compare b: objB" );
}

/** A copy equals its source and is an object of its own; a setter on a shared object leaves the other holder's alone. */
template <class T, class CreateFrom, class Set>
void checkCopyOnWrite( const Functions<T> &functions, T *sample, CreateFrom createFrom, Set set )
{
    pb::Ref<T> copy = pb::adopt( createFrom( sample ) );
    EXPECT_NE( copy.get(), sample );
    EXPECT_TRUE( functions.equals( copy.get(), sample ) );

    T *alone = copy.get();
    set( copy.handle() );
    EXPECT_EQ( copy.get(), alone ) << "the only holder's object is changed in place";

    pb::Ref<T> other = copy;
    set( copy.handle() );
    EXPECT_NE( copy.get(), other.get() );
    EXPECT_EQ( references( pb::obj( other.get() ) ), 1 );
}

} // namespace test

#define TEST_FUNCTIONS( prefix )                                                                                     \
    {                                                                                                                \
        prefix##Sort, prefix##Obj, prefix##From, prefix##Retain, prefix##Release, prefix##ToString, prefix##Compare, \
            prefix##Equals                                                                                           \
    }

#endif
