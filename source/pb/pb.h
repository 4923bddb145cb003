/* The base library: objects, text, containers, stores, synchronisation, threads, modules. Usable from C11 and C++20. */
#ifndef PB_H
#define PB_H

#include <pb/pb_base.h>
#include <pb/pb_boxed.h>
#include <pb/pb_buffer.h>
#include <pb/pb_decoder.h>
#include <pb/pb_dict.h>
#include <pb/pb_enum.h>
#include <pb/pb_file.h>
#include <pb/pb_maps.h>
#include <pb/pb_module.h>
#include <pb/pb_obj.h>
#include <pb/pb_store.h>
#include <pb/pb_string.h>
#include <pb/pb_sync.h>
#include <pb/pb_time.h>
#include <pb/pb_unicode.h>
#include <pb/pb_vector.h>

#endif
