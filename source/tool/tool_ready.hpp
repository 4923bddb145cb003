/*
 * Which of many connections have something to do. Each has a mark of its own, which the library's threads fire; one thread
 * takes the marks that have fired, and so looks at no connection in vain. No lock: a chain that is pushed to and taken whole.
 */
#ifndef TOOL_READY_HPP
#define TOOL_READY_HPP

#include <atomic>
#include <memory>
#include <tool/tool_wake.hpp>
#include <vector>

PB_CLASS( TOOL_MARK, toolMark )

namespace tool {

/** The marks that have fired, newest first. */
struct Chain {
    explicit Chain( PB_ALERTABLE *itsWake ) : wake( pb::share( itsWake ) ) {}
    Chain( const Chain & ) = delete;
    Chain &operator=( const Chain & ) = delete;
    ~Chain();

    std::atomic<TOOL_MARK *> newest = nullptr; // holds a reference to each
    pb::Ref<PB_ALERTABLE> wake;
};

class Ready {
public:
    explicit Ready( const Wake &wake ) : chain( std::make_shared<Chain>( wake.alertable() ) ) {}
    pb::Ref<TOOL_MARK> mark( uint64_t number ) const;
    /** The numbers of the marks that have fired since, each once, the first one first. */
    std::vector<uint64_t> take() const;

private:
    std::shared_ptr<Chain> chain;
};

/** Fires a mark: its number is taken next. */
void fire( PB_OBJ *mark );

} // namespace tool

#endif
