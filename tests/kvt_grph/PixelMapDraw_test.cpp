// Drawing and putting against a plain model: a set of pixels, changed one by one.
#include "kvt_grph/PixelMap.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <vector>

namespace {

using Format = AbstractImage::MapFormat;

GPalette somePalette(unsigned seed, int count = 40) {
    std::mt19937 random(seed);
    GPalette palette(count);
    for (int i = 0; i < count; ++i)
        palette.set_color(static_cast<unsigned char>(i),
                          RGB_Color(random() % 4 * 85, random() % 4 * 85, random() % 4 * 85));
    return palette;
}

struct Model {
    int width, height;
    Format layout;
    GPalette palette;
    std::vector<RGBA_Color> cells; // an index stands in blue

    Model(int w, int h, Format format, GPalette const & colors)
        : width(w), height(h), layout(format), palette(colors),
          cells(static_cast<std::size_t>(w * h)) {}
    bool has(long x, long y) const { return x >= 0 && y >= 0 && x < width && y < height; }
    RGBA_Color & cell(long x, long y) { return cells[static_cast<std::size_t>(y * width + x)]; }
    RGBA_Color color(long x, long y) {
        return layout == AbstractImage::FormatIndex ? RGBA_Color(palette[cell(x, y).blue])
                                                    : cell(x, y);
    }
    void set(long x, long y, RGBA_Color color) {
        if (!has(x, y))
            return;
        if (layout == AbstractImage::FormatIndex)
            cell(x, y).blue = palette.get_index(RGB_Color(color));
        else if (layout == AbstractImage::FormatRGB)
            cell(x, y) = RGB_Color(color);
        else
            cell(x, y) = color;
    }
    void setIndex(long x, long y, unsigned char index) {
        if (layout == AbstractImage::FormatIndex && has(x, y))
            cell(x, y).blue = index;
    }
    void draw(long x, long y, RGB_Color color, bool combines, bool asRun) {
        if (!combines)
            set(x, y, color);
        else if (has(x, y) && layout == AbstractImage::FormatIndex)
            cell(x, y).blue ^= asRun ? color.index() : palette.get_index(color);
        else if (has(x, y))
            cell(x, y) ^= color;
    }
    void run(long x0, long y, long x1, RGB_Color color, bool combines) {
        for (long x = std::min(x0, x1); x <= std::max(x0, x1); ++x)
            draw(x, y, color, combines, true);
    }
    void line(long x0, long y0, long x1, long y1, RGB_Color color, bool combines) {
        if (y0 == y1) {
            run(x0, y0, x1, color, combines);
            return;
        }
        if (x1 < x0) {
            std::swap(x0, x1);
            std::swap(y0, y1);
        }
        long const dx = x1 - x0, dy = std::labs(y1 - y0), down = y0 < y1 ? 1 : -1;
        long const major = std::max(dx, dy), minor = std::min(dx, dy);
        long error = 0;
        draw(x0, y0, color, combines, false);
        for (long i = 0; i < major; ++i) {
            error += 2 * minor;
            bool const both = major < error;
            if (both)
                error -= 2 * major;
            x0 += dx >= dy || both ? 1 : 0;
            y0 += dx < dy || both ? down : 0;
            draw(x0, y0, color, combines, false);
        }
    }
    struct Side {
        long x, whole, rest, height, error;
        Side(GPoint from, GPoint to) : x(from.x), height(to.y - from.y) {
            whole = (to.x - from.x) / height;
            if ((to.x - from.x) % height < 0)
                --whole;
            rest = to.x - from.x - whole * height;
            error = 2 * rest - height;
        }
        void step() {
            x += whole;
            if (error > 0) {
                ++x;
                error -= 2 * height;
            }
            error += 2 * rest;
        }
    };
    void triangle(GPoint a, GPoint b, GPoint c, RGB_Color color, bool combines) {
        GPoint p[3] = {a, b, c};
        std::stable_sort(p, p + 3, [](GPoint l, GPoint r) { return l.y < r.y; });
        if (p[0].y == p[2].y) {
            run(std::min({a.x, b.x, c.x}), a.y, std::max({a.x, b.x, c.x}), color, combines);
            return;
        }
        Side whole(p[0], p[2]);
        for (int part = 0; part < 2; ++part) {
            if (p[part].y == p[part + 1].y)
                continue;
            Side side(p[part], p[part + 1]);
            for (long y = p[part].y; y < p[part + 1].y; ++y, whole.step(), side.step())
                run(whole.x, y, side.x, color, combines);
        }
        run(whole.x, p[2].y, p[1].y == p[2].y ? p[1].x : p[2].x, color, combines);
    }
    void put(long x, long y, Model source, GRect const & part, RGB_Color const * key) {
        GRect const cut = part & GRect(0, 0, source.width, source.height);
        for (long j = 0; j < cut.h; ++j)
            for (long i = 0; i < cut.w; ++i) {
                RGBA_Color const color = source.color(cut.x + i, cut.y + j);
                if (key && RGB_Color(color) == *key)
                    continue;
                if (source.layout == AbstractImage::FormatIndex)
                    setIndex(x + i, y + j, source.cell(cut.x + i, cut.y + j).blue);
                else
                    set(x + i, y + j, color);
            }
    }
};

void expectSame(PixelMap const & map, Model & model, std::string const & after) {
    std::vector<RGBA_Color> row(static_cast<std::size_t>(model.width) + 4);
    std::vector<unsigned char> indices(row.size());
    for (int y = 0; y < model.height; ++y) {
        map.get_hline(row.data(), -2, y, model.width + 4);
        map.get_hline(indices.data(), -2, y, model.width + 4);
        for (int x = -2; x < model.width + 2; ++x) {
            auto const at = static_cast<std::size_t>(x + 2);
            bool const in = model.has(x, y);
            ASSERT_EQ(row[at], in ? model.color(x, y) : RGBA_Color())
                << after << " at " << x << ", " << y << " in format " << model.layout;
            bool const indexed = in && model.layout == AbstractImage::FormatIndex;
            ASSERT_EQ(indices[at], indexed ? model.cell(x, y).blue : 0)
                << after << " at " << x << ", " << y;
        }
    }
}

/// A map and its model, changed by the same random operations.
class Pair {
  public:
    Pair(int width, int height, Format format, unsigned seed)
        : model(width, height, AbstractImage::layoutOf(format), somePalette(seed)),
          map(width, height, format, &model.palette), random_(seed) {}

