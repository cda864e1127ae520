// Helpers for blocks of bytes. All sizes and counts may be 0.
#pragma once

#include "platform/Export.h"

/// CRC-32 of the reflected polynomial 0xEDB88320, continued from `crc`; inverting before the first
/// block and after the last is the caller's.
ONDREL_API unsigned long g_mem_CRC32(void const * data, unsigned long size, unsigned long crc);
/// Fill with `count` values of 16 and of 32 bits; `to` needs no alignment.
ONDREL_API void g_mem_set_2(void * to, unsigned short value, unsigned long count);
ONDREL_API void g_mem_set_4(void * to, unsigned long value, unsigned long count);
/// Ors `size` bytes, shifted right by `shift` bits (0 to 7) across their borders, into `to`, which
/// has one byte more.
ONDREL_API void g_mem_right_shift(void * to, void const * from, unsigned char shift,
                                  unsigned long size);
/// The bytes of `from` in reverse order; the blocks must not overlap.
ONDREL_API void g_mem_reversed_copy(void * to, void const * from, unsigned long size);
/// The same in place.
ONDREL_API void g_mem_reverse(void * data, unsigned long size);
