// Step 1: the library is started, its clock runs, and it stops again.
#include "ondrel.h"

#include <cstdio>

using namespace Tavlin;

/// The light turns with the game: the clock calls it once in every game step.
class Light : public NotifyCallback {
  public:
    Light() : NotifyCallback(true) {} // true: it is ours, the clock must not delete it
    void notify(Notifyer const &) override {
        degrees_ += 36 * Time::TimeToNextFrame();
        std::printf("%.1f s: the light points to %.0f degrees\n", Time::GetTime(), degrees_);
    }

  private:
    float degrees_ = 0;
};

int main() {
    GString::AddLoadStringFunc(GLoadMessage, nullptr); // the texts of the library's errors
    Error::InitializeHandler();                        // a crash is told before the program ends
    Time::Reset();                                     // game time 0, and nobody is called

    Light light;
    Time::g_StepNotifyer.addCallback(&light, 1.0f);

    for (int pass = 0; pass < 3; ++pass) {
        Time::StepGame(0.5f); // the world, half a second further
        Time::StepRender();   // whoever draws
    }

    Time::Stop(); // the player has opened the menu
    Time::Step(); // what a game calls: a game step of the measured time, then a render step
    Time::Start();
    std::printf("%.1f s of game time in %lu passes\n", Time::GetTime(), Time::Frame());

    Time::g_StepNotifyer.removeCallback(&light);
    return 0;
}