    Model model;
    PixelMap map;

    /// Draws, and tells what.
    std::string draw() {
        int const x0 = place(), y0 = place(), x1 = place(), y1 = place(), x2 = place();
        RGB_Color const c = color();
        bool const combines = random_() % 2;
        switch (random_() % 7) {
            case 0:
                map.line(x0, y0, x1, y1, c, combines);
                model.line(x0, y0, x1, y1, c, combines);
                return "line";
            case 1:
                map.hline(x0, y0, x1, c, combines);
                model.run(x0, y0, x1, c, combines);
                return "hline";
            case 2:
                map.vline(x0, y0, y1, c, combines);
                for (int y = std::min(y0, y1); y <= std::max(y0, y1); ++y)
                    model.draw(x0, y, c, combines, false);
                return "vline";
            case 3:
                map.bar(x0, y0, x1, y1, c, combines);
                for (int y = std::min(y0, y1); y <= std::max(y0, y1); ++y)
                    model.run(x0, y, x1, c, combines);
                return "bar";
            case 4:
                map.fill_triangle(x0, y0, x1, y1, x2, x0, c, combines);
                model.triangle({x0, y0}, {x1, y1}, {x2, x0}, c, combines);
                return "fill_triangle";
            case 5:
                combines ? map.xor_pixel(x0, y0, c) : map.set_pixel(x0, y0, c);
                model.draw(x0, y0, c, combines, false);
                return "pixel";
            default:
                if (random_() % 8)
                    return "nothing";
                map.full_fill(c);
                for (int i = 0; i < model.width * model.height; ++i)
                    model.set(i % model.width, i / model.width,
                              RGBA_Color(c.red, c.green, c.blue, 255));
                return "full_fill";
        }
    }
    std::string putLine() {
        int const x = place(), y = place(), count = place() + 5;
        RGB_Color const key = color();
        std::vector<RGBA_Color> line(60);
        std::vector<RGB_Color> plain;
        std::vector<unsigned char> indices;
        for (RGBA_Color & c : line) {
            c = RGBA_Color(color());
            c.alpha = static_cast<unsigned char>(random_());
            plain.emplace_back(c);
            indices.push_back(c.alpha);
        }
        unsigned const kind = random_() % 6;
        for (int i = 0; i < count; ++i) {
            auto const at = static_cast<std::size_t>(i);
            if (kind < 2 && !(kind == 1 && indices[at] == indices[0]))
                model.setIndex(x + i, y, indices[at]);
            else if (kind >= 2 && !(kind % 2 && plain[at] == key))
                model.set(x + i, y, kind < 4 ? RGBA_Color(plain[at]) : line[at]);
        }
        switch (kind) {
            case 0:
                map.put_hline(indices.data(), x, y, count);
                break;
            case 1:
                map.put_hline(indices.data(), x, y, count, indices[0]);
                break;
            case 2:
                map.put_hline(plain.data(), x, y, count);
                break;
            case 3:
                map.put_hline(plain.data(), x, y, count, key);
                break;
            case 4:
                map.put_hline(line.data(), x, y, count);
                break;
            default:
                map.put_hline(line.data(), x, y, count, key);
        }
        return "put_hline of kind " + std::to_string(kind);
    }
    std::string put(Pair const & source) {
        int const x = place(), y = place();
        RGB_Color const key = color();
        GRect const all(0, 0, source.model.width, source.model.height);
        GRect const part(place(), place(), place() + 5, place() + 5);
        unsigned const kind = random_() % 4;
        model.put(x, y, source.model, kind < 2 ? all : part, kind % 2 ? &key : nullptr);
        if (kind == 0)
            map.put_map(x, y, source.map);
        else if (kind == 1)
            map.put_map(x, y, source.map, key);
        else if (kind == 2)
            map.put_map(x, y, source.map, part);
        else
            map.put_map(x, y, source.map, part, key);
        return (&source == this ? "put_map of itself, " : "put_map, ") + std::to_string(kind);
    }

