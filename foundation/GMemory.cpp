// Byte helpers.
#include "foundation/GMemory.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace {

constexpr std::array<std::uint32_t, 256> crcTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit)
            value = value & 1 ? value >> 1 ^ 0xEDB88320 : value >> 1;
        table[i] = value;
    }
    return table;
}();

template <class T>
void fill(void * to, T value, unsigned long count) {
    auto * bytes = static_cast<unsigned char *>(to);
    for (; count > 0; --count, bytes += sizeof value)
        std::memcpy(bytes, &value, sizeof value);
}

} // namespace

unsigned long g_mem_CRC32(void const * data, unsigned long size, unsigned long crc) {
    auto const * bytes = static_cast<unsigned char const *>(data);
    auto value = static_cast<std::uint32_t>(crc);
    for (; size > 0; --size)
        value = crcTable[(value ^ *bytes++) & 0xFF] ^ value >> 8;
    return value;
}

void g_mem_set_2(void * to, unsigned short value, unsigned long count) {
    fill<std::uint16_t>(to, value, count);
}

void g_mem_set_4(void * to, unsigned long value, unsigned long count) {
    fill(to, static_cast<std::uint32_t>(value), count);
}

void g_mem_right_shift(void * to, void const * from, unsigned char shift, unsigned long size) {
    auto * target = static_cast<unsigned char *>(to);
    auto const * source = static_cast<unsigned char const *>(from);
    for (unsigned long i = 0; i < size; ++i) {
        unsigned const pair = static_cast<unsigned>(source[i]) << 8 >> shift;
        target[i] = static_cast<unsigned char>(target[i] | pair >> 8);
        target[i + 1] = static_cast<unsigned char>(target[i + 1] | (pair & 0xFF));
    }
}

void g_mem_reversed_copy(void * to, void const * from, unsigned long size) {
    auto const * source = static_cast<unsigned char const *>(from);
    std::reverse_copy(source, source + size, static_cast<unsigned char *>(to));
}

void g_mem_reverse(void * data, unsigned long size) {
    auto * bytes = static_cast<unsigned char *>(data);
    std::reverse(bytes, bytes + size);
}
