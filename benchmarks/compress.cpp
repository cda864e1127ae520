// The compressor beside zlib at the same level, in memory, over the same data: text, a saved world,
// an executable and noise. "ratio" is the size of the stream by that of the data; the rate is that
// of the data. Both sides are handed all the data at once and keep nothing from one run to the
// next.
#include "benchmarks/RunBenchmarks.h"
#include "ondrel.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#if defined(ONDREL_HAVE_ZLIB)
#include <zlib.h>
#endif

namespace {

std::size_t const corpusSize = 2 << 20;

/// Prose of a made-up language: words as often as in a real one, in sentences and paragraphs.
std::string text() {
    std::mt19937 random(1);
    std::vector<std::string> words;
    for (int i = 0; i < 6000; ++i) {
        std::string word;
        for (unsigned j = 0; j < 1 + random() % 4; ++j) {
            word += "bcdfghlmnprstvw"[random() % 15];
            word += "aeiou"[random() % 5];
            if (random() % 3 == 0)
                word += "nrst"[random() % 4];
        }
        words.push_back(word);
    }
    std::string data;
    while (data.size() < corpusSize) {
        std::size_t const length = 4 + random() % 16;
        for (std::size_t i = 0; i < length; ++i) {
            // The n-th word comes about once in n, as in any language.
            double const u = static_cast<double>(random() % 100000 + 1) / 100000;
            std::string word = words[static_cast<std::size_t>(std::pow(6000.0, u)) % 6000];
            if (i == 0)
                word[0] = static_cast<char>(word[0] - 'a' + 'A');
            data += word;
            data += i + 1 < length ? (random() % 12 ? " " : ", ") : (random() % 6 ? ". " : ".\n\n");
        }
    }
    data.resize(corpusSize);
    return data;
}

/// A world as an object stream writes it: frames with class names, counters, places and values.
std::string world() {
    std::mt19937 random(2);
    std::string data;
    auto const put = [&](auto value) {
        data.append(reinterpret_cast<char const *>(&value), sizeof value);
    };
    char const * const classes[] = {"Tavlin::AgentShell", "Tavlin::Automat", "Tavlin::Inventory",
                                    "Game::Door", "Game::Villager"};
    for (std::uint32_t id = 0; data.size() < corpusSize; ++id) {
        char const * const name = classes[random() % 5];
        put(std::uint32_t{0xCF0FB5B1});
        put(static_cast<std::uint16_t>(std::strlen(name)));
        data += name;
        data += '\x02';
        put(id);
        for (int i = 0; i < 3; ++i)
            put(static_cast<float>(random() % 4096) / 8);
        for (unsigned i = 0; i < random() % 6; ++i) {
            put(static_cast<std::uint32_t>(random() % 12));
            put(static_cast<std::int32_t>(random() % 100));
        }
        put(static_cast<std::uint16_t>(random() % 3));
        put(std::uint32_t{0x294A80EF});
        put(static_cast<std::uint32_t>(data.size()));
    }
    data.resize(corpusSize);
    return data;
}

/// The library itself.
std::string executable() {
    std::string data;
    if (std::FILE * const file = std::fopen(ONDREL_LIBRARY_FILE, "rb")) {
        char piece[4096];
        while (std::size_t const got = std::fread(piece, 1, sizeof piece, file))
            data.append(piece, got);
        std::fclose(file);
    }
    if (data.size() > corpusSize)
        data.resize(corpusSize);
    return data;
}

std::string noise() {
    std::mt19937 random(3);
    std::string data(corpusSize, '\0');
    for (char & c : data)
        c = static_cast<char>(random());
    return data;
}

/// Takes and gives bytes in memory that is there already.
class FixedMemory : public GMemoryIO {
  public:
    FixedMemory(std::string & block, IOOpenMode mode)
        : GMemoryIO(block.data(), static_cast<long>(block.size()), mode) {}
};

struct OndrelSide {
    static void compress(std::string const & data, int level, std::string & stream) {
        auto * const memory = new FixedMemory(stream, GIO::WriteMode);
        GFlateBufferedIO flate(new GBufferedIO(memory), level);
        flate.gwrite(data.data(), static_cast<long>(data.size()));
        flate.flush();
        stream.resize(static_cast<std::size_t>(memory->gtell()));
    }
    static bool expand(std::string & stream, std::string & data) {
        GFlateBufferedIO flate(new GBufferedIO(new FixedMemory(stream, GIO::ReadMode)));
        auto const size = static_cast<long>(data.size());
        return flate.gread(data.data(), size) == size;
    }
};

#if defined(ONDREL_HAVE_ZLIB)
struct ZlibSide {
    static void compress(std::string const & data, int level, std::string & stream) {
        uLongf size = stream.size();
        compress2(reinterpret_cast<Bytef *>(stream.data()), &size,
                  reinterpret_cast<Bytef const *>(data.data()), data.size(), level);
        stream.resize(size);
    }
    static bool expand(std::string & stream, std::string & data) {
        uLongf size = data.size();
        return uncompress(reinterpret_cast<Bytef *>(data.data()), &size,
                          reinterpret_cast<Bytef const *>(stream.data()), stream.size()) == Z_OK &&
               size == data.size();
    }
};
#endif

template <class Side>
void compress(benchmark::State & state, std::string const & data) {
    std::string stream;
    for (auto _ : state) {
        stream.resize(data.size() + data.size() / 4 + 1024);
        Side::compress(data, static_cast<int>(state.range(0)), stream);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(data.size()));
    state.counters["ratio"] = static_cast<double>(stream.size()) / static_cast<double>(data.size());
}

template <class Side>
void expand(benchmark::State & state, std::string const & data) {
    std::string stream(data.size() + data.size() / 4 + 1024, '\0');
    Side::compress(data, static_cast<int>(state.range(0)), stream);
    std::string back(data.size(), '\0');
    for (auto _ : state)
        if (!Side::expand(stream, back))
            state.SkipWithError("the stream does not read back");
    if (back != data)
        state.SkipWithError("the data do not come back");
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(data.size()));
}

template <class Side>
void enter(std::string const & side, std::string const & name, std::string const & data) {
    benchmark::RegisterBenchmark(("compress/" + name + "/" + side).c_str(), compress<Side>,
                                 std::cref(data))
        ->DenseRange(1, 9)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("expand/" + name + "/" + side).c_str(), expand<Side>,
                                 std::cref(data))
        ->DenseRange(1, 9)
        ->Unit(benchmark::kMillisecond);
}

} // namespace

int main(int argc, char ** argv) {
#if !defined(ONDREL_HAVE_ZLIB)
    std::puts("zlib was not found when this was built: its side is left out.");
#endif
    std::pair<char const *, std::string> const corpora[] = {
        {"text", text()}, {"world", world()}, {"executable", executable()}, {"noise", noise()}};
    for (auto const & [name, data] : corpora) {
        enter<OndrelSide>("ondrel", name, data);
#if defined(ONDREL_HAVE_ZLIB)
        enter<ZlibSide>("zlib", name, data);
#endif
    }
    return runBenchmarks(argc, argv);
}
