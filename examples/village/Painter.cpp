// Drawing the village.
#include "Painter.h"

#include "Font.h"
#include "Texts.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <utility>

using namespace Tavlin;

namespace Village {

namespace {

constexpr float secondsPerFrame = 0.5f;
constexpr float stride = 28; // pixels a second of game time

RGB_Color const meadow(96, 140, 72), path(176, 150, 108), roofEdge(60, 36, 28);

struct Place {
    char const * name;
    GPoint at;
    RGB_Color color;
};
Place const houses[] = {{"the inn", {70, 70}, {150, 62, 48}},
                        {"the mill", {410, 64}, {120, 110, 140}},
                        {"the cottage", {72, 250}, {170, 120, 60}},
                        {"the barn", {408, 252}, {110, 70, 44}}};
Place const bakery = {"bakery", {240, 60}, {196, 160, 84}};
Place const market = {"market", {240, 262}, {200, 60, 60}};
constexpr GPoint well(240, 160);
constexpr GPoint field(330, 160);

struct Mood {
    char const * state;
    RGB_Color color;
};
Mood const moods[] = {{"Sleeping", {90, 90, 150}},  {"Working", {240, 240, 230}},
                      {"Eating", {240, 170, 60}},   {"Resting", {150, 200, 230}},
                      {"Talking", {230, 110, 200}}, {"Trading", {250, 230, 70}}};

RGB_Color colorOf(char const * state) {
    for (Mood const & mood : moods)
        if (std::string(mood.state) == state)
            return mood.color;
    return RGB_Color(255, 255, 255);
}

/// What a figure is drawn with: its spans are cut to the region, if there is one.
struct Brush {
    PixelMap & map;
    RGB_Color color;
    GRegion const * region = nullptr;

