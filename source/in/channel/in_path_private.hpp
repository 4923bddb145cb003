/*
 * The road behind a channel or a listener: a socket of an engine, or a mapping's. What all kinds of roads have. Any thread
 * calls. What is returned as an object is a new reference, or null where the name says optional.
 */
#ifndef IN_PATH_PRIVATE_HPP
#define IN_PATH_PRIVATE_HPP

#include <in/qos/in_qos_stack.h>
#include <pb/pb.hpp>
#include <pb/pb_sync.h>

namespace in {

template <class LocalAddress>
class Path {
public:
    using Address = LocalAddress;

    Path() = default;
    Path( const Path & ) = delete;
    Path &operator=( const Path & ) = delete;
    virtual ~Path() = default;

    virtual pb::Ref<IN_QOS_STACK> optionalQosStack() = 0;
    virtual pb::Ref<Address> localAddress() = 0;
    virtual PB_INT flags() = 0;

    /** Whether it has failed, for good; the signalables are fired when it does. */
    virtual bool error() = 0;
    virtual void errorAddSignalable( PB_SIGNALABLE *signalable ) = 0;
    virtual void errorDelSignalable( PB_SIGNALABLE *signalable ) = 0;

    /** Whether the outside address is known; the signalables are fired when it is. What is not mapped knows it at once. */
    virtual bool mapped() { return true; }
    virtual void mappedAddSignalable( PB_SIGNALABLE *signalable ) { pbSignalableSignal( signalable ); }
    virtual void mappedDelSignalable( PB_SIGNALABLE * ) {}
    virtual pb::Ref<Address> optionalMappedLocalAddress() { return localAddress(); }
};

} // namespace in

#endif
