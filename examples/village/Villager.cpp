// What a villager can do, in units per second of the agent's own time.
#include "Villager.h"

#include <algorithm>

using namespace Tavlin;

namespace Village {

G_DEFINE_CREATABLE(Villager, "Village::Villager", AgentComponent)
NamedTypeInfo Villager::g_namedTypeInfo_(&Villager::metaclass_, "Villager");

TAVLIN_BEGIN_DISPATCHER(Villager, IDispatcherImpl)
    TAVLIN_METHOD("Work", work, UNDEFINED)
    TAVLIN_METHOD("Eat", eat, UNDEFINED)
    TAVLIN_METHOD("Sleep", sleep, UNDEFINED)
    TAVLIN_METHOD("Talk", talk, UNDEFINED)
    TAVLIN_METHOD("GetHunger", askHunger, FLOAT)
    TAVLIN_METHOD("GetTired", askTired, FLOAT)
    TAVLIN_PROPERTY_GET("Loaves", getLoaves, FLOAT)
TAVLIN_END_DISPATCHER()

TAVLIN_BEGIN_CONNECTIONS(Villager)
    TAVLIN_CONNECTION("scene.Bakery", bakery_, ConnectionObject, true)
TAVLIN_END_CONNECTIONS()

void Villager::step(float delta) {
    delta_ = delta;
    hunger_ = std::min(hunger_ + 0.25f * delta, 10.0f);
}

void Villager::work(VariableRef *, VRefVector *) {
    loaves_ += 0.2f * delta_;
    tired_ = std::min(tired_ + 0.3f * delta_, 10.0f);
}

void Villager::eat(VariableRef *, VRefVector *) {
    hunger_ = std::max(hunger_ - 2.0f * delta_, 0.0f);
}

void Villager::sleep(VariableRef *, VRefVector *) {
    float const comfort = house() ? house()->comfort() : 1.0f;
    tired_ = std::max(tired_ - 0.8f * comfort * delta_, 0.0f);
}

void Villager::talk(VariableRef *, VRefVector *) {
    ++words_;
}

void Villager::write(opstream & out) {
    out.writeByte(0);
    AgentComponent::write(out);
    out << hunger_ << tired_ << loaves_ << words_;
    LWRITE_RESOURCE(out, house_, false);
}

void Villager::read(ipstream & in) {
    in.readByte();
    AgentComponent::read(in);
    in >> hunger_ >> tired_ >> loaves_ >> words_;
    house_ = LREAD_RESOURCE(in);
}

} // namespace Village
