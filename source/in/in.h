/* The whole public interface of the IP networking layer. */
#ifndef IN_H
#define IN_H

#include <in/base/in_address.h>
#include <in/base/in_address_version.h>
#include <in/base/in_eui48_address.h>
#include <in/base/in_flags.h>
#include <in/base/in_module.h>
#include <in/base/in_network.h>

#endif
