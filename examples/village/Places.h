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

/// Rings dawn, noon and dusk: every agent receives the event. A day lasts a minute of game time.
class BellTower : public Tavlin::UniqueObject {
    G_DECLARE_CREATABLE(BellTower)
  public:
    static constexpr float dayLength = 60.0f;

    BellTower() : clock_(*this) {}
    ~BellTower() override { stop(); }
    /// Listen to the clock, in front of the agents.
    void start();
    void stop();
    /// The name of the last event that was rung; "night" before the first.
    char const * hour() const { return lastHour_ < 0 ? "night" : hours_[lastHour_].name; }

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

    struct Hour {
        float at; // seconds into the day
        char const * event;
        char const * name;
    };
    static Hour const hours_[3];

    Clock clock_;
    int lastHour_ = -1;
};

} // namespace Village
