// Movies: every frame, forwards and one back.
#include "Input.h"

#include "ondrel.h"

#include <algorithm>
#include <memory>

int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    static InputFolder const folder;
    GInputAVIFile movie;
    if (!movie.open(folder.put("movie.avi", data, size).c_str()))
        return 0;
    long const count = std::min(movie.get_frame_count(), 20L);
    for (long i = 0; i < count; ++i)
        std::unique_ptr<PixelMap> const map(movie.get_map(i));
    if (count > 1)
        std::unique_ptr<PixelMap> const map(movie.get_map(count / 2));
    return 0;
}
