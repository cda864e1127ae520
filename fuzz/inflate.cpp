// Compressed streams: both coders, from a device and from the middle of an object stream.
#include "Input.h"

#include "ondrel.h"

#include <vector>

namespace {

constexpr long most = 1 << 20; // of what may come out of the input

template <class Coder>
void inflate(std::vector<std::uint8_t> & bytes) {
    Coder coder(new GBufferedIO(
        new GMemoryIO(bytes.data(), static_cast<long>(bytes.size()), GIO::ReadMode)));
    char piece[4096];
    for (long count = 0, got; count < most && (got = coder.gread(piece, sizeof piece)) > 0;)
        count += got;
}

} // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    std::vector<std::uint8_t> bytes(data, data + size);
    inflate<GFlateBufferedIO>(bytes);
    inflate<GHuffmanBufferedIO>(bytes);
    return 0;
}
