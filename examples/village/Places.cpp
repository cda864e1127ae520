// The bakery's door and the bell tower.
#include "Places.h"

#include <algorithm>
#include <cmath>

using namespace Tavlin;

namespace Village {

G_DEFINE_CREATABLE(Door, "Village::Door", UniqueObject, IDispatcherImpl)
G_DEFINE_CREATABLE(BellTower, "Village::BellTower", UniqueObject)

TAVLIN_BEGIN_DISPATCHER(Door, IDispatcherImpl)
    TAVLIN_METHOD("Enter", enter, INT)
    TAVLIN_METHOD("Leave", leave, UNDEFINED)
    TAVLIN_PROPERTY_GET("Seats", getSeats, INT)
    TAVLIN_PROPERTY_SET("Seats", setSeats, INT)
TAVLIN_END_DISPATCHER()

void Door::enter(VariableRef * result, VRefVector *) {
    if (step_ != Time::GameStep()) {
        step_ = Time::GameStep();
        inside_ = 0;
    }
    bool const room = inside_ < seats_;
    inside_ += room;
    *result = static_cast<int>(room);
}

void Door::leave(VariableRef *, VRefVector *) {
    ++visits_;
}

void Door::setSeats(VariableRef const & value) {
    if (value.type() == INT)
        seats_ = std::max(1, value.asINT());
}

void Door::write(opstream & out) {
    out.writeByte(0);
    UniqueObject::write(out);
    out << seats_ << visits_;
}

void Door::read(ipstream & in) {
    in.readByte();
    UniqueObject::read(in);
    in >> seats_ >> visits_;
}

BellTower::Hour const BellTower::hours_[3] = {
    {1.0f, "Dawn", "morning"}, {20.0f, "Noon", "noon"}, {42.0f, "Dusk", "evening"}};

void BellTower::start() {
    Time::g_StepNotifyer.addCallback(&clock_, 1.5f);
}

void BellTower::stop() {
    Time::g_StepNotifyer.removeCallback(&clock_);
}

void BellTower::listen() {
    float const time = std::fmod(Time::GetTime(), dayLength);
    int hour = -1;
    for (int i = 0; i < 3; ++i)
        if (time >= hours_[i].at)
            hour = i;
    if (hour == lastHour_)
        return;
    lastHour_ = hour;
    if (hour < 0)
        return;
    DispParams event(NameLinkID(hours_[hour].event), nullptr, nullptr, IDispatcher::Method);
    event.call(TRef<Object>(AgentManager2::Get()));
}

void BellTower::write(opstream & out) {
    out.writeByte(0);
    UniqueObject::write(out);
    out << lastHour_;
}

void BellTower::read(ipstream & in) {
    in.readByte();
    UniqueObject::read(in);
    in >> lastHour_;
    lastHour_ = std::clamp(lastHour_, -1, 2);
}

} // namespace Village