    static void Span(long x0, long y, long x1, void * data) {
        auto const & brush = *static_cast<Brush *>(data);
        long spans[Painter::width + 2] = {x0, x1};
        long count = 1;
        if (brush.region)
            count = brush.region->clip_hline(std::max(x0, 0L), y,
                                             std::min(x1, long(Painter::width) - 1), spans);
        for (long i = 0; i < count; ++i)
            brush.map.hline(static_cast<int>(spans[2 * i]), static_cast<int>(y),
                            static_cast<int>(spans[2 * i + 1]), brush.color, 0);
    }
};

void polygon(PixelMap & map, std::initializer_list<GPoint> corners, RGB_Color color,
             GRegion const * region = nullptr) {
    Brush brush{map, color, region};
    G2DFigure::FillPoly(static_cast<int>(corners.size()), corners.begin(), &Brush::Span, &brush);
}

void disk(PixelMap & map, long x, long y, long radius, RGB_Color color) {
    Brush brush{map, color};
    G2DFigure::Disk(x, y, radius, &Brush::Span, &brush);
}

/// A path as a bundle of lines.
void walk(PixelMap & map, GPoint from, GPoint to) {
    bool const steep = std::labs(to.y - from.y) > std::labs(to.x - from.x);
    for (int i = -3; i <= 3; ++i) {
        int const dx = steep ? i : 0, dy = steep ? 0 : i;
        map.line(int(from.x) + dx, int(from.y) + dy, int(to.x) + dx, int(to.y) + dy, path, 0);
    }
}

RGB_Color darker(RGB_Color color, int percent) {
    return RGB_Color(static_cast<unsigned char>(color.red * percent / 100),
                     static_cast<unsigned char>(color.green * percent / 100),
                     static_cast<unsigned char>(color.blue * percent / 100));
}

GRect wallsOf(GPoint at) {
    return GRect(at.x - 34, at.y - 24, 68, 48);
}

/// Small steps that look random and are the same each time.
int scatter(int number, int range) {
    return static_cast<int>(static_cast<unsigned>(number) * 2654435761u >> 8) % range;
}

GPoint goalOf(Inhabitant const & who, int number) {
    char const * const state = who.lastState.c_str();
    auto const around = [number](GPoint at, int wide, int high) {
        return GPoint(at.x - wide / 2 + scatter(number, wide),
                      at.y - high / 2 + scatter(number + 7919, high));
    };
    std::string const name(state);
    if (name == "Eating")
        return around(GPoint(bakery.at.x, bakery.at.y + 44), 110, 20);
    if (name == "Talking")
        return around(well, 70, 50);
    if (name == "Trading")
        return around(GPoint(market.at.x, market.at.y - 44), 110, 20);
    if (name == "Working")
        return around(field, 100, 80);
    for (Place const & house : houses)
        if (who.body->house() && who.body->house()->name() == house.name)
            return around(GPoint(house.at.x, house.at.y + 36), 60, 16);
    return well;
}

} // namespace

Painter::Painter()
    : ground_(width, height, AbstractImage::FormatRGB),
      picture_(width, height, AbstractImage::FormatRGB), sky_(GRect(0, 0, width, height)) {
    paintGround();
    paintHouses();
}

void Painter::paintGround() {
    ground_.full_fill(meadow);
    for (int i = 0; i < 2600; ++i)
        ground_.set_pixel(scatter(i, width), scatter(i + 50000, height),
                          darker(meadow, 86 + scatter(i, 24)));
    for (Place const & house : houses)
        walk(ground_, GPoint(house.at.x, house.at.y + 30), well);
    walk(ground_, bakery.at, well);
    walk(ground_, market.at, well);
    walk(ground_, field, well);
    for (int row = 0; row < 9; ++row) // the field, in furrows
        ground_.bar(int(field.x) - 52, int(field.y) - 42 + row * 10, int(field.x) + 52,
                    int(field.y) - 38 + row * 10, RGB_Color(186, 160, 80), 0);
    disk(ground_, well.x, well.y, 9, RGB_Color(120, 120, 124));
    disk(ground_, well.x, well.y, 6, RGB_Color(60, 110, 190));
}

void Painter::paintHouses() {
    auto const build = [this](Place const & place) {
        GRect const walls = wallsOf(place.at);
        long const left = walls.left(), right = walls.right(), top = walls.top(),
                   bottom = walls.bottom(), middle = place.at.y;
        // The roof is larger than the house and cut to it, but for a chimney.
        GRegion roof(walls);
        roof |= GRect(right - 16, top - 6, 8, 8);
        polygon(ground_,
                {{left - 10, top - 10},
                 {right + 10, top - 10},
                 {right + 10, middle},
                 {left - 10, middle}},
                place.color, &roof);
        polygon(ground_,
                {{left - 10, middle},
                 {right + 10, middle},
                 {right + 10, bottom + 10},
                 {left - 10, bottom + 10}},
                darker(place.color, 78), &roof);
        ground_.hline(int(left), int(middle), int(right), roofEdge, 0);
        ground_.bar(int(place.at.x) - 4, int(bottom) + 1, int(place.at.x) + 4, int(bottom) + 4,
                    roofEdge, 0);
        sky_ -= walls;
    };
    for (Place const & house : houses)
        build(house);
    build(bakery);
    GRect const stall = wallsOf(market.at); // the market has an awning of stripes
    for (long x = stall.left(); x <= stall.right(); ++x)
        ground_.vline(int(x), int(stall.top()), int(stall.bottom()),
                      (x / 8) % 2 ? market.color : RGB_Color(240, 235, 225), 0);
    sky_ -= stall;
}

void Painter::paintVillagers(World const & world, float seconds) {
    int number = 0;
    for (Inhabitant const & who : world.inhabitants()) {
        GPoint const goal = goalOf(who, ++number);
        auto const [found, isNew] =
            walkers_.try_emplace(who.agent->getMemberNameID().c_str(),
                                 Walker{static_cast<float>(goal.x), static_cast<float>(goal.y)});
        Walker & walker = found->second;
        float const dx = static_cast<float>(goal.x) - walker.x;
        float const dy = static_cast<float>(goal.y) - walker.y;
        float const way = std::hypot(dx, dy);
        float const step = isNew ? way : std::min(way, stride * seconds);
        if (way > 0) {
            walker.x += dx / way * step;
            walker.y += dy / way * step;
        }
        long const x = std::lround(walker.x), y = std::lround(walker.y);
        disk(picture_, x, y, 4, RGB_Color(30, 30, 34));
        disk(picture_, x, y, 3, colorOf(who.lastState.c_str()));
    }
}

void Painter::paintRain() {
    for (int i = 0; i < 260; ++i) {
        int const x = scatter(i * 31 + frame_ * 977, width);
        int const y = scatter(i * 57 + frame_ * 613, height);
        if (sky_.contains(x, y))
            picture_.line(x, y, x - 2, y + 7, RGB_Color(150, 170, 210), 0);
    }
}

/// Whatever is seen by day is darker and bluer by night.
void Painter::paintNight() {
    for (int y = 0; y < height; ++y) {
        auto * const row = reinterpret_cast<RGB_Color *>(picture_.get_pixels_address(y));
        for (int x = 0; x < width; ++x) {
            RGB_Color & color = row[x];
            color = RGB_Color(static_cast<unsigned char>(color.red * 45 / 100),
                              static_cast<unsigned char>(color.green * 50 / 100),
                              static_cast<unsigned char>(color.blue * 70 / 100));
        }
    }
}

void Painter::paintCaption(World const & world) {
    int const minute = static_cast<int>(std::fmod(Time::GetTime(), BellTower::dayLength) * 24 * 60 /
                                        BellTower::dayLength);
    char text[80];
    std::snprintf(text, sizeof text, "day %d %02d:%02d %s%s",
                  static_cast<int>(Time::GetTime() / BellTower::dayLength) + 1, minute / 60,
                  minute % 60, world.tower()->hour(), world.weather()->rains() ? ", rain" : "");
    picture_.bar(0, height - 15, width - 1, height - 1, RGB_Color(24, 24, 30), 0);
    drawText(picture_, 6, height - 11, text, RGB_Color(240, 236, 220));
    picture_.bar(0, 0, width - 1, 14, RGB_Color(24, 24, 30), 0);
    int x = 10;
    for (Mood const & mood : moods) {
        disk(picture_, x, 7, 3, mood.color);
        drawText(picture_, x + 7, 4, mood.state, RGB_Color(200, 200, 200));
        x += width / static_cast<int>(std::size(moods));
    }
}

void Painter::paint(World const & world, float seconds) {
    ++frame_;
    picture_.copy(ground_);
    paintVillagers(world, seconds);
    if (world.weather()->rains())
        paintRain();
    std::string const hour = world.tower()->hour();
    if (hour == "night" || hour == "evening")
        paintNight();
    paintCaption(world);
    picture_.image_modified();
}

Camera::Camera(std::string const & film, std::string const & picture)
    : filmName_(film), pictureName_(picture) {}

bool Camera::open() {
    return filmName_.empty() || film_.open(filmName_.c_str());
}

bool Camera::afterFrame(World const & world, float delta) {
    if (filmName_.empty() && pictureName_.empty())
        return true;
    waited_ += delta;
    if (waited_ < secondsPerFrame)
        return true;
    painter_.paint(world, waited_);
    waited_ = 0;
    return filmName_.empty() || film_.put_map(painter_.picture());
}

bool Camera::close() {
    film_.close();
    return pictureName_.empty() ||
           PixelMapTools::SaveToFile(painter_.picture(), pictureName_.c_str());
}

} // namespace Village
