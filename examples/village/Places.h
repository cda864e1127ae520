// What stands in the village besides its people: the bakery's door and the bell tower.
#pragma once

#include "ondrel.h"

namespace Village {

/// A door that lets in so many in each game step. Scripts call "Enter" and "Leave".
class Door : public Tavlin::UniqueObject, public Tavlin::IDispatcherImpl {
    G_DECLARE_CREATABLE(Door)
    TAVLIN_DECLARE_DISPATCHER(Door)
  public:
    Door() : seats_(8) {}

    /// 1 for who gets a seat in this step; 0 when all are taken.
    void enter(Tavlin::VariableRef * result, Tavlin::VRefVector * args);
    void leave(Tavlin::VariableRef * result, Tavlin::VRefVector * args);
    void getSeats(Tavlin::VariableRef * result) { *result = seats_; }
    void setSeats(Tavlin::VariableRef const & value);
    int visits() const { return visits_; }

    void read(ipstream & in) override;
    void write(opstream & out) override;
    void onFinalRelease() override { Tavlin::Object::onFinalRelease(); }

  private:
    int seats_;
    int inside_ = 0;         // in the present step
    unsigned long step_ = 0; // the game step that inside_ speaks of
    int visits_ = 0;
};

/// Rings dawn, noon and dusk: a source of channels for each, to which listeners subscribe. At noon
/// of a market day it also sends that message to the board. A day lasts a minute of game time.
class BellTower : public Tavlin::UniqueObject {
    G_DECLARE_CREATABLE(BellTower)
  public:
    static constexpr float dayLength = 60.0f;
    enum Bell { Dawn, Noon, Dusk, bells };

    BellTower();
    ~BellTower() override { stop(); }
    /// Listen to the clock, in front of the agents. The board may be null.
    void start(Tavlin::TRef<Tavlin::Object> const & board);
    void stop();
    /// Days between market days.
    void setMarketEvery(int days) { marketEvery_ = days; }

    /// Lets `listener` hear a bell: its method of the name of the event is called. Null when it has
    /// no such method.
    Tavlin::TRef<Tavlin::VRefObjectChannel>
    subscribe(Bell bell, Tavlin::TRef<Tavlin::Object> const & listener);
    /// The name of the last event that was rung; "night" before the first.
    char const * hour() const { return lastHour_ < 0 ? "night" : hours_[lastHour_].name; }
    int marketDays() const { return marketDays_; }

    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    /// What the clock calls in each game step.
    class Clock : public Tavlin::NotifyCallback {
      public:
        explicit Clock(BellTower & tower) : Tavlin::NotifyCallback(true), tower_(tower) {}
        void notify(Tavlin::Notifyer const &) override { tower_.listen(); }

      private:
        BellTower & tower_;
    };
    void listen();
    void holdMarket();

    struct Hour {
        float at; // seconds into the day
        char const * event;
        char const * name;
    };
    static Hour const hours_[bells];

    Clock clock_;
    Tavlin::TRef<Tavlin::VRefChannelSource> sources_[bells];
    Tavlin::TRef<Tavlin::Object> board_;
    int lastHour_ = -1;
    int marketEvery_ = 1;
    int marketDays_ = 0; // so far
};

} // namespace Village
