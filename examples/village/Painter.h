// The village from above: pictures and a film of what happens, for hosts that have no window.
#pragma once

#include "World.h"

#include <map>
#include <string>

namespace Village {

class Painter {
  public:
    static constexpr int width = 480;
    static constexpr int height = 320;

    Painter();

    /// Lets the villagers walk on for `seconds` to where their states take them, and draws all.
    void paint(World const & world, float seconds);
    /// What was drawn last.
    PixelMap const & picture() const { return picture_; }

  private:
    struct Walker {
        float x, y;
    };

    void paintGround();
    void paintHouses();
    void paintVillagers(World const & world, float seconds);
    void paintRain();
    void paintNight();
    void paintCaption(World const & world);

    PixelMap ground_; // what never changes: meadows, paths, houses
    PixelMap picture_;
    GRegion sky_; // where rain is seen: everywhere but under roofs
    std::map<std::string, Walker> walkers_;
    int frame_ = 0;
};

/// Draws the world each half second of game time and keeps it in a film, a picture, or both; the
/// names may be empty.
class Camera {
  public:
    Camera(std::string const & film, std::string const & picture);
    /// False when a file cannot be written.
    bool open();
    bool afterFrame(World const & world, float delta);
    /// Writes the picture of the end and closes the film.
    bool close();

  private:
    std::string filmName_, pictureName_;
    Painter painter_;
    GOutputAVIFile film_;
    float waited_ = 0;
};

} // namespace Village
