/*
 * Releasing slots of the slot engine while they are served, with UDP channels in the slots: one engine thread that serves all sockets
 * through one descriptor observer, two user threads that open, use, share and release channels, and the kernel.
 * README.md beside this file says which step is which function, what is checked, and why so few steps are enough.
 *
 * A step (atomic, d_step) is a section under a lock, or one access to an atomic variable. Where the code waits inside
 * such a section, for another lock or for the open report, the step waits there too, and holds its locks meanwhile.
 *
 * What is searched is set from outside: CHANNELS (in one run), DATAGRAMS_0 and DATAGRAMS_1 (to each channel of the
 * first and the second user), ERRORS, SHARING (a user may visit the other's channels), ENDLESS (the datagrams have no
 * end and no order), and at most one seeded fault.
 */
#define USERS 2
#define DESCRIPTORS 2 /* the numbers are given out again */
#define BOUND 2       /* datagrams queued at which reading pauses */
#define RESUME 1      /* datagrams left at which it goes on */
#define SOCKET 2      /* datagrams that a socket holds */
#define NONE 255
#define READABLE 1
#define ERROR 4
#define STALE 8 /* of an event: its registration has got another generation, or is gone */

/* Datagrams that are sent to a channel, by the user whose channel it is. */
#define DATAGRAMS( c ) ( c % USERS == 0 -> DATAGRAMS_0 : DATAGRAMS_1 )

/* The kernel, by descriptor. */
chan socket[DESCRIPTORS] = [SOCKET] of { byte };
byte owner[DESCRIPTORS] = NONE; /* the channel whose socket it is; NONE: closed */
byte sent[DESCRIPTORS];
bool hasError[DESCRIPTORS];
byte errors = ERRORS; /* of a socket, of epoll_ctl, of epoll_wait */

/* The observer. */
byte registered[DESCRIPTORS]; /* conditions */
byte event[DESCRIPTORS];      /* the batch */
byte eventOwner[DESCRIPTORS] = NONE;
byte openFd = NONE;     /* the open report */
byte setters;           /* that wait for its end */
bool asleep[USERS + 1]; /* by process, on `changed` */
bool waker, aborted, failed;
bool polling; /* the engine is in epoll_wait */

/* The engine. No record is used twice, so that a use of one that is gone is seen. */
typedef Record {
    bool alive;
    bool monitor, takeMonitor; /* held */
    byte fd, conds;
    bool error, paused;
    byte queued;
    bool waiting;          /* whoever releases it sleeps until it has been served */
    bool alert, listening; /* the alert, and whether the owner's alertable is in */
    byte holders;          /* of the public object; the last one releases */
    byte last              /* the number of the datagram that was taken last */
}
Record record[CHANNELS];
chan incoming[CHANNELS] = [BOUND] of { byte };
chan outgoing[CHANNELS] = [BOUND] of { byte };
chan held[CHANNELS] = [SOCKET] of { byte }; /* read, and too much for the queue */
byte map[DESCRIPTORS] = NONE;
byte served = NONE; /* the channel that the engine is at */
bool tableMonitor;

/* What may outlive a record. */
bool woken[CHANNELS];     /* the owner's alertable was fired */
bool signalled[CHANNELS]; /* the error signal was asserted */

byte usersLeft = USERS;
bool engineEnded;
bool turn; /* changes when a datagram of channel 0 is taken */

#define WANTED( c ) ( record[c].error -> 0 : ( record[c].paused -> ERROR : READABLE | ERROR ) )
#define RECEIVED( f ) ( ( registered[f] & READABLE ) && len( socket[f] ) > 0 -> READABLE : 0 )
#define READY( f ) ( registered[f] -> RECEIVED( f ) | ( hasError[f] -> ERROR : 0 ) : 0 )

#include "fd_observer.pml"
#include "channel.pml"

