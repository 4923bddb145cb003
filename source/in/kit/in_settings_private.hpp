/*
 * Options classes, written once: a class derives from PB_OBJ, has its members and a tuple of rows, options(); its functions
 * and the accessors of its members get their names here.
 */
#ifndef IN_SETTINGS_PRIVATE_HPP
#define IN_SETTINGS_PRIVATE_HPP

#include <in/kit/in_accessors_private.hpp>
#include <in/kit/in_items_private.hpp>
#include <in/kit/in_restoring_private.hpp>

namespace in {

/** The compare function of an options class; the order of pb calls it for two objects of the class only. */
template <OptionsClass Owner>
PB_INT compareOptionsObjects( PB_OBJ *thisObj, PB_OBJ *thatObj )
{
    PB_ASSERT( thisObj );
    PB_ASSERT( thatObj );
    return compareOptions( *static_cast<Owner *>( thisObj ), *static_cast<Owner *>( thatObj ) );
}

template <OptionsClass Owner>
PB_STORE *storeOptions( Owner *options, bool full, const Place &place )
{
    return storeOptions( existing( options, place ), full );
}
template <OptionsClass Owner>
Owner *restoreOptions( PB_STORE *store, const Place &place )
{
    return restoreOptions<Owner>( &existing( store, place ) );
}
template <OptionsClass Owner>
PB_STORE *checkOptions( PB_STORE *store, const Place &place )
{
    return checkOptions<Owner>( &existing( store, place ) );
}

template <OptionsClass Owner, class Member>
bool isDefault( Owner *options, Setting<Member> Owner::*member, const Place &place )
{
    return ( existing( options, place ).*member ).isDefault;
}

template <OptionsClass Owner, class Member>
void setDefault( Owner **handle, Setting<Member> Owner::*member, const Place &place )
{
    assertHandle( handle, place );
    Owner &options = unshared( handle );
    eachRow<Owner>( [&]( const auto &row ) { return resetIf( row, options, member ); } );
}

} // namespace in

/** What every options class has: its sort and standard functions, Create, CreateFrom, Store, Restore, Check. */
#define IN_OPTIONS_DEFINE( CLASS, prefix, internalPrefix )                                           \
    PB_CLASS_DEFINE( CLASS, prefix, pb::destroy<CLASS>, in::compareOptionsObjects<CLASS>, nullptr ); \
    CLASS *prefix##Create( void )                                                                    \
    {                                                                                                \
        return in::createOptions<CLASS>();                                                           \
    }                                                                                                \
    IN_CREATE_FROM_DEFINE( CLASS, prefix );                                                          \
    PB_STORE *prefix##Store( CLASS *opt, PB_BOOL full )                                              \
    {                                                                                                \
        return in::storeOptions( opt, full, IN_PLACE( opt ) );                                       \
    }                                                                                                \
    CLASS *prefix##Restore( PB_STORE *store )                                                        \
    {                                                                                                \
        return in::restoreOptions<CLASS>( store, IN_PLACE( store ) );                                \
    }                                                                                                \
    PB_STORE *prefix##Check( PB_STORE *store )                                                       \
    {                                                                                                \
        return in::checkOptions<CLASS>( store, IN_PLACE( store ) );                                  \
    }                                                                                                \
    PB_STORE *internalPrefix##Check( PB_STORE *store, CS_CONFIG *optionalFile );                     \
    PB_STORE *internalPrefix##Check( PB_STORE *store, CS_CONFIG *optionalFile )                      \
    {                                                                                                \
        return in::checkOptions<CLASS>( store, optionalFile );                                       \
    }                                                                                                \
    static_assert( true )

/** The four accessors of a setting: get, Set, ...Default (is it), Set...Default. */
#define IN___SETTING_DEFINE( CLASS, prefix, Name, member, TYPE, parameter, precondition, text ) \
    IN_GETTER_DEFINE( CLASS, prefix##Name, opt, TYPE, member );                                 \
    IN_SETTER_DEFINE( CLASS, prefix, Name, member, TYPE, opt, parameter, precondition, text );  \
    PB_BOOL prefix##Name##Default( CLASS *opt )                                                 \
    {                                                                                           \
        return in::isDefault( opt, &CLASS::member, IN_PLACE( opt ) );                           \
    }                                                                                           \
    void prefix##Set##Name##Default( CLASS **opt )                                              \
    {                                                                                           \
        in::setDefault( opt, &CLASS::member, IN_PLACE( opt ) );                                 \
    }                                                                                           \
    static_assert( true )

/** Those of a ValueRow. `parameter` names the value in `precondition`, whose text is that of the abort. */
#define IN_SETTING_DEFINE( CLASS, prefix, Name, member, TYPE, parameter, precondition ) \
    IN___SETTING_DEFINE( CLASS, prefix, Name, member, TYPE, parameter, precondition, #precondition )

/** Those of an OptionsRow; the getter gives a new reference. */
#define IN_INNER_OPTIONS_DEFINE( CLASS, prefix, Name, member, TYPE, parameter ) \
    IN___SETTING_DEFINE( CLASS, prefix, Name, member, TYPE *, parameter, true, "" )

#endif
