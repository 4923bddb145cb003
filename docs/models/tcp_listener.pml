/*
 * One TCP listener: the engine's thread, two users that take connections, make channels of them and drop the listener,
 * and the kernel with the connections that arrive. README.md beside this file says which step is which function, what
 * is checked, and what is taken as given.
 *
 * A step (atomic, d_step, a statement) is a section under a lock, a system call, or one access to an atomic variable.
 * Whoever touches the listener asserts that it has not been freed. At most one seeded fault is set from outside.
 */
#define USERS 2
#define CONNECTIONS 3
#define BOUND 2  /* connections that wait here; accepting stops */
#define RESUME 0 /* and goes on when no more are left */
#define SLOTS 1  /* for channels */
#define NONE 255

/* Where a connection is. */
#define AWAY 0
#define WAITING 1  /* in the kernel */
#define ACCEPTED 2 /* somebody here has its descriptor */
#define CHANNEL 3
#define CLOSED 4
byte place[CONNECTIONS];
byte arrived;
byte errors = 1; /* for which an accept fails for good */
bool acceptFailed;
chan backlog = [CONNECTIONS] of { byte };

/* The observer and the table. */
bool watched = true; /* asked for what is readable */
bool served;         /* the engine is at the listener */
byte slots = SLOTS;  /* of channels, free */

/* The listener. */
bool alive = true;
byte holders = USERS;
bool monitor, failed, isFull, alert;
chan pending = [BOUND] of { byte };

/* What may outlive it. */
bool woken[USERS]; /* a user's alertable was fired */
bool errorTold;
byte usersLeft = USERS;
bool engineEnded;

inline touch() { assert( alive ) }

inline closeFd( c ) { assert( place[c] == ACCEPTED ); place[c] = CLOSED }

/* Within the monitor. */
inline updateLocked()
{
    watched = !failed && !isFull;
    fires = fires || ( len( pending ) > 0 && !alert );
    alert = len( pending ) > 0
}

inline fire()
{
    woken[0] = woken[0] || fires;
    woken[1] = woken[1] || fires;
    errorTold = errorTold || fails;
    fires = false;
    fails = false
}

active proctype Engine()
{
    byte connection = NONE;
    bool fires, fails;

waiting:
    if
    :: atomic { watched && len( backlog ) > 0 -> served = true }
    :: atomic { usersLeft == 0 -> goto ended }
    fi;
    atomic {
        touch();
        if
        :: len( backlog ) == 0 /* the one that was reported has gone */
#ifdef NOBODY_FAILS
            -> fails = true
#endif
        :: len( backlog ) > 0 -> backlog ? connection; place[connection] = ACCEPTED
        :: len( backlog ) > 0 && errors > 0 -> errors--; acceptFailed = true; fails = true
        fi
    };
    atomic {
        !monitor;
        touch();
        if
        :: connection != NONE -> assert( nfull( pending ) ); pending ! connection; connection = NONE
        :: else
        fi;
        isFull = len( pending ) == BOUND;
        failed = failed || fails;
        updateLocked()
    };
    atomic { touch(); served = false };
    atomic { fire() };
    goto waiting;

ended:
    assert( !alive && slots == SLOTS );
    assert( place[0] != ACCEPTED && place[1] != ACCEPTED && place[2] != ACCEPTED );
    engineEnded = true
}

/* The oldest connection that waits; NONE when there is none. */
inline take()
{
    !monitor;
    touch();
    if
    :: len( pending ) > 0 ->
#ifdef TAKEN_STAYS
        pending ? <connection>;
#else
        pending ? connection;
#endif
#ifndef NO_LISTEN_RESUME
        isFull = isFull && len( pending ) > RESUME;
#endif
#ifdef NO_ALERT_ON_TAKE
        watched = !failed && !isFull
#else
        updateLocked()
#endif
    :: else
    fi
}

/* The table of channels is looked at twice; another user may take the last slot between the two. */
inline tryMakeChannel()
{
    if
    :: slots > 0 ->
        atomic {
            if
            :: slots > 0 -> slots--; assert( place[connection] == ACCEPTED ); place[connection] = CHANNEL; channels++
            :: else -> closeFd( connection )
            fi
        }
    :: atomic { slots == 0 -> closeFd( connection ) }
    fi;
    connection = NONE
}

inline dropChannels() { d_step { slots = slots + channels; channels = 0 } }

inline release()
{
    atomic {
        !monitor;
        touch();
        failed = true;
        fails = true;
        updateLocked()
    };
    atomic {
        !served;
        touch();
        do
#ifndef PENDING_STAYS
        :: len( pending ) > 0 -> pending ? connection; closeFd( connection )
#endif
        :: else -> break
        od;
        connection = NONE;
        alive = false
    };
    d_step { fire() }
}

#define NOBODY_COMES ( arrived == CONNECTIONS && len( backlog ) == 0 && len( pending ) == 0 && !served )

active [USERS] proctype User()
{
    byte connection = NONE;
    byte channels;
    bool fires, fails;

listening:
    if
    :: goto leaving
    :: dropChannels()
    :: true
    fi;
    atomic {
        touch();
        if
        :: failed -> assert( acceptFailed ); goto leaving
        :: else
        fi
    };
    atomic { take() };
    d_step { fire() };
    if
    :: connection != NONE -> tryMakeChannel(); goto listening
    :: else
    fi;
    if
    :: atomic { woken[_pid - 1] -> woken[_pid - 1] = false; goto listening }
    :: errorTold
    :: NOBODY_COMES
    fi;
leaving:
    dropChannels();
    if
    :: atomic { holders > 1 -> holders-- }
    :: atomic { holders == 1 -> holders = 0 };
        release()
    fi;
    usersLeft--
}

active proctype Kernel()
{
    byte connection;

end:
    do
    :: d_step { arrived < CONNECTIONS -> place[arrived] = WAITING; backlog ! arrived; arrived++ }
    :: d_step { served && len( backlog ) > 0 -> backlog ? connection; place[connection] = AWAY; connection = 0 }
    od
}

ltl ends { <> engineEnded }
