// What a villager can do, in units per second of the agent's own time.
#include "Villager.h"

#include "Weather.h"

#include <algorithm>

using namespace Tavlin;

namespace Village {

namespace {

constexpr int basketRoom = 8;

} // namespace

G_DEFINE_CREATABLE(Villager, "Village::Villager", AgentComponent)
NamedTypeInfo Villager::g_namedTypeInfo_(&Villager::metaclass_, "Villager");

TAVLIN_BEGIN_DISPATCHER(Villager, IDispatcherImpl)
    TAVLIN_METHOD("Work", work, UNDEFINED)
    TAVLIN_METHOD("Eat", eat, UNDEFINED)
    TAVLIN_METHOD("Sleep", sleep, UNDEFINED)
    TAVLIN_METHOD("Talk", talk, UNDEFINED)
    TAVLIN_METHOD("Bite", bite, INT)
    TAVLIN_METHOD("MindNoon", mindNoon, UNDEFINED)
    TAVLIN_METHOD("GetHunger", askHunger, FLOAT)
    TAVLIN_METHOD("GetTired", askTired, FLOAT)
    TAVLIN_PROPERTY_GET("Loaves", getLoaves, FLOAT)
    TAVLIN_PROPERTY_GET("Basket", getBasket, OBJECT)
    TAVLIN_PROPERTY_GET("Hand", getHand, OBJECT)
TAVLIN_END_DISPATCHER()

TAVLIN_BEGIN_CONNECTIONS(Villager)
    TAVLIN_CONNECTION("scene.Bakery", bakery_, ConnectionObject, true)
    TAVLIN_CONNECTION("scene.Weather", weather_, ConnectionObject, true)
    TAVLIN_CONNECTION("me.Goods.Basket", basket_, ConnectionObject, true)
    TAVLIN_CONNECTION("me.Goods.Hand", hand_, ConnectionObject, true)
TAVLIN_END_CONNECTIONS()

void Villager::step(float delta) {
    delta_ = delta;
    hunger_ = std::min(hunger_ + 0.25f * delta, 10.0f);
}

void Villager::mindNoon(VariableRef *, VRefVector * args) {
    if (!noonBell_ || !args || args->getCount() < 1 || args->at(0).type() != INT)
        return;
    if (args->at(0).asINT() != 0)
        noonBell_->unlock();
    else
        noonBell_->lock();
}

void Villager::work(VariableRef *, VRefVector *) {
    auto const * const weather = gcast<Weather>(weather_.pointer());
    int const before = loaves();
    // Wet wood burns badly.
    loaves_ += skill_ * (weather && weather->rains() ? 0.1f : 0.2f) * delta_;
    if (auto * const basket = gcast<Basket>(basket_.pointer()))
        basket->fill(loaves() - before, basketRoom);
    tired_ = std::min(tired_ + 0.3f * delta_, 10.0f);
}

void Villager::eat(VariableRef *, VRefVector *) {
    hunger_ = std::max(hunger_ - 2.0f * delta_, 0.0f);
}

void Villager::sleep(VariableRef *, VRefVector *) {
    float const comfort = house() ? house()->comfort() : 1.0f;
    tired_ = std::max(tired_ - 0.8f * comfort * delta_, 0.0f);
}

void Villager::bite(VariableRef * result, VRefVector *) {
    auto * const basket = gcast<InventorySlot>(basket_.pointer());
    auto * const hand = gcast<InventorySlot>(hand_.pointer());
    TRef<Object> item;
    if (basket && hand && (hand->getItemCount() > 0 || move(*basket, *hand)))
        item = hand->getItem();
    auto * const loaf = gcast<Loaf>(item.pointer());
    if (loaf) {
        hunger_ = std::max(hunger_ - 0.8f, 0.0f);
        if (!loaf->bite())
            hand->removeItem(item);
    }
    if (result)
        *result = static_cast<int>(loaf != nullptr);
}

void Villager::talk(VariableRef *, VRefVector *) {
    ++words_;
}

void Villager::write(opstream & out) {
    out.writeByte(0);
    AgentComponent::write(out);
    out << hunger_ << tired_ << loaves_ << skill_ << words_;
    LWRITE_RESOURCE(out, house_, false);
}

void Villager::read(ipstream & in) {
    in.readByte();
    AgentComponent::read(in);
    in >> hunger_ >> tired_ >> loaves_ >> skill_ >> words_;
    house_ = LREAD_RESOURCE(in);
}

} // namespace Village
