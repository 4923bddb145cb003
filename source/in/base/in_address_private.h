/* The layout of an address. */
#ifndef IN_ADDRESS_PRIVATE_H
#define IN_ADDRESS_PRIVATE_H

#include <array>
#include <in/base/in_address.h>
#include <pb/pb.hpp>

struct IN_ADDRESS : PB_OBJ {
    PB_INT version = IN_ADDRESS_VERSION_4;
    std::array<PB_BYTE, 16>
        bytes{}; // network order; behind the 4 bytes of IPv4 stand zeros, so that equality is bytewise
};

#endif
