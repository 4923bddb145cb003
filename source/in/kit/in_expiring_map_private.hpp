/*
 * A map whose entries end at a time. No lock and no timer of its own: the owner's lock guards it, and the owner asks for the
 * next end and schedules its own timer. Times are those of pbTimestamp, in milliseconds.
 */
#ifndef IN_EXPIRING_MAP_PRIVATE_HPP
#define IN_EXPIRING_MAP_PRIVATE_HPP

#include <optional>
#include <pb/pb.hpp>
#include <pb/pb_dict.h>
#include <pb/pb_maps.h>
#include <vector>

namespace in {

class ExpiringMap {
public:
    bool has( PB_OBJ *key ) const { return pbDictHas( values.get(), key ); }
    /** Enters a value, or replaces the one that is there; it ends at that time. */
    void set( PB_OBJ *key, PB_OBJ *value, PB_INT expiry )
    {
        pbDictSet( values.handle(), key, value );
        pbPriorityMapSet( expiries.handle(), key, expiry );
    }
    /** Takes out every entry whose time is not later than `now`: the values, to be let go when the lock has been left. */
    [[nodiscard]] std::vector<pb::Ref<PB_OBJ>> takeExpired( PB_INT now )
    {
        std::vector<pb::Ref<PB_OBJ>> expired;
        while ( std::optional<PB_INT> next = nextExpiry() ) {
            if ( *next > now )
                break;
            pb::Ref<PB_OBJ> key = pb::adopt( pbPriorityMapLowestObj( expiries.get() ) );
            pbPriorityMapDelLowest( expiries.handle() );
            expired.push_back( pb::adopt( pbDictValue( values.get(), key.get() ) ) );
            pbDictDel( values.handle(), key.get() );
        }
        return expired;
    }
    /** Every key, in key order, and when its entry ends. */
    std::vector<std::pair<pb::Ref<PB_OBJ>, PB_INT>> entries() const
    {
        std::vector<std::pair<pb::Ref<PB_OBJ>, PB_INT>> all;
        pb::Ref<PB_VECTOR> keys = pb::adopt( pbDictKeysVector( values.get() ) );
        for ( PB_INT i = 0; i < pbVectorLength( keys.get() ); ++i ) {
            pb::Ref<PB_OBJ> key = pb::adopt( pbVectorObjAt( keys.get(), i ) );
            PB_INT expiry = pbPriorityMapPriority( expiries.get(), key.get() );
            all.emplace_back( std::move( key ), expiry );
        }
        return all;
    }
    /** When the next entry ends; nothing when there is none. */
    std::optional<PB_INT> nextExpiry() const
    {
        if ( pbPriorityMapLength( expiries.get() ) == 0 )
            return {};
        return pbPriorityMapLowestPriority( expiries.get() );
    }

private:
    pb::Ref<PB_DICT> values = pb::adopt( pbDictCreate() );
    pb::Ref<PB_PRIORITY_MAP> expiries = pb::adopt( pbPriorityMapCreate() ); // time to key
};

} // namespace in

#endif