  private:
    int place() { return static_cast<int>(random_() % 45) - 14; }
    RGB_Color color() {
        return random_() % 4 ? model.palette[static_cast<unsigned char>(random_() % 40)]
                             : RGB_Color(random_() % 256, random_() % 256, random_() % 256);
    }
    std::mt19937 random_;
};

std::vector<Pair> pairs() {
    std::vector<Pair> result;
    for (unsigned i = 0; i < 3; ++i)
        result.emplace_back(17 + static_cast<int>(i), 13, static_cast<Format>(i + 1), i + 1);
    return result;
}

/// Which columns of row `y` have a colour.
std::vector<int> columns(PixelMap const & map, int y) {
    std::vector<int> result;
    for (int x = 0; x < map.get_width(); ++x)
        if (!!map.get_pixel(x, y))
            result.push_back(x);
    return result;
}

class PixelMapDrawTest : public testing::Test {
  protected:
    PixelMapDrawTest() { GPalette::SetProgramPalette(somePalette(99), 0); }
    ~PixelMapDrawTest() override { GPalette::SetProgramPalette(GPalette(), 0); }
};

RGB_Color const white(255, 255, 255);

} // namespace

TEST_F(PixelMapDrawTest, drawingChangesThePixelsOfTheModel) {
    for (Pair & pair : pairs())
        for (int i = 0; i < 4000; ++i)
            ASSERT_NO_FATAL_FAILURE(expectSame(pair.map, pair.model, pair.draw()));
}

TEST_F(PixelMapDrawTest, puttingChangesThePixelsOfTheModel) {
    std::vector<Pair> all = pairs();
    for (int i = 0; i < 6000; ++i) {
        Pair & target = all[static_cast<std::size_t>(i) % 3];
        if (i % 9 == 0)
            target.draw();
        ASSERT_NO_FATAL_FAILURE(expectSame(target.map, target.model, target.putLine()));
        ASSERT_NO_FATAL_FAILURE(expectSame(target.map, target.model,
                                           target.put(all[static_cast<std::size_t>(i / 3) % 3])));
    }
}

