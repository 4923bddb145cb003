/* Clang's thread-safety annotations under our names; nothing for other compilers. */
#ifndef PB_ANNOTATIONS_HPP
#define PB_ANNOTATIONS_HPP

#ifdef __clang__
#define PB_TS( x ) __attribute__( ( x ) )
#else
#define PB_TS( x )
#endif

#define PB_CAPABILITY( name ) PB_TS( capability( name ) )
#define PB_SCOPED_CAPABILITY PB_TS( scoped_lockable )
#define PB_GUARDED_BY( lock ) PB_TS( guarded_by( lock ) )              /* on members */
#define PB_REQUIRES( ... ) PB_TS( requires_capability( __VA_ARGS__ ) ) /* on helpers named ...Locked */
#define PB_EXCLUDES( ... ) PB_TS( locks_excluded( __VA_ARGS__ ) )      /* on what must not hold it */
#define PB_ACQUIRE( ... ) PB_TS( acquire_capability( __VA_ARGS__ ) )
#define PB_RELEASE( ... ) PB_TS( release_capability( __VA_ARGS__ ) )
#define PB_ACQUIRE_SHARED( ... ) PB_TS( acquire_shared_capability( __VA_ARGS__ ) )
#define PB_RELEASE_SHARED( ... ) PB_TS( release_shared_capability( __VA_ARGS__ ) )
/** On functions that lock in ways the analysis cannot follow; says why beside it. */
#define PB_NO_THREAD_SAFETY_ANALYSIS PB_TS( no_thread_safety_analysis )

#endif
