/*
 * One TCP channel: the engine's thread, a user that sends, one that receives, one that terminates or waits until the
 * channel is active, and the kernel with a peer. README.md beside this file says which step is which function, what is
 * checked, and what is taken as given.
 *
 * A step (atomic, d_step, a statement) is a section under the channel's monitor, a system call, or one access to an
 * atomic variable. The states are looked at without the monitor, so the thread stores a failure in a step of its own.
 *
 * What is searched is set from outside: BYTES (that the peer sends), TO_SEND (bytes that the user sends, all at once if
 * there is room), and at most one seeded fault.
 */
#define SOCKET 2 /* bytes that the socket holds for the channel */
#define BOUND 1  /* bytes that wait; reading stops above */
#define RESUME 0 /* and goes on when no more are left */
#define ROOM 1   /* for bytes to the peer */

/* Conditions; the kernel tells an error and a hang-up unasked. */
#define READABLE 1
#define WRITABLE 2
#define ERROR 4
#define HANG_UP 8
#define ALL ( READABLE | WRITABLE | ERROR )

/* What is told: the first three by signals, the others by alerts. */
#define ACTIVE 1
#define END 2
#define FAILED 4
#define SEND 8
#define RECEIVE 16

/* What a call brings. */
#define NOTHING 0
#define SOME 1
#define CLOSED 2
#define RESET 3
#define BROKEN 4 /* EPIPE */

/* The kernel. */
bool connecting = true;
bool hasError;    /* the first call that meets it takes it */
bool dead;        /* refused or reset */
bool refusedIt;   /* the peer, to connect */
bool peerSaidEnd; /* the peer has closed its direction */
bool halfClosed;  /* the channel has closed the other one */
byte room = ROOM;
byte peerSent;
chan socket = [SOCKET] of { byte };

#define CAN_READ ( !connecting && ( len( socket ) > 0 || peerSaidEnd || dead ) )
#define CAN_WRITE ( !connecting && ( room > 0 || halfClosed || dead ) )
#define HUNG_UP ( dead || ( peerSaidEnd && halfClosed ) )
#define READY ( ( CAN_READ -> registered & READABLE : 0 ) | ( CAN_WRITE -> registered & WRITABLE : 0 ) | \
    ( hasError -> ERROR : 0 ) | ( HUNG_UP -> HANG_UP : 0 ) )

byte registered = ALL; /* in the observer's set; 0: not a member */

/* The channel. */
bool monitor;
bool isErrorConnect, isError, isEnd, isActive, isWritable, terminated, sending;
bool isFull, peerClosed, sendFailed;
byte conds = ALL; /* what the channel has asked for */
chan queue = [BOUND + SOCKET] of { byte };
bool sendAlert, receiveAlert;

byte told;     /* signals, and alerts whose user has not looked yet */
bool metReset; /* a send has taken the error of a reset */
byte usersLeft = 3;
bool senderEnded, engineEnded;

#ifdef CLOSED_UNWATCHED
#define WANTED_CLOSED 0
#else
#define WANTED_CLOSED ( isWritable || isEnd -> 0 : WRITABLE | ERROR )
#endif
#define WANTED_OPEN ( ERROR | ( isFull -> 0 : READABLE ) | ( isWritable -> 0 : WRITABLE ) )
#define WANTED ( isError -> 0 : ( sendFailed -> READABLE | WRITABLE | ERROR : \
    ( peerClosed -> WANTED_CLOSED : WANTED_OPEN ) ) )

/* The rest, up to fire, within the monitor. */
inline endLocked()
{
    tells = tells | ( isEnd -> 0 : END ) | ( isActive -> 0 : ACTIVE );
    isEnd = true;
    isActive = true
}

inline updateLocked()
{
    if
    :: conds != WANTED ->
        conds = WANTED;
        registered = conds
    :: else
    fi;
    tells = tells | ( isWritable && !sendAlert -> SEND : 0 );
    sendAlert = isWritable;
    tells = tells | ( len( queue ) > 0 && !receiveAlert -> RECEIVE : 0 );
    receiveAlert = len( queue ) > 0
}

inline fire() { told = told | tells; tells = 0 }

