// The gallery: one picture of everything that the library draws. It is a table of tiles, and the
// program tells which operation stands where.
#include "Tiles.h"

#include <cstdio>
#include <string>
#include <vector>

using namespace Gallery;

namespace {

constexpr int columns = 5;
constexpr int gap = 8;

void printHelp() {
    std::puts("Draws every drawing operation of the library into one picture and writes it.\n"
              "\n"
              "Usage: gallery [OUT]\n"
              "  OUT      the picture, a .bmp or .tga file (gallery.bmp)\n"
              "  --help   this text");
}

int draw(char const * out) {
    std::vector<Tile> tiles;
    for (std::span<Tile const> const group :
         {shapeTiles(), xorTiles(), figureTiles(), regionTiles(), mapTiles()})
        tiles.insert(tiles.end(), group.begin(), group.end());
    int const rows = (static_cast<int>(tiles.size()) + columns - 1) / columns;

    PixelMap sheet(gap + columns * (tileWidth + gap), gap + rows * (tileHeight + gap),
                   AbstractImage::FormatRGB);
    PixelMap map(tileWidth, tileHeight, AbstractImage::FormatRGB);
    sheet.full_fill(black);
    int index = 0;
    for (Tile const & tile : tiles) {
        int const column = index % columns;
        int const row = index / columns;
        map.full_fill(ground);
        tile.draw(map);
        sheet.put_map(gap + column * (tileWidth + gap), gap + row * (tileHeight + gap), map);
        std::printf("  row %d, column %d: %s\n", row + 1, column + 1, tile.name);
        ++index;
    }
    if (!PixelMapTools::SaveToFile(sheet, out)) {
        std::fprintf(stderr, "gallery: cannot write %s (is it a .bmp or .tga file?)\n", out);
        return 1;
    }
    std::printf("%d x %d pixels are in %s\n", sheet.get_width(), sheet.get_height(), out);
    return 0;
}

} // namespace

int main(int argc, char ** argv) {
    std::string const out = argc > 1 ? argv[1] : "gallery.bmp";
    if (out == "--help" || out == "-h") {
        printHelp();
        return 0;
    }
    if (argc > 2 || out.starts_with('-')) {
        std::fputs("gallery: at most one file name; try --help\n", stderr);
        return 2;
    }
    GString::AddLoadStringFunc(GLoadMessage, nullptr); // file types and errors have texts in it
    return draw(out.c_str());
}
