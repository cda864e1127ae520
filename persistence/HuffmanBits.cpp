// Where the window ends: one byte at a time, through the device.
#include "persistence/HuffmanBits.h"

namespace huffman {

BitSink BitSink::start(GAbstractBufferedIO * device) {
    BitSink sink;
    sink.device = device;
    sink.failed = !device || device->gwrite(nullptr, 0) != 0;
    if (!sink.failed) {
        sink.out = device->getWCurrent();
        sink.end = device->getWEnd();
    }
    return sink;
}

BitSink BitSink::spilled(BitSink sink) {
    if (!sink.failed)
        sink.device->setWCurrent(sink.out);
    for (; !sink.failed && sink.count >= 8; sink.bits >>= 8, sink.count -= 8)
        sink.failed = sink.device->writeByte(static_cast<unsigned char>(sink.bits)) < 0;
    if (sink.failed) {
        sink.out = sink.end = nullptr;
        sink.bits = sink.count = 0;
        return sink;
    }
    sink.out = sink.device->getWCurrent();
    sink.end = sink.device->getWEnd();
    return sink;
}

BitSink BitSink::finished(BitSink sink) {
    sink.count = (sink.count + 7) & ~7u;
    sink = spilled(sink);
    sink.failed = sink.failed || sink.device->getError() != GIO::NoError;
    return sink;
}

BitSource BitSource::start(GAbstractBufferedIO * device) {
    BitSource source;
    source.device = device;
    source.failed = device->gread(nullptr, 0) != 0;
    source.in = device->getRCurrent();
    source.end = device->getREnd();
    return source;
}

BitSource BitSource::fetched(BitSource source) {
    std::uint64_t byte;
    if (source.in != source.end) {
        byte = *source.in++;
    } else {
        source.device->setRCurrent(const_cast<unsigned char *>(source.in));
        int const read = source.device->readByte();
        source.in = source.device->getRCurrent();
        source.end = source.device->getREnd();
        source.failed = read < 0;
        byte = source.failed ? 0 : static_cast<std::uint64_t>(read);
    }
    source.bits |= byte << source.count;
    source.count += source.failed ? 0 : 8;
    return source;
}

BitSource BitSource::finished(BitSource source) {
    if (source.failed)
        return source;
    // No more than seven bits outlive a change of the window, so these bytes are in it.
    source.in -= source.count >> 3;
    source.count &= 7;
    source.bits &= (1u << source.count) - 1;
    source.device->setRCurrent(const_cast<unsigned char *>(source.in));
    return source;
}

} // namespace huffman