inline shutdownLocked()
{
    assert( !connecting ); /* the attempt would be given up */
    halfClosed = true
}

/*
 * A send may have taken the error of a reset, and the thread then reads the end of a connection that was reset. So the
 * end is not told while a send is under way or when one has failed; a send that has not failed tells it afterwards.
 */
#ifdef END_WHILE_SENDING
#define ENDS ( peerClosed && len( queue ) == 0 )
#else
#define ENDS ( peerClosed && len( queue ) == 0 && !sending && !sendFailed )
#endif

inline endIfLast()
{
    if
    :: ENDS -> endLocked()
    :: else
    fi
}

inline askError()
{
    if
    :: !isActive -> refused = hasError; hasError = false
    :: else
    fi
}

inline read()
{
    if
    :: refused || !( report & READABLE )
    :: !refused && report & READABLE && len( socket ) > 0 ->
        got = SOME;
        do
        :: len( socket ) > 0 -> socket ? value; chunk ! value
        :: else -> break
        od;
        value = 0
    :: !refused && report & READABLE && len( socket ) == 0 ->
        got = ( peerSaidEnd -> CLOSED : ( hasError -> RESET : ( dead -> CLOSED : NOTHING ) ) );
        hasError = hasError && got != RESET
    fi
}

inline takeInLocked()
{
    if
    :: got == SOME ->
        do
        :: len( chunk ) > 0 -> chunk ? value; queue ! value
        :: else -> break
        od;
        value = 0;
        isFull = len( queue ) > BOUND
    :: got == CLOSED -> peerClosed = true
    :: else
    fi
}

#define MUST_FAIL ( refused || sendFailed || report & ERROR || got == RESET )

active proctype Engine()
{
    byte report, got, tells, value;
    bool refused;
    chan chunk = [SOCKET] of { byte };

waiting:
    if
    :: atomic { registered && READY ->
            report = READY;
            report = ( report & HANG_UP && !( report & ERROR ) -> registered & ~ERROR : report & ALL );
            if
            :: report == 0 ->
#ifndef HANG_UP_STAYS
                registered = 0;
#endif
                goto waiting
            :: else
            fi;
#ifdef READ_FIRST
            read()
#else
            askError()
#endif
        }
    :: atomic { usersLeft == 0 && !( registered && READY ) -> goto ended }
    fi;
    atomic {
#ifdef READ_FIRST
        askError()
#else
        read()
#endif
    };
    atomic {
        !monitor;
        monitor = true;
        isErrorConnect = isErrorConnect || refused;
        if
        :: !refused && report & WRITABLE ->
            if
            :: !isActive && terminated -> shutdownLocked()
            :: else
            fi;
            isWritable = true;
            tells = tells | ( isActive -> 0 : ACTIVE );
            isActive = true
        :: else
        fi;
        takeInLocked();
        if
#ifdef END_EARLY
        :: peerClosed && !MUST_FAIL -> goto ending
#endif
#ifdef END_FIRST
        :: peerClosed && len( queue ) == 0 && !sending -> goto ending
        :: MUST_FAIL && !( peerClosed && len( queue ) == 0 && !sending ) -> goto failing
#else
        :: MUST_FAIL -> goto failing
        :: ENDS && !MUST_FAIL -> goto ending
#endif
        :: else -> goto updating
        fi
    };
failing:
    atomic { tells = tells | ( isError -> 0 : FAILED ); isError = true };
ending:
    atomic {
        endLocked();
#ifdef END_FIRST
        if
        :: MUST_FAIL && !isError -> goto failing
        :: else
        fi;
#endif
updating:
        updateLocked();
        fire();
        monitor = false;
        report = 0;
        got = NOTHING;
        refused = false;
        goto waiting
    };

ended:
    assert( !terminated || isError || halfClosed );
    assert( !metReset || isError );
    assert( !refusedIt || ( isErrorConnect && isError ) );
    engineEnded = true
}

