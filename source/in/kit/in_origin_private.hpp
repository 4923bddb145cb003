/* In which process an object was made: a forked child has its memory, and none of the threads that serve it. */
#ifndef IN_ORIGIN_PRIVATE_HPP
#define IN_ORIGIN_PRIVATE_HPP

#include <pb/pb_sync.h>

namespace in {

class Origin {
public:
    /** Whether this is a child of the process that made the object, or a child of that. */
    bool isInChild() const { return pbForkCount() != forks; }

private:
    PB_INT forks = pbForkCount();
};

} // namespace in

#endif
