// Stands in for the fuzzer where the compiler has none: reads the files that are named, and those
// in the folders that are named.
#include "Input.h"

#include <cstdio>
#include <iterator>
#include <vector>

namespace {

void replay(std::filesystem::path const & file) {
    std::printf("%s\n", file.c_str());
    std::fflush(stdout); // so that it is known which one ended the program
    std::ifstream in(file, std::ios::binary);
    std::vector<char> const bytes((std::istreambuf_iterator<char>(in)), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const *>(bytes.data()), bytes.size());
}

} // namespace

int main(int argc, char ** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE-OR-FOLDER...\n", argv[0]);
        return 64;
    }
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            replay(argv[i]);
            continue;
        }
        for (auto const & entry : std::filesystem::recursive_directory_iterator(argv[i]))
            if (entry.is_regular_file())
                replay(entry.path());
    }
    return 0;
}