TEST_F(PixelMapDrawTest, farCornersAreReachedExactly) {
    // 2^32 - 11 columns for one row: half of them are over at column 5.
    PixelMap lines(12, 12, AbstractImage::FormatRGB);
    lines.line(INT_MIN + 10, 3, INT_MAX, 4, white, 0);
    EXPECT_EQ(columns(lines, 3), (std::vector<int>{0, 1, 2, 3, 4}));
    EXPECT_EQ(columns(lines, 4), (std::vector<int>{5, 6, 7, 8, 9, 10, 11}));
    lines.full_fill(RGB_Color());
    lines.line(4, INT_MAX, 3, INT_MIN + 10, white, 0);
    for (int y = 0; y < 12; ++y)
        EXPECT_EQ(columns(lines, y), std::vector<int>{y < 5 ? 3 : 4}) << y;
    lines.full_fill(RGB_Color());
    lines.line(INT_MIN, INT_MAX, INT_MAX, INT_MIN, white, 0);
    EXPECT_EQ(columns(lines, 0), std::vector<int>{}) << "it passes (0, -1) and (-1, 0)";
    lines.line(INT_MIN, INT_MIN, INT_MAX, INT_MAX, white, 0);
    for (int y = 0; y < 12; ++y)
        EXPECT_EQ(columns(lines, y), std::vector<int>{y}) << y;
    lines.full_fill(RGB_Color());
    lines.fill_triangle(3, INT_MIN + 10, INT_MIN, INT_MIN + 10, 4, INT_MAX, white, 0);
    for (int y = 0; y < 12; ++y)
        EXPECT_EQ(columns(lines, y).size(), y < 5 ? 4u : 5u) << y;
}

TEST_F(PixelMapDrawTest, longLinesAreThoseThatStepAllTheWay) {
    std::mt19937 random(5);
    auto const far = [&] { return static_cast<int>(random() % 400000) - 200000; };
    for (int i = 0; i < 60; ++i) {
        Model model(40, 40, AbstractImage::FormatRGB, GPalette());
        PixelMap map(40, 40, AbstractImage::FormatRGB);
        int const x = far(), y = far(), nearX = static_cast<int>(random() % 40),
                  nearY = static_cast<int>(random() % 40);
        map.line(x, y, nearX - x / 3, nearY - y / 3, white, 0);
        model.line(x, y, nearX - x / 3, nearY - y / 3, white, false);
        ASSERT_NO_FATAL_FAILURE(expectSame(map, model, "line"));
    }
}

TEST_F(PixelMapDrawTest, nothingReachesOverTheEdgeHoweverFar) {
    int const far[] = {INT_MIN, INT_MIN + 1, -1, 0, 5, INT_MAX - 1, INT_MAX};
    RGBA_Color pixels[8] = {};
    for (Format format : {1, 2, 3}) {
        PixelMap map(8, 6, format, &GPalette::GetProgramPalette());
        PixelMap const source(map);
        for (int const a : far)
            for (int const b : far)
                for (int const c : far) {
                    map.line(a, b, c, a, white, 1);
                    map.fill_triangle(a, b, b, c, c, a, white, 1);
                    map.bar(a, b, c, b, white, 0);
                    map.vline(a, b, c, white, 0);
                    map.put_hline(pixels, a, b, std::min(c, 8));
                    map.get_hline(pixels, a, b, std::min(c, 8));
                    map.put_map(a, b, source);
                    map.put_map(a, b, map, GRect(b, c, LONG_MAX, c), white);
                    map.put_map(a, b, source, GRect(LONG_MIN, LONG_MAX, a, LONG_MIN));
                    map.set_color_line(a, b, std::min(c, 8),
                                       reinterpret_cast<unsigned char *>(pixels));
                    map.set_pixel(a, b, white);
                }
    }
}
