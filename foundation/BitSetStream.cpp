// The streamed form of BitSet: the size, the number of words, then the words from the last to the
// first, each 32 bits.
#include "foundation/BitSet.h"
#include "persistence/pstream.h"

#include <algorithm>
#include <vector>

opstream & operator<<(opstream & out, BitSet const & set) {
    out.writeDWord(set.size_);
    out.writeDWord(set.words_);
    for (unsigned long i = set.words_; i-- > 0;)
        out.writeDWord(set.bits_[i]);
    return out;
}

ipstream & operator>>(ipstream & in, BitSet & set) {
    unsigned long const size = in.readDWord();
    unsigned long const words = in.readDWord();
    set = BitSet();
    if (!in)
        return in;
    if (size == 0 || words != BitSet::wordsFor(size)) {
        in.setstate(pstream::ReadFailedBit);
        return in;
    }
    // It grows with what arrives: the size alone could ask for half a gigabyte.
    std::vector<std::uint32_t> arrived;
    for (unsigned long i = 0; i < words && in; ++i)
        arrived.push_back(static_cast<std::uint32_t>(in.readDWord()));
    if (!in)
        return in;
    set.resize(size);
    std::reverse_copy(arrived.begin(), arrived.end(), set.bits_);
    return in;
}
