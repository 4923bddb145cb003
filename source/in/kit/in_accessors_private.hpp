/*
 * Accessors of the members of values. The macros only name the exported functions; the templates do the work, so that a
 * debugger steps through it. What an accessor has beside the member is handed to the template: the place for its aborts,
 * and what it asks of its parameter.
 */
#ifndef IN_ACCESSORS_PRIVATE_HPP
#define IN_ACCESSORS_PRIVATE_HPP

#include <in/kit/in_entries_private.hpp>

/** Starts a setter: asserts the handle and its object. */
#define IN_ASSERT_HANDLE( handle ) \
    PB_ASSERT( handle );           \
    PB_ASSERT( *handle )

namespace in {

/** Where an exported function stands and what it calls its object, for its aborts. */
struct Place {
    const char *path;
    int line;
    const char *object;  // "opt", the object of a getter or the handle of a setter
    const char *pointee; // "*opt", the object of a setter
};

/** The place of the function that it stands in; a constant, so that a call that does not abort costs nothing. */
#define IN_PLACE( object )                                                            \
    ( []() -> const in::Place & {                                                     \
        static constexpr in::Place place{ __FILE__, __LINE__, #object, "*" #object }; \
        return place;                                                                 \
    }() )

/** Aborts unless the precondition with that text holds. */
inline void assertAt( bool holds, const char *text, const Place &place )
{
    if ( !holds ) [[unlikely]]
        pb___Abort( nullptr, place.path, place.line, text );
}

template <class T>
T &existing( T *object, const Place &place )
{
    assertAt( object, place.object, place );
    return *object;
}

template <class T>
void assertHandle( T **handle, const Place &place )
{
    assertAt( handle, place.object, place );
    assertAt( *handle, place.pointee, place );
}

/** What a function asks of a parameter, with the texts of its aborts. A pointer must not be null either. */
template <class Test>
struct Parameter {
    const char *name;
    Test holdsFor;
    const char *precondition;

    template <class T>
    void check( T value, const Place &place ) const
    {
        if constexpr ( std::is_pointer_v<T> )
            assertAt( value, name, place );
        assertAt( holdsFor( value ), precondition, place );
    }
};
template <class Test>
Parameter( const char *, Test, const char * ) -> Parameter<Test>;

/** A parameter for which the precondition is to hold; `text` is the precondition as it was written. */
#define IN_PARAMETER( TYPE, parameter, precondition, text )                                      \
    in::Parameter                                                                                \
    {                                                                                            \
#parameter, []( [[maybe_unused]] TYPE parameter ) -> bool { return precondition; }, text \
    }

/** A new, unshared object. */
template <class T>
T *createCopy( T *source )
{
    return pb::copy( *source );
}
template <class T>
T *createCopy( T *source, const Place &place )
{
    return createCopy( &existing( source, place ) );
}

/** The object of an asserted handle, the caller's own from here on. */
template <class T>
T &unshared( T **handle )
{
    return pb::unshare( handle, createCopy<T> );
}

/** What a getter gives of a member: its value, or a new reference. */
template <class T>
T given( const T &value )
{
    return value;
}
template <class T>
T *given( const pb::Ref<T> &object )
{
    return object.retained();
}
template <class T>
auto given( const Setting<T> &setting )
{
    return given( setting.value );
}

template <class T, class Value>
void assign( T &member, Value value )
{
    member = value;
}
template <class T>
void assign( pb::Ref<T> &member, T *object )
{
    member = pb::share( object );
}

template <class T, class Owner, class Member>
auto get( T *object, Member Owner::*member, const Place &place )
{
    return given( existing( object, place ).*member );
}

template <class T, class Owner, class Member, class Value, class Test>
void set( T **handle, Member Owner::*member, Value value, const Parameter<Test> &parameter, const Place &place )
{
    assertHandle( handle, place );
    parameter.check( value, place );
    assign( changed( unshared( handle ).*member ), value );
}

/** Whether an optional member is there: an object, or an integer that is not -1. */
template <class T>
bool isThere( const pb::Ref<T> &member )
{
    return bool( member );
}
inline bool isThere( PB_INT member )
{
    return member != -1;
}
template <class T, class Owner, class Member>
bool has( T *object, Member Owner::*member, const Place &place )
{
    return isThere( existing( object, place ).*member );
}

template <class T>
void clear( pb::Ref<T> &member )
{
    member = nullptr;
}
inline void clear( PB_INT &member )
{
    member = -1;
}
template <class T, class Owner, class Member>
void del( T **handle, Member Owner::*member, const Place &place )
{
    assertHandle( handle, place );
    clear( unshared( handle ).*member );
}

} // namespace in

/** The copying function of a class: a new, unshared object. */
#define IN_CREATE_FROM_DEFINE( CLASS, prefix )               \
    CLASS *prefix##CreateFrom( CLASS *source )               \
    {                                                        \
        return in::createCopy( source, IN_PLACE( source ) ); \
    }                                                        \
    static_assert( true )

/** A function that gives a member: its value, or a new reference. */
#define IN_GETTER_DEFINE( CLASS, function, handle, TYPE, member )     \
    TYPE function( CLASS *handle )                                    \
    {                                                                 \
        return in::get( handle, &CLASS::member, IN_PLACE( handle ) ); \
    }                                                                 \
    static_assert( true )

/** A function that sets a member; `text` is that of the abort when the precondition does not hold. */
#define IN_SETTER_DEFINE( CLASS, prefix, Name, member, TYPE, handle, parameter, precondition, text )     \
    static constexpr auto prefix##Name##Parameter = IN_PARAMETER( TYPE, parameter, precondition, text ); \
    void prefix##Set##Name( CLASS **handle, TYPE parameter )                                             \
    {                                                                                                    \
        in::set( handle, &CLASS::member, parameter, prefix##Name##Parameter, IN_PLACE( handle ) );       \
    }                                                                                                    \
    static_assert( true )

/** The accessors of an optional member: get, Has, Set, Del. */
#define IN___OPTIONAL_DEFINE( CLASS, prefix, Name, member, TYPE, handle, parameter, precondition, text ) \
    IN_GETTER_DEFINE( CLASS, prefix##Name, handle, TYPE, member );                                       \
    PB_BOOL prefix##Has##Name( CLASS *handle )                                                           \
    {                                                                                                    \
        return in::has( handle, &CLASS::member, IN_PLACE( handle ) );                                    \
    }                                                                                                    \
    IN_SETTER_DEFINE( CLASS, prefix, Name, member, TYPE, handle, parameter, precondition, text );        \
    void prefix##Del##Name( CLASS **handle )                                                             \
    {                                                                                                    \
        in::del( handle, &CLASS::member, IN_PLACE( handle ) );                                           \
    }                                                                                                    \
    static_assert( true )

/** The accessors of an optional object: get (a new reference or null), Has, Set, Del. */
#define IN_OPTIONAL_DEFINE( CLASS, prefix, Name, member, TYPE, handle, parameter ) \
    IN___OPTIONAL_DEFINE( CLASS, prefix, Name, member, TYPE *, handle, parameter, true, "" )

/** The same, for an object that is to fulfil a precondition. */
#define IN_OPTIONAL_CHECKED_DEFINE( CLASS, prefix, Name, member, TYPE, handle, parameter, precondition ) \
    IN___OPTIONAL_DEFINE( CLASS, prefix, Name, member, TYPE *, handle, parameter, precondition, #precondition )

/** The accessors of an optional integer, -1 when absent: get, Has, Set, Del. */
#define IN_OPTIONAL_INT_DEFINE( CLASS, prefix, Name, member, handle, parameter, precondition ) \
    IN___OPTIONAL_DEFINE( CLASS, prefix, Name, member, PB_INT, handle, parameter, precondition, #precondition )

#endif
