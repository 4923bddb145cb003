/*
 * A channel's record and what users do with it. Every use asserts that the record has not been freed.
 */

inline touch( c ) { assert( record[c].alive ) }

inline enter( c )
{
    !record[c].monitor;
    touch( c );
    record[c].monitor = true
}

inline leave( c )
{
    touch( c );
    record[c].monitor = false
}

/* The rest, up to fire, within the monitor; what is to be fired is fired when it has been left. */
inline failLocked( c )
{
    fails = fails || !record[c].error;
    record[c].error = true
}

/* Takes the descriptor out when the system refuses; when it refuses that too, the observer has failed. */
inline updateObserver( c )
{
    do
    :: record[c].conds != WANTED( c ) ->
        record[c].conds = WANTED( c );
        passReport( record[c].fd );
        if
        :: record[c].conds && errors > 0 -> errors--; failLocked( c )
        :: true ->
            registered[record[c].fd] = record[c].conds;
            event[record[c].fd] = ( event[record[c].fd] -> event[record[c].fd] | STALE : 0 );
            if
            :: !record[c].conds && errors > 0 -> errors--; failed = true; waker = true
            :: true
            fi
        fi
    :: else -> break
    od
}

/* Queues what is held, and lets reading go on when nothing is. */
inline resumeQueue( c )
{
    do
    :: record[c].paused && record[c].queued <= RESUME && len( held[c] ) > 0 ->
#ifdef HELD_STAYS
        break
#else
        held[c] ? value;
        incoming[c] ! value;
        value = 0;
        record[c].queued++
#endif
    :: record[c].paused && record[c].queued <= RESUME && len( held[c] ) == 0 -> record[c].paused = false
    :: else -> break
    od
}

inline updateAlert( c )
{
    fires = fires || ( record[c].listening && !record[c].alert && record[c].queued > 0 );
    record[c].alert = record[c].queued > 0
}

inline fire( c )
{
    woken[c] = woken[c] || fires;
    signalled[c] = signalled[c] || fails;
    fires = false;
    fails = false
}

inline allocate( c )
{
    d_step {
        c < CHANNELS && !failed && ( owner[0] == NONE || owner[1] == NONE ) && !tableMonitor;
        f = ( owner[0] == NONE -> 0 : 1 );
        owner[f] = c;
        assert( map[f] == NONE );
        map[f] = c;
        record[c].alive = true;
        record[c].fd = f;
        f = 0
    };
    atomic { enter( c ); updateObserver( c ); updateAlert( c ); leave( c ); fire( c ) };
    d_step {
        touch( c );
        record[c].listening = true;
        woken[c] = record[c].alert;
        record[c].holders = 1
    }
}

/* Leaves what is to be fired to the caller. */
inline failAndUpdate( c )
{
    enter( c );
    failLocked( c );
    updateObserver( c );
    updateAlert( c );
    leave( c )
}

inline fail( c )
{
    failAndUpdate( c );
    fire( c )
}

inline take( c )
{
    touch( c );
    !record[c].takeMonitor;
    record[c].takeMonitor = true;
    if
    :: record[c].error -> taken = false
    :: !record[c].error && len( outgoing[c] ) > 0 -> taken = true
    :: !record[c].error && len( outgoing[c] ) == 0 ->
        enter( c );
        do
        :: len( incoming[c] ) > 0 -> incoming[c] ? value; outgoing[c] ! value
        :: else -> break
        od;
        taken = len( outgoing[c] ) > 0;
#if !defined( EMPTY_KEEPS_ALERT ) && !defined( NO_ALERT_UPDATE )
        record[c].alert = record[c].alert && taken;
#endif
        leave( c )
    fi;
    if
    :: taken ->
        outgoing[c] ? value;
#ifdef ENDLESS
        turn = ( c == 0 -> !turn : turn )
#else
        record[c].last++;
        assert( value == record[c].last )
#endif
    :: else
    fi;
    value = 0;
    touch( c );
    record[c].takeMonitor = false
}

inline receive( c )
{
    atomic { take( c ) };
    if
    :: taken ->
        d_step { touch( c ); record[c].queued--; left = record[c].queued };
        atomic {
            if
            :: left == 0 || ( left <= RESUME && record[c].paused ) ->
                enter( c );
#ifndef STAYS_PAUSED
                resumeQueue( c );
#endif
                updateObserver( c );
#ifndef NO_ALERT_UPDATE
                updateAlert( c );
#endif
                leave( c );
                fire( c )
            :: else
            fi;
            left = 0
        }
    :: else
    fi
}

inline forget( c )
{
    d_step {
        touch( c );
        f = record[c].fd;
        map[f] = NONE;
        do
        :: len( socket[f] ) > 0 -> socket[f] ? _
        :: len( incoming[c] ) > 0 -> incoming[c] ? _
        :: len( outgoing[c] ) > 0 -> outgoing[c] ? _
        :: len( held[c] ) > 0 -> held[c] ? _
        :: else -> break
        od;
        owner[f] = NONE;
        sent[f] = 0;
        hasError[f] = false;
        f = 0;
        record[c].alive = false;
        record[c].fd = 0;
        record[c].error = false;
        record[c].paused = false;
        record[c].queued = 0;
        record[c].alert = false;
        record[c].listening = false;
        record[c].last = 0
    }
}

/* What is to be fired is fired when the slot is gone. */
inline release( c )
{
#ifdef TABLE_HELD
    atomic { !tableMonitor; tableMonitor = true };
    atomic { failAndUpdate( c ); tableMonitor = false };
#else
    atomic { failAndUpdate( c ) };
#endif
    atomic {
        !tableMonitor;
        touch( c );
#ifndef NO_PASS
        do
        :: served == c -> record[c].waiting = true; !record[c].waiting; !tableMonitor
        :: else -> break
        od;
#endif
        forget( c )
    };
    d_step { fire( c ) }
}

inline drop( c )
{
    if
    :: atomic { record[c].holders > 1 -> record[c].holders-- }
    :: atomic { record[c].holders == 1 -> record[c].holders = 0 };
        release( c )
    fi
}
