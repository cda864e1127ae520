// The weather: a process on the clock of the game, which changes its mind every few seconds.
#pragma once

#include "ondrel.h"

namespace Village {

class Weather : public Tavlin::Process, public Tavlin::IDispatcherImpl {
    G_DECLARE_CREATABLE(Weather)
    TAVLIN_DECLARE_DISPATCHER(Weather)
  public:
    Weather() = default;
    /// Changes from now on, every so many seconds of game time.
    void start(float every, float likelyRain);

    bool rains() const { return rain_; }
    int showers() const { return showers_; }
    /// 1 while it rains, for scripts.
    void askRain(Tavlin::VariableRef * result, Tavlin::VRefVector * args);

    void read(ipstream & in) override;
    void write(opstream & out) override;
    void onFinalRelease() override { Tavlin::Process::onFinalRelease(); }

  protected:
    void step(float now) override;

  private:
    float likelyRain_ = 0;
    bool rain_ = false;
    int showers_ = 0; // so far
};

} // namespace Village
