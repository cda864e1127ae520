// What happens on a market day is data: a message board in the library, whose handlers each do one
// thing. The bell tower only sends the message; a game designer may hook up further handlers.
#pragma once

#include "Goods.h"

namespace Village {

/// Sends an event to all agents.
class Proclamation : public Tavlin::UniqueObject, public Tavlin::IDispatcherImpl {
    G_DECLARE_CREATABLE(Proclamation)
    TAVLIN_DECLARE_DISPATCHER(Proclamation)
  public:
    Proclamation() = default;
    explicit Proclamation(char const * event) : event_(event) {}
    void perform(Tavlin::VariableRef * result, Tavlin::VRefVector * args);
    void read(ipstream & in) override;
    void write(opstream & out) override;
    void onFinalRelease() override { Tavlin::Object::onFinalRelease(); }

  private:
    Tavlin::NameLinkID event_;
};

/// A cart from the town: brings loaves to the market.
class Delivery : public Tavlin::UniqueObject, public Tavlin::IDispatcherImpl {
    G_DECLARE_CREATABLE(Delivery)
    TAVLIN_DECLARE_DISPATCHER(Delivery)
  public:
    Delivery() = default;
    explicit Delivery(int loaves) : loaves_(loaves) {}
    void perform(Tavlin::VariableRef * result, Tavlin::VRefVector * args);
    void read(ipstream & in) override;
    void write(opstream & out) override;
    void onFinalRelease() override { Tavlin::Object::onFinalRelease(); }

  private:
    int loaves_ = 0;
};

/// Puts the message board into the library of the village, unless it is there already.
void stockMarketDay();
/// The message board out of the library; null when it cannot be had.
Tavlin::TRef<Tavlin::Object> marketBoard();

} // namespace Village
