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

BellTower::Hour const BellTower::hours_[bells] = {
    {1.0f, "Dawn", "morning"}, {20.0f, "Noon", "noon"}, {42.0f, "Dusk", "evening"}};

BellTower::BellTower() : clock_(*this) {
    for (TRef<VRefChannelSource> & source : sources_)
        source = TRef<VRefChannelSource>(new VRefChannelSource);
}

void BellTower::start(TRef<Object> const & board) {
    board_ = board;
    Time::g_StepNotifyer.addCallback(&clock_, 1.5f);
}

void BellTower::stop() {
    Time::g_StepNotifyer.removeCallback(&clock_);
}

TRef<VRefObjectChannel> BellTower::subscribe(Bell bell, TRef<Object> const & listener) {
    return sources_[bell]->openObjectChannelTo(listener, NameLinkID(hours_[bell].event));
}

void BellTower::listen() {
    float const time = std::fmod(Time::GetTime(), dayLength);
    int hour = -1;
    for (int i = 0; i < bells; ++i)
        if (time >= hours_[i].at)
            hour = i;
    if (hour == lastHour_)
        return;
    lastHour_ = hour;
    if (hour < 0)
        return;
    VRefVector nothing;
    sources_[hour]->send(nothing);
    if (hour == Noon)
        holdMarket();
}

void BellTower::holdMarket() {
    static NameLinkID const marketDay("MarketDay");
    if (static_cast<int>(Time::GetTime() / dayLength) % marketEvery_ != 0)
        return;
    DispParams message(marketDay, nullptr, nullptr, IDispatcher::Method);
    marketDays_ += message.call(board_);
}

void BellTower::write(opstream & out) {
    out.writeByte(0);
    UniqueObject::write(out);
    for (TRef<VRefChannelSource> const & source : sources_)
        RefCounterWrite(out, TRef<RefCounter>(source.pointer()));
    out << lastHour_ << marketEvery_ << marketDays_;
}

void BellTower::read(ipstream & in) {
    in.readByte();
    UniqueObject::read(in);
    for (TRef<VRefChannelSource> & source : sources_) {
        TRef<RefCounter> const stored = RefCounterRead(in, &VRefChannelSource::metaclass_);
        if (auto * const bell = gcast<VRefChannelSource>(stored.pointer()))
            source = TRef<VRefChannelSource>(bell);
    }
    in >> lastHour_ >> marketEvery_ >> marketDays_;
    lastHour_ = std::clamp(lastHour_, -1, bells - 1);
    marketEvery_ = std::max(marketEvery_, 1);
}

} // namespace Village