active proctype Engine()
{
    byte c, conds, value, space, limit;
    bool fires, fails, queues;
    chan batch = [SOCKET] of { byte };

waiting:
    atomic {
        closeReport();
stopping:
        if
        :: aborted -> goto ended
        :: failed && !aborted -> goto failing
        :: else
        fi;
        sleepWhile( setters > 0 );
        do
        :: event[0] ->
            takeEvent( 0 );
            if
            :: openFd == 0 -> goto report
            :: else
            fi
        :: event[1] ->
            takeEvent( 1 );
            if
            :: openFd == 1 -> goto report
            :: else
            fi
        :: else -> break
        od;
        polling = true
    };
    d_step {
        waker || failed || READY( 0 ) || READY( 1 );
        polling = false;
        waker = false;
        event[0] = READY( 0 );
        event[1] = READY( 1 );
        eventOwner[0] = ( event[0] -> owner[0] : NONE );
        eventOwner[1] = ( event[1] -> owner[1] : NONE )
    };
    goto stopping;

report:
#ifdef UNBLOCK_FIRST
    atomic { limit = openFd; closeReport() };
#else
    limit = openFd;
#endif
    atomic {
        !tableMonitor;
        c = map[limit];
        assert( c != NONE && c == eventOwner[limit] );
        eventOwner[limit] = NONE;
        served = c;
        limit = 0
    };
#ifdef MONITOR_FIRST
    atomic { enter( c ); leave( c ) };
#endif
#ifndef UNBLOCK_FIRST
    atomic { closeReport() };
#endif
    if
    :: conds & READABLE && !record[c].paused -> /* a train may bring more than there is space for */
        d_step {
            touch( c );
            assert( owner[record[c].fd] == c && record[c].queued < BOUND );
            space = BOUND - record[c].queued
        };
        if
        :: d_step { limit = space }
        :: d_step { limit = SOCKET }
        fi;
        d_step {
            do
            :: len( batch ) < limit && len( socket[record[c].fd] ) > 0 ->
                socket[record[c].fd] ? value;
                batch ! value
            :: else -> break
            od;
            limit = 0;
            value = 0
        }
    :: else
    fi;
    atomic {
        enter( c );
        if
        :: conds & ERROR -> failLocked( c )
        :: else
        fi;
        conds = 0;
        do
        :: len( batch ) > 0 ->
            batch ? value;
            if
            :: record[c].error
            :: !record[c].error && space > 0 -> incoming[c] ! value; record[c].queued++; space--; queues = true
            :: !record[c].error && space == 0 -> held[c] ! value; queues = true
            fi
        :: else -> break
        od;
        value = 0;
        space = 0;
        if
#ifndef NEVER_PAUSED
        :: !record[c].error && ( record[c].queued == BOUND || len( held[c] ) > 0 ) -> skip
#endif
        :: else -> goto updating
        fi
    };
    record[c].paused = true;
updating:
    atomic {
        if
        :: queues -> resumeQueue( c ); queues = false
        :: else
        fi;
        updateObserver( c );
        updateAlert( c );
        leave( c )
    };
    atomic { !tableMonitor; touch( c ); served = NONE };
    d_step {
#ifndef NO_SERVED_WAKE
        record[c].waiting = false;
#endif
        fire( c );
        c = 0
    };
    goto waiting;

failing:
#ifdef NO_FAIL_ALL
    c = CHANNELS;
#endif
    do
    :: c < CHANNELS ->
        atomic {
            !tableMonitor;
            tableMonitor = true;
            if
            :: record[c].alive -> enter( c ); failLocked( c ); leave( c ); fire( c )
            :: else
            fi;
            tableMonitor = false;
            c++
        }
    :: else -> break
    od;
ended:
    engineEnded = true
}

#define BORROW( k ) atomic { k < CHANNELS && !borrowed && own != k && record[k].holders > 0 -> \
    record[k].holders++; c = k; borrowed = true }

active [USERS] proctype User()
{
    byte own = _pid - 1; /* the channel that it opened */
    byte c = own;        /* the one that it is at */
    byte f, left, value;
    bool borrowed, taken, fires, fails;

    do
    :: allocate( c );
using:
        if
        :: goto sleeping
        :: goto leaving
#ifdef SHARING
        :: BORROW( 0 ) -> goto visiting
        :: BORROW( 1 ) -> goto visiting
        :: BORROW( 2 ) -> goto visiting
#endif
        fi;
sleeping:
        if
        :: atomic { woken[c] && !signalled[c] -> woken[c] = false; goto receiving }
        :: atomic { signalled[c] || record[c].last == DATAGRAMS( c ) -> goto leaving }
        fi;
visiting:
        if
        :: atomic { fail( c ) } -> goto leaving
        :: goto receiving
        :: goto leaving
        fi;
receiving:
        receive( c );
        if
        :: c == own && taken -> taken = false; goto receiving
        :: c == own && taken -> taken = false; goto leaving
        :: c == own && !taken -> goto using
        :: c != own -> taken = false
        fi;
leaving:
        drop( c );
        if
        :: c != own -> c = own; goto using
        :: else -> d_step { own = own + USERS; c = own; borrowed = false }
        fi
    :: own >= CHANNELS || failed -> break
    od;
    usersLeft--
}

#define OPEN( f ) ( polling && owner[f] != NONE && !hasError[f] )
#ifdef ENDLESS
#define SEND( f ) d_step { OPEN( f ) && len( socket[f] ) < SOCKET && DATAGRAMS( owner[f] ) > 0 -> socket[f] ! 0 }
#else
#define SEND( f ) d_step { OPEN( f ) && len( socket[f] ) < SOCKET && sent[f] < DATAGRAMS( owner[f] ) -> \
    sent[f]++; socket[f] ! sent[f] }
#endif

active proctype Kernel()
{
end:
    do
    :: SEND( 0 )
    :: SEND( 1 )
    :: d_step { OPEN( 0 ) && errors > 0 -> hasError[0] = true; errors-- }
    :: d_step { OPEN( 1 ) && errors > 0 -> hasError[1] = true; errors-- }
    :: d_step { polling && errors > 0 && !failed -> failed = true; errors-- }
    od
}

active proctype Stop()
{
    usersLeft == 0;
    aborted = true;
    waker = true;
    engineEnded;
    assert( map[0] == NONE && map[1] == NONE && owner[0] == NONE && owner[1] == NONE )
}

#ifdef ENDLESS
/* Channel 0 has failed: it is released. Datagrams wait in its socket or its queue: one is taken, or it fails. */
#define WAITS ( record[0].alive && !record[0].error && \
    ( record[0].queued > 0 || len( held[0] ) > 0 || len( socket[record[0].fd] ) > 0 ) )
ltl goes_on {
    [] ( ( record[0].error -> <> !record[0].alive ) && ( ( WAITS && turn ) -> <> ( !WAITS || !turn ) ) &&
         ( ( WAITS && !turn ) -> <> ( !WAITS || turn ) ) )
}
#else
ltl ends { <> engineEnded }
#endif
