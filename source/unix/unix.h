/* The host: error texts, the descriptor observer, commands. */
#ifndef UNIX_H
#define UNIX_H

#include <pb/pb.h>

/** True for a descriptor, that is 0 or above. */
#define UNIX_FD_OK( fd ) ( ( fd ) >= 0 )

/** The text of an errno value, a new string: "Connection refused (ECONNREFUSED)". */
PB_API PB_STRING *unixErrorToString( PB_INT error );
/** The text of a getaddrinfo result code, a new string. */
PB_API PB_STRING *unixErrorGetaddrinfoToString( PB_INT code );

/** Conditions of a descriptor, to be or'ed. */
enum {
    UNIX_FD_READABLE = 1,
    UNIX_FD_WRITABLE = 2,
    UNIX_FD_ERROR = 4 /* an error, such as a reset connection; reported for every descriptor that is observed */
};

/**
 * Watches descriptors, over epoll, level-triggered, and reports them one at a time to one waiting thread. A report is
 * open from the return of unixFdObserverWait to unixFdObserverUnblock. What was removed or set anew is never reported
 * for what it was before, also when its number has been reused. A condition may have passed by the time it is reported,
 * when somebody else has read or written: what is observed must be non-blocking.
 * A hang-up without an error (a connection that has ended in both directions, a pipe without writers) is a regular end. It
 * makes the descriptor readable and writable, as far as the observer was asked for these: reading brings what is left, then
 * the end. When it was asked for neither, nothing is reported, and the descriptor is not watched any more, not for errors
 * either, until it is set anew.
 */
PB_CLASS( UNIX_FD_OBSERVER, unixFdObserver )
/* Names: unixFdObserverSort, unixFdObserverObj, unixFdObserverFrom, unixFdObserverRetain, unixFdObserverRelease,
   unixFdObserverToString, unixFdObserverCompare, unixFdObserverEquals */

/** Null when the system refuses (errno). */
PB_API UNIX_FD_OBSERVER *unixFdObserverCreate( void );
/**
 * Watches a descriptor for the conditions, changes them, or with 0 removes it. Must be called before the descriptor is
 * closed. Any thread; but while a report of this very descriptor is open, the call waits for unixFdObserverUnblock, so
 * it must not be made by the waiting thread before that. So when removing returns, no report of the descriptor is open
 * or will come. False when the system refuses; removing fails only when the observer is in error.
 */
PB_API PB_BOOL unixFdObserverSetFd( UNIX_FD_OBSERVER *observer, int fd, PB_INT conds );
/**
 * Waits for a ready descriptor; true opens a report. False when the signal is asserted, or when the observer is in
 * error. One thread at a time; a report that is still open is closed first.
 */
PB_API PB_BOOL unixFdObserverWait( UNIX_FD_OBSERVER *observer, PB_SIGNAL *optionalAbortSignal );
/** The descriptor and the conditions of the report; valid until the next wait, on the waiting thread. */
PB_API int unixFdObserverFd( UNIX_FD_OBSERVER *observer );
PB_API PB_INT unixFdObserverConds( UNIX_FD_OBSERVER *observer );
/** Closes the report. */
PB_API void unixFdObserverUnblock( UNIX_FD_OBSERVER *observer );
/** Whether the observer itself has failed; final. */
PB_API PB_BOOL unixFdObserverError( UNIX_FD_OBSERVER *observer );

/**
 * Runs a command to its end and returns what it wrote to standard output, a new buffer. `arguments` is a vector of
 * strings, the first one the command, looked for along PATH; each reaches the command as exactly one argument, and no
 * shell is involved. Standard input and error are /dev/null, no other descriptor is inherited; signals are as in a new
 * process; the locale is C. In a set-user-ID program the command is the system's own, whatever PATH says, and gets
 * nothing else of the environment.
 * A command that does not exist, or fails, has written what it has written. So has one that is not done, or whose output
 * is still held open by a process that it started, after that many milliseconds (1 or more): its process group, which
 * is its own, is killed then. Null when no process could be started, or an argument holds U+0000. Blocks that long; a
 * second more when the command cannot be killed.
 * At most `byteLimit` bytes are kept, the rest is read and dropped.
 */
PB_API PB_BUFFER *unixCommandTryRun( PB_VECTOR *arguments, PB_INT byteLimit, PB_INT milliseconds );

/** This library's own descriptor. */
PB_API PB_MODULE *unixModule( void );

#endif
