// The native side of a villager: a component that knows hunger and weariness. The script runs in
// another component of the same agent and reaches this one as its inherited object.
#pragma once

#include "Goods.h"
#include "House.h"

namespace Village {

class Villager : public Tavlin::AgentComponent {
    G_DECLARE_CREATABLE(Villager)
    TAVLIN_DECLARE_DISPATCHER(Villager)
    TAVLIN_DECLARE_CONNECTIONS(Villager)
  public:
    static Tavlin::NamedTypeInfo g_namedTypeInfo_;
    Villager() = default;
    Tavlin::NamedTypeInfo const * getNamedTypeInfo() const override { return &g_namedTypeInfo_; }

    // What scripts call.
    void work(Tavlin::VariableRef * result, Tavlin::VRefVector * args);
    void eat(Tavlin::VariableRef * result, Tavlin::VRefVector * args);
    void sleep(Tavlin::VariableRef * result, Tavlin::VRefVector * args);
    void talk(Tavlin::VariableRef * result, Tavlin::VRefVector * args);
    /// Whether the bell at noon is heard, by the argument, 0 or 1.
    void mindNoon(Tavlin::VariableRef * result, Tavlin::VRefVector * args);
    /// Bites off the loaf at hand, or takes one from the basket first: 1 if there was one.
    void bite(Tavlin::VariableRef * result, Tavlin::VRefVector * args);
    void askHunger(Tavlin::VariableRef * result, Tavlin::VRefVector *) { *result = hunger_; }
    void askTired(Tavlin::VariableRef * result, Tavlin::VRefVector *) { *result = tired_; }
    void getLoaves(Tavlin::VariableRef * result) { *result = loaves_; }
    void getBasket(Tavlin::VariableRef * result) { *result = basket_; }
    void getHand(Tavlin::VariableRef * result) { *result = hand_; }

    /// Where the villager sleeps: an object of the library, shared with the neighbours.
    void moveInto(Tavlin::TRef<Tavlin::Object> const & house) { house_ = house; }
    House const * house() const { return gcast<House>(house_.pointer()); }

    /// How well the villager bakes; 1 is a baker.
    void setSkill(float skill) { skill_ = skill; }
    /// The channel by which the villager hears the bell at noon, for the script to lock.
    void hearNoon(Tavlin::TRef<Tavlin::VRefObjectChannel> const & channel) { noonBell_ = channel; }

    Basket * basket() const { return gcast<Basket>(basket_.pointer()); }
    int loaves() const { return static_cast<int>(loaves_); }
    int words() const { return words_; }
    float hunger() const { return hunger_; }
    float tired() const { return tired_; }
    /// The bakery, by the link that was resolved by name; null before.
    Tavlin::TRef<Tavlin::Object> const & bakery() const { return bakery_; }

    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    /// Hunger grows by itself; `delta` is in seconds of the agent's own time.
    void step(float delta) override;

  private:
    float delta_ = 0; // the last step, for what the script does in it
    float hunger_ = 2;
    float tired_ = 1;
    float loaves_ = 0; // of bread, baked so far
    float skill_ = 1;
    int words_ = 0;
    Tavlin::TRef<Tavlin::Object> bakery_, weather_, basket_, hand_; // links
    Tavlin::TRef<Tavlin::VRefObjectChannel> noonBell_;
    Tavlin::TRef<Tavlin::Object> house_;
};

} // namespace Village