active proctype Receiver()
{
    byte last, left, tells;

    if /* a user may take nothing until all is sent */
    :: true -> senderEnded
    :: true
    fi;
    do
    :: atomic { !isEnd && !isError ->
            left = 0;
            if
            :: isActive ->
                !monitor;
                left = len( queue );
                if
                :: left > 1 -> left = 1
                :: true
                fi;
                if
                :: left > 0 ->
                    do
                    :: left > 0 -> last++; assert( queue ? [ eval( last ) ] ); queue ? _; left--
                    :: else -> break
                    od;
                    left = 1
                :: else
                fi;
#ifndef NO_RESUME
                isFull = isFull && len( queue ) > RESUME;
#endif
                endIfLast();
                updateLocked();
                fire()
            :: else
            fi;
            if
            :: left > 0 -> left = 0
            :: left == 0 && told & ( RECEIVE | END | FAILED ) -> told = told & ~RECEIVE
            fi
        }
    :: isError || isEnd -> break /* the look at the error below is another step */
    od;
    assert( isError || ( peerSaidEnd && last == peerSent ) );
    assert( !isError || dead );
    assert( !isError || !refusedIt || isErrorConnect );
    assert( !isErrorConnect || dead );
    usersLeft--
}

inline send()
{
    d_step {
        if
        :: hasError -> hasError = false; metReset = !peerSaidEnd; got = ( peerSaidEnd -> BROKEN : RESET )
        :: !hasError && ( dead || halfClosed ) -> got = BROKEN
        :: !hasError && !dead && !halfClosed ->
            got = ( room < left -> NOTHING : SOME );
            if
            :: room < left -> left = left - room; room = 0
            :: else -> room = room - left; left = 0
            fi
        fi
    }
}

/* A socket that the channel has shut down takes no bytes; that is no failure. */
#ifdef SHUTDOWN_FAILS
#define FAILS true
#else
#define FAILS ( got == RESET || !terminated )
#endif

#define DONE ( isEnd || isError || terminated )

active proctype Sender()
{
    byte left = TO_SEND, tells, got;
    bool fails;

    do
    :: left == 0 || DONE -> break
    :: atomic { !DONE && ( !isActive || !isWritable ) -> told & ( SEND | END | FAILED ) -> told = told & ~SEND }
    :: atomic { left > 0 && !DONE && isActive && isWritable -> sending = true };
        atomic {
            send();
            sending = ( got != SOME );
            if
            :: got == SOME && !peerClosed -> got = NOTHING; goto next
            :: else
            fi
        };
        atomic {
            !monitor;
            if
            :: got == SOME
            :: else ->
                isWritable = false;
                if
#ifndef FORGETS_FAILURE
                :: ( got == RESET || got == BROKEN ) && FAILS -> sendFailed = true
#endif
                :: else
                fi
            fi;
            fails = got == RESET || got == BROKEN;
            got = NOTHING;
            sending = false;
            endIfLast();
#ifdef FULL_UNWATCHED
            sendAlert = isWritable;
#else
            updateLocked();
#endif
            fire()
        };
        if
        :: atomic { fails && !terminated && told & ( SEND | END | FAILED ) -> told = told & ~SEND; fails = false }
        :: !fails || terminated -> fails = false
        fi;
next:
        skip
    od;
    senderEnded = true;
    usersLeft--
}

active proctype Terminator()
{
    byte tells;

    if
    :: true -> told & ACTIVE; assert( isActive )
    :: atomic {
            !monitor ->
            terminated = true;
            if
#ifdef SHUT_AT_ONCE
            :: true -> shutdownLocked()
#else
            :: isActive -> shutdownLocked()
            :: else
#endif
            fi;
            updateLocked();
            fire()
        }
    fi;
    usersLeft--
}

/* The peer takes what is sent until it resets. */
#define TAKES d_step { !connecting && !dead && room < ROOM -> room++ }
#define RESETS d_step { !connecting && !dead -> dead = true; hasError = true }

active proctype Peer()
{
    if
    :: d_step { connecting = false; dead = true; refusedIt = true; hasError = true } -> goto end
    :: connecting = false
    fi;
    do
    :: d_step { peerSent < BYTES && len( socket ) < SOCKET -> peerSent++; socket ! peerSent }
    :: TAKES
    :: RESETS -> goto end
    :: peerSaidEnd = true -> break
    od;
end:
    do
    :: TAKES
    :: RESETS
    od
}

ltl ends { <> engineEnded }
