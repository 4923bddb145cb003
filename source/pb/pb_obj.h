/*
 * Reference-counted objects. Every object begins with a header (its sort and an atomic reference count); a sort is the
 * static descriptor of one class. Counts may change on any thread; what an object holds is safe to share because values
 * are immutable while shared (copy-on-write) and services guard themselves.
 */
#ifndef PB_OBJ_H
#define PB_OBJ_H

#include <pb/pb_base.h>

typedef struct PB_OBJ PB_OBJ;
typedef struct PB_SORT PB_SORT;
typedef struct PB_STRING PB_STRING;

#ifdef __cplusplus
namespace pb {
template <class T>
struct Class; // Class<T>::sort(): the sort of a class declared with PB_CLASS
}
#define PB___CLASS_TRAIT( NAME, prefix )                        \
    template <>                                                 \
    struct pb::Class<NAME> {                                    \
        static const PB_SORT *sort() { return prefix##Sort(); } \
    };
#else
#define PB___CLASS_TRAIT( NAME, prefix )
#endif

/**
 * Declares a class and the eight functions that every class has:
 *
 * - prefixSort: the sort, a static object that lives as long as the library.
 * - prefixObj: the same object as a generic one; no reference is added.
 * - prefixFrom: a generic object as this class; null passes, another sort aborts ("stdfunc from"). No reference is added.
 * - prefixRetain: adds a reference, returns the argument; null aborts ("stdfunc retain").
 * - prefixRelease: drops a reference; the last one frees the object; null aborts ("stdfunc release").
 * - prefixToString: a new string; null aborts ("stdfunc tostring").
 * - prefixCompare: negative, zero or positive, a total order; null aborts ("stdfunc compare a", "stdfunc compare b").
 * - prefixEquals: whether the two compare as 0.
 *
 * All may be called on any thread.
 */
#define PB_CLASS( NAME, prefix )                             \
    typedef struct NAME NAME;                                \
    PB_API const PB_SORT *prefix##Sort( void );              \
    PB_API PB_OBJ *prefix##Obj( NAME *obj );                 \
    PB_API NAME *prefix##From( PB_OBJ *obj );                \
    PB_API NAME *prefix##Retain( NAME *obj );                \
    PB_API void prefix##Release( NAME *obj );                \
    PB_API PB_STRING *prefix##ToString( NAME *obj );         \
    PB_API PB_INT prefix##Compare( NAME *objA, NAME *objB ); \
    PB_API PB_BOOL prefix##Equals( NAME *objA, NAME *objB ); \
    PB___CLASS_TRAIT( NAME, prefix )

/** The sort of an object. Aborts on null. */
PB_API const PB_SORT *pbObjSort( PB_OBJ *obj );

/** Adds a reference and returns the argument. Aborts on null. */
PB_API PB_OBJ *pbObjRetain( PB_OBJ *obj );

/** Drops a reference; the last one frees the object on the calling thread. Aborts on null. */
PB_API void pbObjRelease( PB_OBJ *obj );

/**
 * Orders two objects: the same object (or null twice) gives 0; different sorts order by sort name; one sort by its
 * compare function, without one by identity. Aborts when only one of them is null.
 */
PB_API PB_INT pbObjCompare( PB_OBJ *objA, PB_OBJ *objB );

/** Whether the two compare as 0. */
PB_API PB_BOOL pbObjEquals( PB_OBJ *objA, PB_OBJ *objB );

/** The object's text, a new string: what its class defines, else the sort name and the object's address. */
PB_API PB_STRING *pbObjToString( PB_OBJ *obj );

/** The name of a sort, zero-terminated, upper case, static. */
PB_API const char *pbSortName( const PB_SORT *sort );

/** How many objects are alive in the process. Exact while no other thread creates or frees; for tests and diagnosis. */
PB_API PB_INT pbObjLiveCount( void );

/** Memory for a new object of `size` bytes, header included: that is filled in, with one reference; the rest is not. */
PB_API PB_OBJ *pb___ObjCreate( PB_INT size, const PB_SORT *sort );

/** Runs the sort's free function and frees the memory. Called when the last reference is gone. */
PB_API void pb___ObjFree( PB_OBJ *obj );

#endif
